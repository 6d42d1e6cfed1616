// What the tests of vel_table share: a table that ends itself, and the full form of its assertions.
#pragma once

#include <string>

#include "vel_death_test.h"
#include "vel_table.h"

struct VelTestTable : vel_table {
    VelTestTable()
    {
        vel_table_init(this);
    }
    ~VelTestTable()
    {
        vel_table_done(this);
    }
    VelTestTable(const VelTestTable &) = delete;
    VelTestTable &operator=(const VelTestTable &) = delete;

    VelTestTable &with_column(const char *name, vel_table_column_type type)
    {
        vel_table_add_column(this, name, type);
        return *this;
    }
    VelTestTable &with_rows(gint32 count)
    {
        vel_table_set_n(this, count);
        return *this;
    }
};

/// What an assertion of the module prints, as a regular expression; it leaves the source's name
/// after the module's open, and the line.
inline std::string vel_table_test_assertion(const std::string &function, const std::string &text)
{
    return vel_death_test_literal("ERROR:velcommon/src/vel_table") + ".*" +
           vel_death_test_literal(".cpp:") + ".*" +
           vel_death_test_literal(":" + function + ": " + text);
}

#define VEL_TABLE_EXPECT_ASSERTION(statement, function, text)                                      \
    EXPECT_DEATH(statement, vel_table_test_assertion(function, "assertion failed: (" text ")"))

#define VEL_TABLE_EXPECT_NONNULL(statement, function, name)                                        \
    EXPECT_DEATH(statement, vel_table_test_assertion(function, "'" name "' should not be NULL"))

/// A fatal log message ends the program; between its level and its text is only the time.
#define VEL_TABLE_EXPECT_FATAL(statement, text)                                                    \
    EXPECT_DEATH(statement,                                                                        \
                 vel_death_test_literal("ERROR **: ") + ".*" + vel_death_test_literal(": " text))

#define VEL_TABLE_CELL_RANGE "row >= 0 && row < t->n && column >= 0 && column < t->n_columns"
