// The clock of the benchmarks that are programs for Windows of their own.
#pragma once

#include <windows.h>

/// Milliseconds since some moment, as exact as the machine tells them.
inline double vel_bench_milliseconds()
{
    LARGE_INTEGER now;
    LARGE_INTEGER frequency;
    QueryPerformanceCounter(&now);
    QueryPerformanceFrequency(&frequency);
    return 1000.0 * static_cast<double>(now.QuadPart) / static_cast<double>(frequency.QuadPart);
}
