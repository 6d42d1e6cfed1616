// The SQLite helpers over databases in memory: what they run, what they bind, and every message
// they end with.
#include "vel_utils_sqlite3.h"

#include "vel_death_test.h"

#include <string>

namespace
{

struct VelUtilsSqlite3 : testing::Test {
    sqlite3 *db = nullptr;

    VelUtilsSqlite3()
    {
        EXPECT_EQ(sqlite3_open(":memory:", &db), SQLITE_OK);
        vel_utils_sqlite3_exec(db, "CREATE TABLE T (A INTEGER, B TEXT)", 0);
    }

    ~VelUtilsSqlite3() override
    {
        EXPECT_EQ(sqlite3_next_stmt(db, nullptr), nullptr) << "a statement is still open";
        EXPECT_EQ(sqlite3_close(db), SQLITE_OK);
    }

    gint32 count()
    {
        return vel_utils_sqlite3_select_int(db, "SELECT COUNT(*) FROM T", 0);
    }
};

using VelUtilsSqlite3DeathTest = VelUtilsSqlite3;

// Fails when it is stepped, not before.
constexpr gchar OVERFLOW_SQL[] = "SELECT abs(-9223372036854775807 - 1)";

const gchar *text(sqlite3_stmt *stmt, gint32 column)
{
    return reinterpret_cast<const gchar *>(sqlite3_column_text(stmt, column));
}

} // namespace

TEST_F(VelUtilsSqlite3, ExecBindsEveryTypeByPosition)
{
    vel_utils_sqlite3_exec(db, "CREATE TABLE P (A, B, C)", 0);
    vel_utils_sqlite3_exec(db, "INSERT INTO P VALUES (?, ?, ?)", 3, VEL_TABLE_COLUMN_TYPE_INT32,
                           gint32{-7}, VEL_TABLE_COLUMN_TYPE_INT64, gint64{1} << 40,
                           VEL_TABLE_COLUMN_TYPE_STR, "\xc3\xa4 b");
    sqlite3_stmt *const stmt =
        vel_utils_sqlite3_select_one(db, "SELECT A, B, C, typeof(A), typeof(C) FROM P", 0);
    ASSERT_NE(stmt, nullptr);
    EXPECT_EQ(sqlite3_column_int(stmt, 0), -7);
    EXPECT_EQ(sqlite3_column_int64(stmt, 1), gint64{1} << 40);
    EXPECT_STREQ(text(stmt, 2), "\xc3\xa4 b");
    EXPECT_STREQ(text(stmt, 3), "integer");
    EXPECT_STREQ(text(stmt, 4), "text");
    sqlite3_finalize(stmt);
}

TEST_F(VelUtilsSqlite3, NullTextIsBoundAsNull)
{
    vel_utils_sqlite3_exec(db, "INSERT INTO T VALUES (1, ?)", 1, VEL_TABLE_COLUMN_TYPE_STR,
                           static_cast<const gchar *>(nullptr));
    EXPECT_EQ(vel_utils_sqlite3_select_int(db, "SELECT COUNT(*) FROM T WHERE B IS NULL", 0), 1);
}

TEST_F(VelUtilsSqlite3, NegativeNumberOfParametersBindsNothing)
{
    vel_utils_sqlite3_exec(db, "INSERT INTO T VALUES (?, ?)", -1);
    EXPECT_EQ(vel_utils_sqlite3_select_int(db, "SELECT COUNT(*) FROM T WHERE A IS NULL", 0), 1);
}

TEST_F(VelUtilsSqlite3, ExecOfTwoStatementsRunsOnlyTheFirst)
{
    vel_utils_sqlite3_exec(db, "INSERT INTO T VALUES (1, 'a'); INSERT INTO T VALUES (2, 'b')", 0);
    EXPECT_EQ(count(), 1);
}

TEST_F(VelUtilsSqlite3, ExecOfAQueryStopsAtItsFirstRow)
{
    vel_utils_sqlite3_exec(db, "SELECT 1", 0);
    // The second row would fail if it were computed.
    vel_utils_sqlite3_exec(db, "SELECT 1 UNION ALL SELECT abs(-9223372036854775807 - 1)", 0);
}

TEST_F(VelUtilsSqlite3, ExecMultiRunsEveryTextInOrder)
{
    const gchar *const sqls[] = {
        "CREATE TABLE M (A)",
        "INSERT INTO M VALUES (5)",
        "UPDATE M SET A = A * 2",
        "INSERT INTO M VALUES (1000)",
    };
    vel_utils_sqlite3_exec_multi(db, 3, sqls);
    EXPECT_EQ(vel_utils_sqlite3_select_int(db, "SELECT SUM(A) FROM M", 0), 10);
}

TEST_F(VelUtilsSqlite3, ExecMultiOfNothingDoesNothing)
{
    vel_utils_sqlite3_exec_multi(db, 0, nullptr);
    EXPECT_EQ(count(), 0);
}

