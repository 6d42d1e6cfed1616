// See vel_e2e_fixture.h.
#include "vel_e2e_fixture.h"

#include <filesystem>
#include <fstream>

#include <commctrl.h>
#include <objbase.h>
#include <shlobj.h>

namespace fs = std::filesystem;

namespace
{

constexpr UINT COMMAND_COPY = 7;
constexpr DWORD PAINT_MS = 300;
constexpr DWORD COPY_MS = 2000;
constexpr wchar_t MARKER[] = L"nothing was copied";

fs::path program_folder()
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return fs::path(path).parent_path();
}

fs::path test_folder()
{
    return fs::temp_directory_path() / (L"quorlen-e2e-" + std::to_wstring(GetCurrentProcessId()));
}

/// Deletes a folder and what is in it, however deep: the prefix of the path lifts its limit.
void remove_folder(const std::wstring &folder)
{
    WIN32_FIND_DATAW entry = {};
    const HANDLE search = FindFirstFileW((folder + L"\\*").c_str(), &entry);
    for (BOOL more = search != INVALID_HANDLE_VALUE; more; more = FindNextFileW(search, &entry)) {
        const std::wstring name = entry.cFileName;
        const std::wstring path = folder + L"\\" + name;
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
            DeleteFileW(path.c_str());
        else if (name != L"." && name != L"..")
            remove_folder(path);
    }
    if (search != INVALID_HANDLE_VALUE)
        FindClose(search);
    RemoveDirectoryW(folder.c_str());
}

void remove_test_folder()
{
    remove_folder(L"\\\\?\\" + test_folder().wstring());
}

fs::path kept_settings()
{
    return vel_e2e_settings_folder() + L".kept-by-tests";
}

/// The programs in it are ended when its only handle is closed, which the system does at the latest
/// when this process is over.
HANDLE job_of_programs()
{
    static const HANDLE job = [] {
        const HANDLE made = CreateJobObjectW(nullptr, nullptr);
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        SetInformationJobObject(made, JobObjectExtendedLimitInformation, &limits, sizeof limits);
        return made;
    }();
    return job;
}

bool open_clipboard()
{
    return vel_remote_window_wait(COPY_MS, [] { return OpenClipboard(nullptr) != FALSE; });
}

void put_marker_on_clipboard()
{
    if (!open_clipboard())
        return;
    EmptyClipboard();
    const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, sizeof MARKER);
    memcpy(GlobalLock(block), MARKER, sizeof MARKER);
    GlobalUnlock(block);
    SetClipboardData(CF_UNICODETEXT, block);
    CloseClipboard();
}

std::wstring clipboard_text()
{
    if (!open_clipboard())
        return L"the clipboard stayed busy";
    std::wstring text = L"no text on the clipboard";
    if (const HGLOBAL block = GetClipboardData(CF_UNICODETEXT); block != nullptr) {
        text = static_cast<const wchar_t *>(GlobalLock(block));
        GlobalUnlock(block);
    }
    CloseClipboard();
    return text;
}

} // namespace

std::wstring vel_e2e_settings_folder()
{
    PWSTR roaming = nullptr;
    SHGetKnownFolderPath(FOLDERID_RoamingAppData, 0, nullptr, &roaming);
    const std::wstring folder = std::wstring(roaming) + L"\\Halvorine\\Quorlen";
    CoTaskMemFree(roaming);
    return folder;
}

VelE2eProgram::VelE2eProgram()
{
    start(L"");
}

VelE2eProgram::VelE2eProgram(const std::string &path)
{
    start(L" \"" + vel_e2e_to_utf_16(path) + L"\"");
}

VelE2eProgram::VelE2eProgram(const std::string &arguments, const std::string &in)
{
    start(L" " + vel_e2e_to_utf_16(arguments), vel_e2e_to_utf_16(in).c_str());
}

VelE2eProgram::VelE2eProgram(HANDLE process)
{
    process_.hProcess = process;
    process_.dwProcessId = GetProcessId(process);
}

std::wstring VelE2eProgram::path()
{
    return program_folder().parent_path() / L"app" / L"quorlen.exe";
}

void VelE2eProgram::start(const std::wstring &arguments, const wchar_t *in)
{
    const std::wstring program = path();
    std::wstring command = L"\"" + program + L"\"" + arguments;
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    EXPECT_TRUE(CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, FALSE,
                               CREATE_SUSPENDED, nullptr, in, &startup, &process_))
        << vel_e2e_to_utf_8(program) << ": " << GetLastError();
    EXPECT_TRUE(AssignProcessToJobObject(job_of_programs(), process_.hProcess)) << GetLastError();
    ResumeThread(process_.hThread);
}

VelE2eProgram::~VelE2eProgram()
{
    if (process_.hProcess == nullptr)
        return;
    TerminateProcess(process_.hProcess, 99);
    WaitForSingleObject(process_.hProcess, VEL_E2E_TIMEOUT_MS);
    if (process_.hThread != nullptr)
        CloseHandle(process_.hThread);
    CloseHandle(process_.hProcess);
}

HWND VelE2eProgram::window()
{
    if (window_ == nullptr)
        vel_remote_window_wait(VEL_E2E_TIMEOUT_MS, [this] {
            const HWND found = vel_remote_window_find(id());
            window_ = IsWindowVisible(found) ? found : nullptr;
            return window_ != nullptr;
        });
    EXPECT_NE(window_, nullptr) << "the main window did not come";
    return window_;
}

