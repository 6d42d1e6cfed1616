// Pictures of the screen. Copied from the screen itself, because windows asked to draw themselves
// elsewhere may not do so; nothing may cover them.
#include "vel_remote_window.h"

#include <memory>

#include <objidl.h>

#include <gdiplus.h>

namespace
{

constexpr CLSID PNG_ENCODER = {
    0x557cf406, 0x1a04, 0x11d3, {0x9a, 0x73, 0x00, 0x00, 0xf8, 0x1e, 0xf3, 0x2e}};

} // namespace

/// Copies a part of the screen. The caller deletes the bitmap.
static HBITMAP vel_remote_window_copy_screen(const RECT &area)
{
    const int width = area.right - area.left;
    const int height = area.bottom - area.top;
    const HDC screen = GetDC(nullptr);
    const HDC memory = CreateCompatibleDC(screen);
    const HBITMAP bitmap = CreateCompatibleBitmap(screen, width, height);
    const HGDIOBJ previous = SelectObject(memory, bitmap);
    BitBlt(memory, 0, 0, width, height, screen, area.left, area.top, SRCCOPY);
    SelectObject(memory, previous);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
    return bitmap;
}

std::vector<DWORD> vel_remote_window_read_screen(const RECT &area)
{
    const int width = area.right - area.left;
    const int height = area.bottom - area.top;
    std::vector<DWORD> pixels(static_cast<size_t>(width) * static_cast<size_t>(height));
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = width;
    // Negative: the first row is the uppermost.
    info.bmiHeader.biHeight = -height;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    const HBITMAP bitmap = vel_remote_window_copy_screen(area);
    const HDC screen = GetDC(nullptr);
    GetDIBits(screen, bitmap, 0, static_cast<UINT>(height), pixels.data(), &info, DIB_RGB_COLORS);
    ReleaseDC(nullptr, screen);
    DeleteObject(bitmap);
    for (DWORD &pixel : pixels)
        pixel &= 0xFFFFFF;
    return pixels;
}

bool vel_remote_window_save_screen(const RECT &area, const std::wstring &path)
{
    ULONG_PTR session = 0;
    const Gdiplus::GdiplusStartupInput input;
    if (Gdiplus::GdiplusStartup(&session, &input, nullptr) != Gdiplus::Ok)
        return false;
    const HBITMAP bitmap = vel_remote_window_copy_screen(area);
    bool saved = false;
    {
        // Gone before GDI+ is.
        const std::unique_ptr<Gdiplus::Bitmap> picture(
            Gdiplus::Bitmap::FromHBITMAP(bitmap, nullptr));
        saved =
            picture != nullptr && picture->Save(path.c_str(), &PNG_ENCODER, nullptr) == Gdiplus::Ok;
    }
    DeleteObject(bitmap);
    Gdiplus::GdiplusShutdown(session);
    return saved;
}
