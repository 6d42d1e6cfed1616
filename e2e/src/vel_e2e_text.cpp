// See vel_e2e_text.h.
#include "vel_e2e_text.h"

#include <windows.h>

std::wstring vel_e2e_to_utf_16(const std::string &text)
{
    const int bytes = static_cast<int>(text.size());
    const int units = MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
    std::wstring wide(static_cast<size_t>(units), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, wide.data(), units);
    return wide;
}

std::string vel_e2e_to_utf_8(const std::wstring &text)
{
    const int units = static_cast<int>(text.size());
    const int bytes =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), units, narrow.data(), bytes, nullptr, nullptr);
    return narrow;
}
