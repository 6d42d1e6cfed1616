// The program as a part of a desktop: the ways in which a shell starts it, and what it leaves
// behind.
#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>
#include <set>

#include "vel_e2e_fixture.h"
// Behind windows.h, which it does not bring itself.
#include <shellapi.h>

namespace fs = std::filesystem;

namespace
{

constexpr char CONTENTS[] = "a,b\n1,2\n";
/// In HKEY_CLASSES_ROOT; Wine knows no user's own associations.
constexpr wchar_t EXTENSION[] = L".quorlen-e2e";
constexpr wchar_t FILE_TYPE[] = L"Quorlen.E2e";
constexpr wchar_t OPEN_WITH[] = L"Applications\\quorlen.exe";

class QuorlenDesktop : public VelE2eTest
{
protected:
    void TearDown() override
    {
        for (const wchar_t *key : {EXTENSION, FILE_TYPE, OPEN_WITH})
            RegDeleteTreeW(HKEY_CLASSES_ROOT, key);
        VelE2eTest::TearDown();
    }

    static void setKey(const std::wstring &key, const std::wstring &value)
    {
        const auto size = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
        EXPECT_EQ(
            RegSetKeyValueW(HKEY_CLASSES_ROOT, key.c_str(), nullptr, REG_SZ, value.c_str(), size),
            ERROR_SUCCESS);
    }

    /// The command that a shell keeps for a kind of file or a program.
    static void setOpenCommand(const std::wstring &key)
    {
        setKey(key + L"\\shell\\open\\command", L"\"" + VelE2eProgram::path() + L"\" \"%1\"");
    }

    /// Has the shell open a file, as a double click does.
    /// @param file_class  as which kind of file; null for its own
    static HANDLE openByShell(const std::string &path, const wchar_t *file_class)
    {
        const std::wstring file = vel_e2e_to_utf_16(path);
        SHELLEXECUTEINFOW info = {};
        info.cbSize = sizeof info;
        info.fMask = SEE_MASK_NOCLOSEPROCESS | SEE_MASK_FLAG_NO_UI;
        if (file_class != nullptr)
            info.fMask |= SEE_MASK_CLASSNAME;
        info.lpClass = file_class;
        info.lpFile = file.c_str();
        info.nShow = SW_SHOWNORMAL;
        EXPECT_TRUE(ShellExecuteExW(&info)) << GetLastError();
        EXPECT_NE(info.hProcess, nullptr);
        return info.hProcess;
    }

    static void expectOpen(VelE2eProgram &program, const std::string &path)
    {
        EXPECT_TRUE(program.waitForStatus("1 records"));
        EXPECT_EQ(program.title(), "Quorlen - " + path);
        EXPECT_EQ(program.close(), 0);
    }
};

/// What is in a folder and below it, each with what would change if it were written to.
std::set<std::string> listing_of(const fs::path &folder)
{
    std::set<std::string> listing;
    std::error_code error;
    fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied,
                                           error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        std::string line = vel_e2e_to_utf_8(entry->path().wstring());
        std::error_code ignored;
        if (entry->is_regular_file(ignored))
            line += " " + std::to_string(entry->file_size(ignored)) + " " +
                    std::to_string(entry->last_write_time(ignored).time_since_epoch().count());
        listing.insert(line);
    }
    EXPECT_FALSE(error) << error.message();
    return listing;
}

/// The names of all keys below a key, and of their values.
void add_keys(HKEY key, const std::wstring &path, std::set<std::string> *names)
{
    wchar_t name[512];
    DWORD length = 512;
    for (DWORD i = 0;
         RegEnumValueW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
         i++, length = 512)
        names->insert(vel_e2e_to_utf_8(path + L"=" + name));
    length = 512;
    for (DWORD i = 0;
         RegEnumKeyExW(key, i, name, &length, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
         i++, length = 512) {
        HKEY below = nullptr;
        const std::wstring below_path = path + L"\\" + name;
        names->insert(vel_e2e_to_utf_8(below_path));
        if (RegOpenKeyExW(key, name, 0, KEY_READ, &below) == ERROR_SUCCESS) {
            add_keys(below, below_path, names);
            RegCloseKey(below);
        }
    }
}

std::set<std::string> user_registry()
{
    std::set<std::string> names;
    add_keys(HKEY_CURRENT_USER, L"", &names);
    return names;
}

std::vector<std::string> added_to(const std::set<std::string> &before,
                                  const std::set<std::string> &after)
{
    std::vector<std::string> added;
    std::set_difference(after.begin(), after.end(), before.begin(), before.end(),
                        std::back_inserter(added));
    return added;
}

/// Those of some names that have the maker's or the program's in them. What begins with the tests'
/// own name was made by other tests, for programs that were then ended on purpose.
std::vector<std::string> ours_among(const std::set<std::string> &names)
{
    std::vector<std::string> ours;
    for (std::string name : names) {
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        const bool is_ours = name.find("quorlen") != std::string::npos ||
                             name.find("halvorine") != std::string::npos;
        if (is_ours && !name.starts_with("\\software\\quorlentest"))
            ours.push_back(name);
    }
    return ours;
}

} // namespace