std::string VelE2eProgram::waitForBox()
{
    std::string text;
    // The text is set after the box is there.
    vel_remote_window_wait(VEL_E2E_TIMEOUT_MS, [this, &text] {
        const HWND box = vel_remote_window_find_box(id());
        if (box != nullptr)
            text = vel_remote_window_get_box_text(box);
        return !text.empty();
    });
    const HWND box = vel_remote_window_find_box(id());
    if (box == nullptr)
        return "no box";
    EXPECT_EQ(vel_remote_window_get_text(box), "Error");
    return text;
}

bool VelE2eProgram::dismissBox()
{
    return vel_remote_window_dismiss_box(vel_remote_window_find_box(id()));
}

bool VelE2eProgram::waitForStatus(const std::string &text)
{
    const HWND main = window();
    std::string status;
    const bool came = vel_remote_window_wait(VEL_E2E_TIMEOUT_MS, [main, &text, &status] {
        status = vel_remote_window_get_status(main);
        return status == text;
    });
    EXPECT_TRUE(came) << "the status bar says \"" << status << "\", not \"" << text << "\"";
    return came;
}

std::string VelE2eProgram::waitCounted(DWORD timeout_ms)
{
    const HWND main = window();
    vel_remote_window_wait_counted(main, timeout_ms, [] { return false; });
    return vel_remote_window_get_status(main);
}

int VelE2eProgram::waitForEnd(DWORD timeout_ms)
{
    if (WaitForSingleObject(process_.hProcess, timeout_ms) != WAIT_OBJECT_0)
        return -1;
    DWORD status = 0;
    GetExitCodeProcess(process_.hProcess, &status);
    return static_cast<int>(status);
}

int VelE2eProgram::close()
{
    vel_remote_window_close(window());
    return waitForEnd();
}

HWND VelE2eProgram::table()
{
    return vel_remote_window_find_child(window(), L"GuiTable");
}

int VelE2eProgram::headerHeight()
{
    RECT header = {};
    GetClientRect(vel_remote_window_find_child(window(), WC_HEADERW), &header);
    return header.bottom;
}

std::string VelE2eProgram::cellAt(int x, int y)
{
    put_marker_on_clipboard();
    DWORD_PTR result = 0;
    SendMessageTimeoutW(table(), WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(x, y), SMTO_NORMAL,
                        VEL_E2E_TIMEOUT_MS, &result);
    SendMessageTimeoutW(window(), WM_COMMAND, COMMAND_COPY, 0, SMTO_NORMAL, VEL_E2E_TIMEOUT_MS,
                        &result);
    const std::wstring text = clipboard_text();
    return text == MARKER ? std::string() : vel_e2e_to_utf_8(text);
}

std::string VelE2eProgram::title()
{
    return vel_remote_window_get_text(window());
}

std::vector<std::string> VelE2eProgram::titles()
{
    return vel_remote_window_get_titles(window(), 100);
}

void VelE2eProgram::screenshot(const std::string &name)
{
    Sleep(PAINT_MS);
    RECT area = {};
    RECT part = {};
    for (const HWND shown : {vel_remote_window_find(id()), vel_remote_window_find_box(id())}) {
        if (shown != nullptr && IsWindowVisible(shown) && GetWindowRect(shown, &part)) {
            const RECT before = area;
            UnionRect(&area, &before, &part);
        }
    }
    // A maximised window is larger than the screen by its frame.
    const RECT screen = {0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)};
    const RECT wanted = area;
    IntersectRect(&area, &wanted, &screen);
    const fs::path folder = program_folder().parent_path() / L"screenshots";
    fs::create_directories(folder);
    EXPECT_TRUE(vel_remote_window_save_screen(area, folder / vel_e2e_to_utf_16(name + ".png")));
}

void VelE2eTest::SetUpTestSuite()
{
    std::error_code ignored;
    if (!fs::exists(kept_settings()))
        fs::rename(vel_e2e_settings_folder(), kept_settings(), ignored);
}

void VelE2eTest::TearDownTestSuite()
{
    std::error_code ignored;
    fs::remove_all(vel_e2e_settings_folder(), ignored);
    fs::rename(kept_settings(), vel_e2e_settings_folder(), ignored);
}

void VelE2eTest::SetUp()
{
    std::error_code ignored;
    fs::remove_all(vel_e2e_settings_folder(), ignored);
    remove_test_folder();
    fs::create_directories(test_folder());
    folder = vel_e2e_to_utf_8(test_folder());
}

void VelE2eTest::TearDown()
{
    remove_test_folder();
    EXPECT_FALSE(fs::exists(test_folder()));
}

std::string VelE2eTest::makeFile(const std::string &name, const std::string &contents) const
{
    const std::string path = folder + "\\" + name;
    std::ofstream file(fs::path(vel_e2e_to_utf_16(path)), std::ios::binary);
    file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
    file.close();
    EXPECT_TRUE(file.good()) << path;
    return path;
}

std::string VelE2eTest::makeRepeatedFile(const std::string &first, const std::string &piece,
                                         int pieces, const std::string &last) const
{
    const std::string path = folder + "\\large.csv";
    std::ofstream file(fs::path(vel_e2e_to_utf_16(path)), std::ios::binary);
    file << first;
    for (int i = 0; i < pieces; i++)
        file << piece;
    file << last;
    file.close();
    EXPECT_TRUE(file.good()) << path;
    return path;
}

std::string VelE2eTest::makeManyRecords(int records) const
{
    std::string contents = "name,number\n";
    contents.reserve(static_cast<size_t>(records) * 16);
    for (int i = 1; i <= records; i++)
        contents += "r," + std::to_string(i) + "\n";
    return makeFile("many.csv", contents);
}
