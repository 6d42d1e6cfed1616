// See vel_e2e_process.h. The heaps are looked through by a thread in the program itself, which runs
// a copy of a function of ours; system functions lie at the same address in every process.
#include "vel_e2e_process.h"

#include <cstddef>
#include <cstdint>
#include <vector>

#include <winternl.h>

#include "vel_e2e_fixture.h"

namespace
{

constexpr DWORD MOST_HEAPS = 64;
constexpr size_t PAGE_BYTES = 4096;

enum { HEAPS_SOUND = 1, HEAPS_DAMAGED = 2, HEAPS_UNKNOWN = 3 };

/// What the function finds in the program: it can use nothing else, not even a constant. The events
/// are handles of the program.
struct heap_check {
    decltype(&::GetProcessHeaps) get_heaps;
    decltype(&::HeapValidate) validate;
    decltype(&::WaitForSingleObject) wait;
    decltype(&::SetEvent) set;
    HANDLE asked;
    HANDLE answered;
    DWORD result;
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
    while (check->wait(check->asked, INFINITE) == WAIT_OBJECT_0) {
        const DWORD count = check->get_heaps(MOST_HEAPS, check->heaps);
        check->result = count == 0 || count > MOST_HEAPS ? HEAPS_UNKNOWN : HEAPS_SOUND;
        for (DWORD i = 0; i < count && check->result == HEAPS_SOUND; i++) {
            if (!check->validate(check->heaps[i], 0, nullptr))
                check->result = HEAPS_DAMAGED;
        }
        check->set(check->answered);
    }
    return 0;
}

/// Makes an event known to a process. @return its handle there, null when that fails
static HANDLE vel_e2e_share_event(HANDLE event, HANDLE process)
{
    HANDLE shared = nullptr;
    DuplicateHandle(GetCurrentProcess(), event, process, &shared, 0, FALSE, DUPLICATE_SAME_ACCESS);
    return shared;
}

VelE2eHeapWatch::VelE2eHeapWatch(DWORD process)
    : process_(OpenProcess(PROCESS_ALL_ACCESS, FALSE, process))
{
    asked_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    answered_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    started_ = process_ != nullptr && start();
}

/// The thread ends with the program.
VelE2eHeapWatch::~VelE2eHeapWatch()
{
    for (const HANDLE handle : {asked_, answered_, process_}) {
        if (handle != nullptr)
            CloseHandle(handle);
    }
}

/// Copies the function and what it needs into two pages and runs it there.
bool VelE2eHeapWatch::start()
{
    const heap_check check = {GetProcessHeaps,
                              HeapValidate,
                              WaitForSingleObject,
                              SetEvent,
                              vel_e2e_share_event(asked_, process_),
                              vel_e2e_share_event(answered_, process_),
                              0,
                              {}};
    pages_ = static_cast<BYTE *>(VirtualAllocEx(process_, nullptr, 2 * PAGE_BYTES,
                                                MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
    DWORD before = 0;
    if (pages_ == nullptr || check.asked == nullptr || check.answered == nullptr ||
        !WriteProcessMemory(process_, pages_, reinterpret_cast<const void *>(&vel_e2e_check_heaps),
                            PAGE_BYTES / 4, nullptr) ||
        !WriteProcessMemory(process_, pages_ + PAGE_BYTES, &check, sizeof check, nullptr) ||
        !VirtualProtectEx(process_, pages_, PAGE_BYTES, PAGE_EXECUTE_READ, &before))
        return false;
    const open_handle thread(CreateRemoteThread(process_, nullptr, 0,
                                                reinterpret_cast<LPTHREAD_START_ROUTINE>(pages_),
                                                pages_ + PAGE_BYTES, 0, nullptr));
    return thread.get() != nullptr;
}

std::string VelE2eHeapWatch::damage()
{
    if (!started_)
        return "the program cannot be looked into";
    SetEvent(asked_);
    DWORD result = 0;
    if (WaitForSingleObject(answered_, VEL_E2E_TIMEOUT_MS) != WAIT_OBJECT_0 ||
        !ReadProcessMemory(process_, pages_ + PAGE_BYTES + offsetof(heap_check, result), &result,
                           sizeof result, nullptr))
        return "the heaps could not be looked through";
    switch (result) {
    case HEAPS_SOUND:
        return "";
    case HEAPS_DAMAGED:
        return "a heap of the program is damaged";
    default:
        return "the heaps are not known";
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
