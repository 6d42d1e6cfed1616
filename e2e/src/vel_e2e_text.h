// Between the UTF-8 of the tests and the UTF-16 of Windows. Any thread.
#pragma once

#include <string>

std::wstring vel_e2e_to_utf_16(const std::string &text);
std::string vel_e2e_to_utf_8(const std::wstring &text);