TEST_F(QuorlenDesktop, AFileAssociationOpensTheFile)
{
    setKey(EXTENSION, L"Quorlen.E2e");
    setOpenCommand(FILE_TYPE);
    const std::string path = makeFile("Länder & Städte (neu).quorlen-e2e", CONTENTS);
    VelE2eProgram program(openByShell(path, nullptr));
    expectOpen(program, path);
}

TEST_F(QuorlenDesktop, OpenWithOpensAFileOfAnyKind)
{
    setOpenCommand(OPEN_WITH);
    const std::string path = makeFile("a file of 2026.text", CONTENTS);
    VelE2eProgram program(openByShell(path, L"Applications\\quorlen.exe"));
    expectOpen(program, path);
}

TEST_F(QuorlenDesktop, OfFilesDroppedOnTheExecutableTheFirstIsOpened)
{
    const std::string first = makeFile("first one.csv", CONTENTS);
    const std::string second = makeFile("second.csv", "a,b\n1,2\n3,4\n");
    VelE2eProgram program("\"" + first + "\" " + second, folder);
    expectOpen(program, first);
    // What has no blank may come without quotes.
    VelE2eProgram other(second + " \"" + first + "\"", folder);
    EXPECT_TRUE(other.waitForStatus("2 records"));
    EXPECT_EQ(other.title(), "Quorlen - " + second);
    EXPECT_EQ(other.close(), 0);
}

TEST_F(QuorlenDesktop, RelativePathsWithBlanksCountFromTheFolderItIsStartedIn)
{
    const std::string below = folder + "\\a folder";
    ASSERT_TRUE(CreateDirectoryW(vel_e2e_to_utf_16(below).c_str(), nullptr));
    makeFile("a folder\\my file.csv", CONTENTS);
    const struct {
        const char *path;
        std::string in;
    } starts[] = {
        {"a folder\\my file.csv", folder},
        {"my file.csv", below},
        {".\\my file.csv", below},
        {"..\\a folder/my file.csv", below},
    };
    for (const auto &start : starts) {
        VelE2eProgram program(std::string("\"") + start.path + "\"", start.in);
        expectOpen(program, start.path);
    }
}

TEST_F(QuorlenDesktop, ItLeavesOnlyItsSettingsBehind)
{
    const std::string path = makeFile("file.csv", CONTENTS);
    const fs::path settings = vel_e2e_settings_folder();
    fs::create_directories(settings);
    const fs::path drive = settings.root_path();
    const fs::path program_folder = fs::path(VelE2eProgram::path()).parent_path();
    const auto files = listing_of(drive);
    const auto files_beside = listing_of(program_folder);
    const auto keys = user_registry();
    VelE2eProgram program(path);
    EXPECT_TRUE(program.waitForStatus("1 records"));
    EXPECT_EQ(program.cellAt(150, program.headerHeight() + 10), "1");
    EXPECT_EQ(program.close(), 0);
    const std::vector<std::string> added = added_to(files, listing_of(drive));
    ASSERT_EQ(added.size(), 1u) << testing::PrintToString(added);
    EXPECT_TRUE(added[0].starts_with(vel_e2e_to_utf_8(settings / L"settings.db "))) << added[0];
    EXPECT_EQ(listing_of(program_folder), files_beside);
    const auto keys_after = user_registry();
    EXPECT_EQ(added_to(keys, keys_after), std::vector<std::string>());
    // Nor of an earlier run.
    EXPECT_EQ(ours_among(keys_after), std::vector<std::string>());
}
