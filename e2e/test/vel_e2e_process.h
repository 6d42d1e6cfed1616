// What only the inside of a running program tells: whether its heaps are sound, how many objects of
// the graphics system it holds.
#pragma once

#include <string>

#include <windows.h>

/// A thread in a running program that waits there to be asked for its heaps. Made while the program
/// rests: Wine has a thread that works make the new one between any two of its instructions, and
/// hangs when it was just in the C library's heap.
class VelE2eHeapWatch
{
public:
    /// @param process  id; may be the own one
    explicit VelE2eHeapWatch(DWORD process);
    ~VelE2eHeapWatch();
    VelE2eHeapWatch(const VelE2eHeapWatch &) = delete;
    VelE2eHeapWatch &operator=(const VelE2eHeapWatch &) = delete;

    /// Has the program look through all blocks of all its heaps; it may be at work.
    /// @return "" when they are sound, else what is wrong or why that is not known
    std::string damage();

private:
    bool start();

    HANDLE process_;
    HANDLE asked_ = nullptr;
    HANDLE answered_ = nullptr;
    BYTE *pages_ = nullptr; ///< The program's: what the thread runs, and what it works on.
    bool started_ = false;
};

/// GDI objects of the program. @return 0 when that is not known
DWORD vel_e2e_gdi_handles(DWORD process);
