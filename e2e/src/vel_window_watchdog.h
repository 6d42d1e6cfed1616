// Ends a test of windows that hangs, the whole program with it, and says so: what a hanging test
// was doing is lost when it is killed from outside, and what it started goes on.
#pragma once

#include <cstdio>

#include <windows.h>

/// Bites unless it is gone in time.
class VelWindowWatchdog
{
public:
    explicit VelWindowWatchdog(DWORD patience_ms)
    {
        CreateTimerQueueTimer(&timer_, nullptr, bite, nullptr, patience_ms, 0, WT_EXECUTEONLYONCE);
    }

    ~VelWindowWatchdog()
    {
        DeleteTimerQueueTimer(nullptr, timer_, INVALID_HANDLE_VALUE);
    }

    VelWindowWatchdog(const VelWindowWatchdog &) = delete;
    VelWindowWatchdog &operator=(const VelWindowWatchdog &) = delete;

    /// The exit status of a program that was bitten.
    static constexpr UINT STATUS = 98;

private:
    static void CALLBACK bite(void *, BOOLEAN)
    {
        fprintf(stderr, "The test hangs.\n");
        fflush(stderr);
        TerminateProcess(GetCurrentProcess(), STATUS);
    }

    HANDLE timer_ = nullptr;
};
