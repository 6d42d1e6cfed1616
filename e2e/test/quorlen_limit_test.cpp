// Files of which more than can be shown: a box names the limit, once, and the rest works.
#include "vel_e2e_fixture.h"

namespace
{

class QuorlenLimit : public VelE2eTest
{
protected:
    /// A box with a message, which does not come again when the table is looked at anew.
    static void expectToldOnce(VelE2eProgram *program, const std::string &message,
                               const std::string &picture)
    {
        ASSERT_EQ(program->waitForBox(), message);
        program->screenshot(picture);
        EXPECT_TRUE(program->dismissBox());
        InvalidateRect(program->table(), nullptr, TRUE);
        // Longer than the tick at which it would come.
        Sleep(2500);
        EXPECT_EQ(vel_remote_window_find_box(program->id()), nullptr) << "there is another box";
    }
};

} // namespace

TEST_F(QuorlenLimit, MoreFieldsThanColumnsAreToldOnce)
{
    std::string wide = "first";
    for (int i = 1; i < 20000; i++)
        wide += ",x";
    VelE2eProgram program(makeFile("wide.csv", "name,value\nAda,1815\n" + wide + "\n"));
    expectToldOnce(&program,
                   "The file has records of more than 16384 fields. Only the first 16384 of each "
                   "are shown and searched.",
                   "too-many-fields");
    EXPECT_EQ(program.waitCounted(), "2 records");
    EXPECT_EQ(program.cellAt(150, program.headerHeight() + 10), "Ada");
    EXPECT_EQ(program.close(), 0);
}

TEST_F(QuorlenLimit, ARecordTooLongToShowIsToldOnce)
{
    VelE2eProgram program(
        makeFile("long.csv", "name,value\nAda,1815\nlong," + std::string(70 << 20, 'x') + "\n"));
    expectToldOnce(&program,
                   "The file has records of more than 67108864 bytes. Only the first 67108864 of "
                   "each are shown.",
                   "too-long-record");
    EXPECT_EQ(program.waitCounted(), "2 records");
    EXPECT_EQ(program.cellAt(150, program.headerHeight() + 10), "Ada");
    EXPECT_EQ(program.close(), 0);
}
