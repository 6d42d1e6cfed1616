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
