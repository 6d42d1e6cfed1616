// Shared by the toolkit's own sources: UTF-16 for Win32 calls, and what vel_gui_init() starts.
#pragma once

#include "vel_gui.h"

/// Converts a text for a Win32 call.
/// @param text  UTF-8, borrowed; bytes that are not UTF-8 become replacement characters
/// @return UTF-16, caller frees with g_free
wchar_t *vel_gui_to_utf_16(const gchar *text);

/// Creates the lock of the wheel accumulator; ends the program when that fails.
void vel_gui_wheel_init(void);

/// Deletes the lock of the wheel accumulator.
void vel_gui_wheel_done(void);
