// See vel_e2e_process.h. The heaps are looked through by a thread in the program itself, which runs
// a copy of a function of ours; system functions lie at the same address in every process.
#include "vel_e2e_process.h"

#include <cstdint>
#include <vector>

#include <winternl.h>

#include "vel_e2e_fixture.h"

namespace
{

constexpr DWORD MOST_HEAPS = 64;
constexpr size_t PAGE_BYTES = 4096;

enum { HEAPS_SOUND = 1, HEAPS_DAMAGED = 2, HEAPS_UNKNOWN = 3 };

/// What the function finds in the program: it can use nothing else, not even a constant.
struct heap_check {
    decltype(&::GetProcessHeaps) get_heaps;
    decltype(&::HeapValidate) validate;
    HANDLE heaps[MOST_HEAPS];
};

/// One entry of the table of GDI objects.
struct gdi_entry {
    void *object;
    WORD process; ///< Owner; 0 where the table is the process's own.
    WORD lock;
    WORD generation;
    WORD type; ///< 0 for an unused entry.
    void *data;
};

constexpr size_t GDI_ENTRIES = 0x4000;
constexpr size_t GDI_TABLE_IN_PEB = 0xF8;

/// A handle closed with this object.
class open_handle
{
public:
    explicit open_handle(HANDLE handle) : handle_(handle) {}

    ~open_handle()
    {
        if (handle_ != nullptr)
            CloseHandle(handle_);
    }

    open_handle(const open_handle &) = delete;
    open_handle &operator=(const open_handle &) = delete;

    HANDLE get() const
    {
        return handle_;
    }

private:
    HANDLE handle_;
};

} // namespace

static DWORD WINAPI vel_e2e_check_heaps(void *parameter)
{
    auto *const check = static_cast<heap_check *>(parameter);
    const DWORD count = check->get_heaps(MOST_HEAPS, check->heaps);
    if (count == 0 || count > MOST_HEAPS)
        return HEAPS_UNKNOWN;
    for (DWORD i = 0; i < count; i++) {
        if (!check->validate(check->heaps[i], 0, nullptr))
            return HEAPS_DAMAGED;
    }
    return HEAPS_SOUND;
}

/// Copies the function and what it needs into two pages and runs it there.
/// @return its result, 0 when it could not be run
static DWORD vel_e2e_run_check(HANDLE process, BYTE *pages)
{
    const heap_check check = {GetProcessHeaps, HeapValidate, {}};
    DWORD before = 0;
    if (!WriteProcessMemory(process, pages, reinterpret_cast<const void *>(&vel_e2e_check_heaps),
                            PAGE_BYTES / 4, nullptr) ||
        !WriteProcessMemory(process, pages + PAGE_BYTES, &check, sizeof check, nullptr) ||
        !VirtualProtectEx(process, pages, PAGE_BYTES, PAGE_EXECUTE_READ, &before))
        return 0;
    const open_handle thread(CreateRemoteThread(process, nullptr, 0,
                                                reinterpret_cast<LPTHREAD_START_ROUTINE>(pages),
                                                pages + PAGE_BYTES, 0, nullptr));
    DWORD result = 0;
    if (thread.get() == nullptr ||
        WaitForSingleObject(thread.get(), VEL_E2E_TIMEOUT_MS) != WAIT_OBJECT_0 ||
        !GetExitCodeThread(thread.get(), &result))
        return 0;
    return result;
}

std::string vel_e2e_heap_damage(DWORD process)
{
    const open_handle opened(OpenProcess(PROCESS_ALL_ACCESS, FALSE, process));
    if (opened.get() == nullptr)
        return "the program is gone";
    auto *const pages = static_cast<BYTE *>(VirtualAllocEx(
        opened.get(), nullptr, 2 * PAGE_BYTES, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
    if (pages == nullptr)
        return "no memory in the program";
    const DWORD result = vel_e2e_run_check(opened.get(), pages);
    VirtualFreeEx(opened.get(), pages, 0, MEM_RELEASE);
    switch (result) {
    case HEAPS_SOUND:
        return "";
    case HEAPS_DAMAGED:
        return "a heap of the program is damaged";
    default:
        return "the heaps could not be looked through";
    }
}

DWORD vel_e2e_gdi_handles(DWORD process)
{
    const open_handle opened(OpenProcess(PROCESS_ALL_ACCESS, FALSE, process));
    if (const DWORD count = GetGuiResources(opened.get(), GR_GDIOBJECTS); count != 0)
        return count;
    PROCESS_BASIC_INFORMATION information = {};
    if (NtQueryInformationProcess(opened.get(), ProcessBasicInformation, &information,
                                  sizeof information, nullptr) != 0)
        return 0;
    const BYTE *const peb = reinterpret_cast<const BYTE *>(information.PebBaseAddress);
    const void *table = nullptr;
    std::vector<gdi_entry> entries(GDI_ENTRIES);
    if (!ReadProcessMemory(opened.get(), peb + GDI_TABLE_IN_PEB, &table, sizeof table, nullptr) ||
        !ReadProcessMemory(opened.get(), table, entries.data(), entries.size() * sizeof(gdi_entry),
                           nullptr))
        return 0;
    DWORD count = 0;
    for (const gdi_entry &entry : entries)
        count +=
            (entry.type & 0xFF) != 0 && (entry.process == 0 || entry.process == LOWORD(process));
    return count;
}
