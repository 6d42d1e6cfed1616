// What the window tests share: a parent window on the screen with the toolkit running, a message
// pump, pixels read back. Wine and Windows alike.
#pragma once

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include <windows.h>

#include <commctrl.h>

#include "vel_gui.h"
#include "vel_test_handles.h"

/// Pixels of a rectangle, row by row.
struct VelPixels {
    int width = 0;
    int height = 0;
    std::vector<COLORREF> colors;

    COLORREF at(int x, int y) const
    {
        return colors.at(static_cast<size_t>(y) * static_cast<size_t>(width) +
                         static_cast<size_t>(x));
    }

    bool operator==(const VelPixels &other) const
    {
        return width == other.width && height == other.height && colors == other.colors;
    }
};

/// A bitmap that can be drawn into and read.
class VelBitmap
{
public:
    VelBitmap(int width, int height)
        : width_(width), height_(height), dc_(CreateCompatibleDC(nullptr))
    {
        BITMAPINFO info = {};
        info.bmiHeader.biSize = sizeof info.bmiHeader;
        info.bmiHeader.biWidth = width;
        info.bmiHeader.biHeight = -height; // top-down
        info.bmiHeader.biPlanes = 1;
        info.bmiHeader.biBitCount = 32;
        bitmap_ = CreateDIBSection(dc_, &info, DIB_RGB_COLORS, &bits_, nullptr, 0);
        previous_ = SelectObject(dc_, bitmap_);
    }

    ~VelBitmap()
    {
        SelectObject(dc_, previous_);
        DeleteObject(bitmap_);
        DeleteDC(dc_);
    }

    VelBitmap(const VelBitmap &) = delete;
    VelBitmap &operator=(const VelBitmap &) = delete;

    HDC dc() const
    {
        return dc_;
    }

    void fill(COLORREF color) const
    {
        const RECT all = {0, 0, width_, height_};
        HBRUSH brush = CreateSolidBrush(color);
        FillRect(dc_, &all, brush);
        DeleteObject(brush);
    }

    VelPixels pixels() const
    {
        GdiFlush();
        VelPixels result;
        result.width = width_;
        result.height = height_;
        const auto *bits = static_cast<const guint32 *>(bits_);
        for (int i = 0; i < width_ * height_; i++) {
            const guint32 bgr = bits[i];
            result.colors.push_back(RGB((bgr >> 16) & 0xFF, (bgr >> 8) & 0xFF, bgr & 0xFF));
        }
        return result;
    }

private:
    int width_;
    int height_;
    HDC dc_;
    HBITMAP bitmap_ = nullptr;
    HGDIOBJ previous_ = nullptr;
    void *bits_ = nullptr;
};

/// Handles every message that waits.
inline void vel_test_pump()
{
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

/// Reads a rectangle in a window's client coordinates from the screen. Nothing may cover it.
inline VelPixels vel_test_screen_pixels(HWND window, const RECT &rect)
{
    POINT origin = {rect.left, rect.top};
    ClientToScreen(window, &origin);
    const int width = rect.right - rect.left;
    const int height = rect.bottom - rect.top;
    VelBitmap bitmap(width, height);
    HDC screen = GetDC(nullptr);
    BitBlt(bitmap.dc(), 0, 0, width, height, screen, origin.x, origin.y, SRCCOPY);
    ReleaseDC(nullptr, screen);
    return bitmap.pixels();
}

/// Reads a window's client area from the screen.
inline VelPixels vel_test_screen_pixels(HWND window)
{
    RECT client;
    GetClientRect(window, &client);
    return vel_test_screen_pixels(window, client);
}

/// The toolkit running, and a parent window on the screen with a client area of 600 x 400 pixels.
class VelWindowTest : public testing::Test
{
protected:
    void SetUp() override
    {
        INITCOMMONCONTROLSEX controls = {sizeof controls, ICC_WIN95_CLASSES | ICC_STANDARD_CLASSES};
        InitCommonControlsEx(&controls);
        vel_gui_instance.instance = GetModuleHandleW(nullptr);
        vel_gui_init();
        registerParentClass();
        RECT bounds = {0, 0, 600, 400};
        const DWORD style = WS_OVERLAPPEDWINDOW;
        AdjustWindowRect(&bounds, style, FALSE);
        parent = CreateWindowExW(WS_EX_TOPMOST, L"VelTestParent", L"Test", style, 40, 40,
                                 bounds.right - bounds.left, bounds.bottom - bounds.top, nullptr,
                                 nullptr, vel_gui_instance.instance, nullptr);
        ASSERT_NE(parent, nullptr);
        ShowWindow(parent, SW_SHOW);
        SetForegroundWindow(parent);
        vel_test_pump();
    }

    void TearDown() override
    {
        DestroyWindow(parent);
        vel_test_pump();
        vel_gui_done();
    }

    HWND parent = nullptr;

private:
    static void registerParentClass()
    {
        WNDCLASSW parent_class = {};
        parent_class.lpfnWndProc = DefWindowProcW;
        parent_class.hInstance = vel_gui_instance.instance;
        parent_class.hCursor = LoadCursorW(nullptr, IDC_ARROW);
        parent_class.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
        parent_class.lpszClassName = L"VelTestParent";
        RegisterClassW(&parent_class); // fails from the second test on: it is there already
    }
};