TEST_F(VelUtilsSqlite3, SelectIsBoundAndNotYetStepped)
{
    vel_utils_sqlite3_exec(db, "INSERT INTO T VALUES (1, 'a')", 0);
    sqlite3_stmt *const stmt = vel_utils_sqlite3_select(db, "SELECT A FROM T WHERE B = ?", 1,
                                                        VEL_TABLE_COLUMN_TYPE_STR, "a");
    ASSERT_NE(stmt, nullptr);
    EXPECT_FALSE(sqlite3_stmt_busy(stmt));
    EXPECT_EQ(sqlite3_step(stmt), SQLITE_ROW);
    EXPECT_EQ(sqlite3_column_int(stmt, 0), 1);
    EXPECT_EQ(sqlite3_step(stmt), SQLITE_DONE);
    sqlite3_finalize(stmt);
}

TEST_F(VelUtilsSqlite3, TextParameterIsNotCopied)
{
    gchar name[] = "abc";
    sqlite3_stmt *const stmt =
        vel_utils_sqlite3_select(db, "SELECT ?", 1, VEL_TABLE_COLUMN_TYPE_STR, name);
    name[0] = 'X';
    ASSERT_EQ(sqlite3_step(stmt), SQLITE_ROW);
    EXPECT_STREQ(text(stmt, 0), "Xbc");
    sqlite3_finalize(stmt);
}

TEST_F(VelUtilsSqlite3, SelectOneStandsOnTheFirstRow)
{
    vel_utils_sqlite3_exec(db, "INSERT INTO T VALUES (1, 'a'), (2, 'b')", 0);
    sqlite3_stmt *const stmt =
        vel_utils_sqlite3_select_one(db, "SELECT A, B FROM T WHERE A >= ? ORDER BY A", 1,
                                     VEL_TABLE_COLUMN_TYPE_INT32, gint32{2});
    ASSERT_NE(stmt, nullptr);
    EXPECT_EQ(sqlite3_column_int(stmt, 0), 2);
    EXPECT_STREQ(text(stmt, 1), "b");
    sqlite3_finalize(stmt);
}

TEST_F(VelUtilsSqlite3, SelectOneWithoutRowsIsNullAndLeavesNoStatementOpen)
{
    EXPECT_EQ(vel_utils_sqlite3_select_one(db, "SELECT A FROM T", 0), nullptr);
    EXPECT_EQ(sqlite3_next_stmt(db, nullptr), nullptr);
}

TEST_F(VelUtilsSqlite3, SelectIntIsColumnZeroOfTheFirstRow)
{
    vel_utils_sqlite3_exec(db, "INSERT INTO T VALUES (41, 'a'), (42, 'b')", 0);
    EXPECT_EQ(vel_utils_sqlite3_select_int(db, "SELECT A, 7 FROM T WHERE B = ?", 1,
                                           VEL_TABLE_COLUMN_TYPE_STR, "b"),
              42);
}

TEST_F(VelUtilsSqlite3, SelectIntIsMinusOneWithoutRows)
{
    EXPECT_EQ(vel_utils_sqlite3_select_int(db, "SELECT A FROM T", 0), -1);
}

TEST_F(VelUtilsSqlite3, SelectIntTakesTheLow32Bits)
{
    EXPECT_EQ(vel_utils_sqlite3_select_int(db, "SELECT 4294967303", 0), 7);
}

TEST_F(VelUtilsSqlite3, FetchOfAStatementWithoutColumnsIsAnEmptyTable)
{
    vel_table *const table = vel_utils_sqlite3_fetch(db, "INSERT INTO T VALUES (?, 'a')", 1,
                                                     VEL_TABLE_COLUMN_TYPE_INT32, gint32{9});
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->n_columns, 0);
    EXPECT_EQ(table->n, 0);
    vel_table_done(table);
    g_free(table);
    EXPECT_EQ(vel_utils_sqlite3_select_int(db, "SELECT A FROM T", 0), 9);
}

TEST_F(VelUtilsSqlite3DeathTest, StatementThatDoesNotCompileIsFatal)
{
    VEL_EXPECT_FATAL(vel_utils_sqlite3_exec(db, "NONSENSE", 0),
                     "SQL statement failed: near \"NONSENSE\": syntax error");
    VEL_EXPECT_FATAL(vel_utils_sqlite3_select(db, "SELECT X FROM T", 0),
                     "SQL statement failed: no such column: X");
    VEL_EXPECT_FATAL(vel_utils_sqlite3_select_one(db, "SELECT X FROM T", 0),
                     "SQL statement failed: no such column: X");
    VEL_EXPECT_FATAL(vel_utils_sqlite3_select_int(db, "SELECT 1 FROM U", 0),
                     "SQL statement failed: no such table: U");
    VEL_EXPECT_FATAL(vel_utils_sqlite3_fetch(db, "SELECT 1 FROM U", 0),
                     "SQL statement failed: no such table: U");
}

