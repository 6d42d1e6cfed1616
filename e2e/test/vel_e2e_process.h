// What only the inside of a running program tells: whether its heaps are sound, how many objects of
// the graphics system it holds.
#pragma once

#include <string>

#include <windows.h>

/// Has the program look through all blocks of all its heaps.
/// @param process  id
/// @return "" when they are sound, else what is wrong or why that is not known
std::string vel_e2e_heap_damage(DWORD process);

/// GDI objects of the program. @return 0 when that is not known
DWORD vel_e2e_gdi_handles(DWORD process);
