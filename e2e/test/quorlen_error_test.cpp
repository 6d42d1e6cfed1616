// What goes wrong: files that cannot be opened leave the program running, files that cannot be read
// to their end and broken settings end it. Each is told in a box captioned "Error".
#include <filesystem>
#include <fstream>

#include "vel_e2e_fixture.h"

namespace fs = std::filesystem;

namespace
{

class QuorlenError : public VelE2eTest
{
protected:
    /// A file that opens; further down a quote is left open.
    std::string makeBroken() const
    {
        std::string contents = "name,number\n";
        for (int i = 0; i < 5000; i++)
            contents += "r," + std::to_string(i) + "\n";
        return makeFile("quote.csv", contents + "r,\"open\n" + contents);
    }

    /// Starts the program with a path that cannot be opened: a box, then a usable window without a
    /// file.
    void expectGoesOn(const std::string &path, const std::string &message,
                      const std::string &picture)
    {
        VelE2eProgram program(path);
        EXPECT_EQ(program.waitForBox(), message);
        EXPECT_EQ(program.title(), "Quorlen - " + path);
        program.screenshot(picture);
        EXPECT_TRUE(program.dismissBox());
        EXPECT_TRUE(program.waitForStatus("0 records"));
        EXPECT_EQ(program.title(), "Quorlen - " + path);
        EXPECT_EQ(program.close(), 0);
    }

    static void expectEndsWith(VelE2eProgram *program, const std::string &message,
                               const std::string &picture)
    {
        EXPECT_EQ(program->waitForBox(), message);
        program->screenshot(picture);
        EXPECT_EQ(program->waitForEnd(0), -1) << "it ended before the box was read";
        EXPECT_TRUE(program->dismissBox());
        EXPECT_EQ(program->waitForEnd(), 1);
    }
};

} // namespace

TEST_F(QuorlenError, AMissingFileIsTold)
{
    expectGoesOn(folder + "\\missing.csv", "No such file or directory", "missing-file");
}

TEST_F(QuorlenError, AMissingFolderIsTold)
{
    expectGoesOn(folder + "\\no\\such\\file.csv", "No such file or directory", "missing-folder");
}

TEST_F(QuorlenError, AFolderIsTold)
{
    expectGoesOn(folder, "Is a directory", "folder");
}

TEST_F(QuorlenError, AnEmptyPathIsTold)
{
    expectGoesOn("", "No such file or directory", "empty-path");
}

TEST_F(QuorlenError, AFileThatMayNotBeReadIsTold)
{
    const std::string path = makeFile("private.csv", "a,b\n1,2\n");
    // What another program holds for itself alone cannot be read, whoever asks.
    const HANDLE lock = CreateFileW(vel_e2e_to_utf_16(path).c_str(), GENERIC_READ, 0, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(lock, INVALID_HANDLE_VALUE);
    expectGoesOn(path, "Permission denied", "no-permission");
    CloseHandle(lock);
}

TEST_F(QuorlenError, AQuoteLeftOpenInTheFirstRecordsIsTold)
{
    expectGoesOn(makeFile("quote.csv", "a,b\n1,\"open\n2,3\n"), "Unclosed quoted value",
                 "open-quote-at-start");
}

TEST_F(QuorlenError, AQuoteLeftOpenFurtherDownEndsTheProgram)
{
    VelE2eProgram program(makeBroken());
    expectEndsWith(&program, "Unclosed quoted value", "open-quote");
}

TEST_F(QuorlenError, BehindTheBoxOfAnErrorNoCommandBegins)
{
    VelE2eProgram program(makeBroken());
    EXPECT_EQ(program.waitForBox(), "Unclosed quoted value");
    // A dialog would keep the program from ending, and an end take the box away.
    for (const WPARAM command : std::vector<WPARAM>({1, 2, 3, 4, 5, 6}))
        PostMessageW(program.window(), WM_COMMAND, command, 0);
    PostMessageW(program.window(), WM_CLOSE, 0, 0);
    EXPECT_TRUE(program.dismissBox());
    EXPECT_EQ(program.waitForEnd(), 1);
}

TEST_F(QuorlenError, ASettingsFileThatIsNoDatabaseEndsTheProgram)
{
    fs::create_directories(vel_e2e_settings_folder());
    std::ofstream(fs::path(vel_e2e_settings_folder()) / L"settings.db") << std::string(5000, 'x');
    VelE2eProgram program;
    expectEndsWith(&program, "SQL statement failed: file is not a database", "no-database");
}

TEST_F(QuorlenError, ASettingsFileThatIsAFolderEndsTheProgram)
{
    fs::create_directories(fs::path(vel_e2e_settings_folder()) / L"settings.db");
    VelE2eProgram program;
    expectEndsWith(&program,
                   "Creating an SqLite database connection failed: unable to open database file",
                   "database-is-a-folder");
}
