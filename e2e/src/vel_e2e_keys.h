// Keys as a keyboard sends them: they go to whatever window is in front. Any thread.
#pragma once

#include <string>

#include <windows.h>

/// Presses and releases a key, with another one held or not.
void vel_e2e_press(WORD key, WORD held = 0);

/// Presses and releases a key named in words: "f3", "tab", "alt+h", "ctrl+home".
/// @return false when there is no such key
bool vel_e2e_press_named(const std::string &name);

/// Types a text. @param text  UTF-8
void vel_e2e_type(const std::string &text);
