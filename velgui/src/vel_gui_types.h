// The window system's handle types. Elsewhere than on Windows they are opaque names, so that
// structures that hold them can be compiled and tested without a window system.
#pragma once

#ifdef _WIN32
#include <windows.h>
#else
typedef struct vel_gui_opaque_window *HWND;
typedef struct vel_gui_opaque_menu *HMENU;
typedef struct vel_gui_opaque_icon *HICON;
typedef struct vel_gui_opaque_brush *HBRUSH;
#endif
