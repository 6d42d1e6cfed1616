// Mouse wheel input: raw deltas become whole lines, the rest is kept for the next input. The state
// is one for the process, under a lock, because input may be handled on any thread.
#include "vel_gui_internal.h"

#include "vel_gui_arithmetic.h"

static CRITICAL_SECTION csWheelLock;
static vel_gui_wheel_state vel_gui_wheel; ///< Guarded by csWheelLock.

void vel_gui_wheel_init(void)
{
    if (!InitializeCriticalSectionAndSpinCount(&csWheelLock, 1024))
        vel_gui_abort("InitializeCriticalSectionAndSpinCount failed");
}

void vel_gui_wheel_done(void)
{
    DeleteCriticalSection(&csWheelLock);
}

gint32 vel_gui_wheel_scroll(HWND window, gint32 delta, guint32 page, gboolean vertical)
{
    const guint32 now = GetTickCount();
    UINT setting = 0;
    const UINT which = vertical ? SPI_GETWHEELSCROLLLINES : SPI_GETWHEELSCROLLCHARS;
    if (!SystemParametersInfoW(which, 0, &setting, 0))
        setting = 3;
    const guint32 lines = vel_gui_wheel_lines(setting, page);

    EnterCriticalSection(&csWheelLock);
    const gint32 result = vel_gui_wheel_accumulate(&vel_gui_wheel, window, delta, lines, vertical,
                                                   now, GetDoubleClickTime());
    LeaveCriticalSection(&csWheelLock);
    return result;
}