TEST_F(VelUtilsSqlite3DeathTest, StatementOfExecMultiThatDoesNotCompileIsFatal)
{
    const gchar *const sqls[] = {"INSERT INTO T VALUES (1, 'a')", "NONSENSE"};
    VEL_EXPECT_FATAL(vel_utils_sqlite3_exec_multi(db, 2, sqls),
                     "SQL statement failed: near \"NONSENSE\": syntax error");
}

TEST_F(VelUtilsSqlite3DeathTest, ParameterTooManyIsFatal)
{
    VEL_EXPECT_FATAL(vel_utils_sqlite3_exec(db, "INSERT INTO T VALUES (?, 'a')", 2,
                                            VEL_TABLE_COLUMN_TYPE_INT32, gint32{1},
                                            VEL_TABLE_COLUMN_TYPE_STR, "b"),
                     "Setting an SQL parameter failed: column index out of range");
}

TEST_F(VelUtilsSqlite3DeathTest, DoubleParameterIsFatal)
{
    VEL_EXPECT_FATAL(vel_utils_sqlite3_exec(db, "INSERT INTO T VALUES (?, 'a')", 1,
                                            VEL_TABLE_COLUMN_TYPE_DOUBLE, 1.5),
                     "Unsupported data type");
}

TEST_F(VelUtilsSqlite3DeathTest, UnknownParameterTypeIsFatal)
{
    VEL_EXPECT_FATAL(vel_utils_sqlite3_select_int(db, "SELECT ?", 1, gint32{4}, gint32{1}),
                     "Unsupported data type");
}

TEST_F(VelUtilsSqlite3DeathTest, FailureWhileExecutingIsFatal)
{
    VEL_EXPECT_FATAL(vel_utils_sqlite3_exec(db, OVERFLOW_SQL, 0),
                     "Executing an SQL failed: integer overflow");
}

TEST_F(VelUtilsSqlite3DeathTest, TextWithoutAStatementIsFatal)
{
    // It compiles, to nothing that could be run.
    VEL_EXPECT_FATAL(vel_utils_sqlite3_exec(db, "", 0), "Executing an SQL failed: ");
    VEL_EXPECT_FATAL(vel_utils_sqlite3_select_one(db, "-- nothing", 0),
                     "Moving to the first record in the result set failed: ");
    VEL_EXPECT_FATAL(vel_utils_sqlite3_select_int(db, " ", 0),
                     "Moving to the first record in the result set failed: ");
    VEL_EXPECT_FATAL(vel_utils_sqlite3_fetch(db, ";", 0), "Error fetching the data: ");
}

TEST_F(VelUtilsSqlite3DeathTest, FailureBeforeTheFirstRowIsFatal)
{
    VEL_EXPECT_FATAL(vel_utils_sqlite3_select_one(db, OVERFLOW_SQL, 0),
                     "Moving to the first record in the result set failed: integer overflow");
    VEL_EXPECT_FATAL(vel_utils_sqlite3_select_int(db, OVERFLOW_SQL, 0),
                     "Moving to the first record in the result set failed: integer overflow");
}

TEST_F(VelUtilsSqlite3DeathTest, FailureWhileFetchingIsFatal)
{
    VEL_EXPECT_FATAL(vel_utils_sqlite3_fetch(db, OVERFLOW_SQL, 0),
                     "Error fetching the data: integer overflow");
}

TEST_F(VelUtilsSqlite3DeathTest, FailureInALaterRowOfAFetchIsFatal)
{
    // All three kinds of value of the first row are stored before the second one fails.
    VEL_EXPECT_FATAL(
        vel_utils_sqlite3_fetch(
            db,
            "SELECT 4294967303, 'a', 1.5 UNION ALL SELECT abs(-9223372036854775807 - 1), 'b', 2.5",
            0),
        "Error fetching the data: integer overflow");
}

TEST_F(VelUtilsSqlite3DeathTest, FetchedColumnThatIsNullIsFatal)
{
    VEL_EXPECT_FATAL(vel_utils_sqlite3_fetch(db, "SELECT NULL", 0), "Unsupported column type");
    VEL_EXPECT_FATAL(vel_utils_sqlite3_fetch(db, "SELECT x'00'", 0), "Unsupported column type");
}

TEST_F(VelUtilsSqlite3DeathTest, FetchOfAnyResultWithColumnsEndsWithoutACurrentRow)
{
    VEL_EXPECT_FATAL(vel_utils_sqlite3_fetch(db, "SELECT A, B FROM T", 0),
                     "Unsupported column type");
    VEL_EXPECT_FATAL(vel_utils_sqlite3_fetch(db, "SELECT 1, 'a', 1.5", 0),
                     "Unsupported column type");
}
