// Counts the handles of the window system that this process holds. Every program that tests windows
// compares the counts before and after each suite of tests and fails when they have grown.
#pragma once

#include <string>

#include <windows.h>

/// Handles of one moment.
struct VelHandleCounts {
    DWORD gdi = 0;
    DWORD user = 0;

    bool operator==(const VelHandleCounts &) const = default;
};

/// GDI objects of this process.
DWORD vel_test_gdi_handles();

/// USER objects of this process. Where the system does not count them: the windows of this thread,
/// the menus, icons and cursors of the process.
DWORD vel_test_user_handles();

VelHandleCounts vel_test_handles();

/// What is more than it was. @return "" when nothing is
std::string vel_test_handles_growth(const VelHandleCounts &before, const VelHandleCounts &after);
