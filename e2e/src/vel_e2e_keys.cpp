// See vel_e2e_keys.h.
#include "vel_e2e_keys.h"

#include "vel_e2e_text.h"

namespace
{

constexpr DWORD KEY_MS = 15;

struct key_name {
    const char *name;
    WORD key;
};

constexpr key_name HELD_KEYS[] = {{"alt+", VK_MENU}, {"ctrl+", VK_CONTROL}, {"shift+", VK_SHIFT}};

constexpr key_name KEYS[] = {
    {"enter", VK_RETURN}, {"escape", VK_ESCAPE}, {"tab", VK_TAB}, {"space", VK_SPACE},
    {"home", VK_HOME},    {"end", VK_END},       {"up", VK_UP},   {"down", VK_DOWN},
    {"left", VK_LEFT},    {"right", VK_RIGHT},   {"f3", VK_F3},
};

void send_key(WORD key, WORD scan, DWORD flags)
{
    INPUT input = {};
    input.type = INPUT_KEYBOARD;
    input.ki.wVk = key;
    input.ki.wScan = scan;
    input.ki.dwFlags = flags;
    SendInput(1, &input, sizeof input);
    Sleep(KEY_MS);
}

} // namespace

void vel_e2e_press(WORD key, WORD held)
{
    if (held != 0)
        send_key(held, 0, 0);
    send_key(key, 0, 0);
    send_key(key, 0, KEYEVENTF_KEYUP);
    if (held != 0)
        send_key(held, 0, KEYEVENTF_KEYUP);
}

/// The key's code; 0 when there is none. That of a letter is the capital letter.
static WORD vel_e2e_key(const std::string &name)
{
    for (const key_name &known : KEYS) {
        if (name == known.name)
            return known.key;
    }
    return name.size() == 1 && name[0] >= 'a' && name[0] <= 'z' ? WORD(name[0] - 'a' + 'A') : 0;
}

bool vel_e2e_press_named(const std::string &name)
{
    WORD held = 0;
    std::string rest = name;
    for (const key_name &known : HELD_KEYS) {
        if (name.starts_with(known.name)) {
            held = known.key;
            rest = name.substr(std::string(known.name).size());
        }
    }
    const WORD key = vel_e2e_key(rest);
    if (key != 0)
        vel_e2e_press(key, held);
    return key != 0;
}

void vel_e2e_type(const std::string &text)
{
    for (const wchar_t unit : vel_e2e_to_utf_16(text)) {
        send_key(0, unit, KEYEVENTF_UNICODE);
        send_key(0, unit, KEYEVENTF_UNICODE | KEYEVENTF_KEYUP);
    }
}
