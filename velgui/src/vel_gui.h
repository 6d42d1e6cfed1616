// The toolkit's core: process-wide state, the fatal-error box, creation and preferred sizes of
// controls, UTF-8 text in and out of windows, wheel accumulation, the message loop and the shell's
// file dialog. All text is UTF-8. Everything runs on the UI thread unless a function says
// otherwise. Off Windows only vel_gui_abort() is declared, so that code without windows can report
// a fatal error through it.
#pragma once

#include <glib.h>

#include "vel_gui_types.h"

#ifdef _WIN32
/// The toolkit's process-wide handles. UI thread.
typedef struct vel_gui_handles {
    HINSTANCE instance;  ///< Set by the application before any window is created; borrowed.
    HACCEL accelerators; ///< Set by the application or null; vel_gui_done() destroys it.
    HFONT font;          ///< The stock GUI font of controls and table cells, from vel_gui_init().
    HWND dialog; ///< A modeless dialog whose keys the message loop handles, or null; borrowed.
} vel_gui_handles;

/// The one set of them.
extern vel_gui_handles vel_gui_instance;
#endif

G_BEGIN_DECLS

/// Shows a message in a box captioned "Error" and ends the process with exit status 1.
/// @param message  UTF-8, borrowed; bytes that are not UTF-8 are shown as replacement characters
/// Any thread. While the box is open table controls paint without asking for cell texts, so that a
/// failing cell cannot open box upon box.
G_NORETURN void vel_gui_abort(const gchar *message);

#ifdef _WIN32

/// Whether vel_gui_abort() shows its box. The box has no owner and disables no window, so a
/// window's procedure must see to it that nothing begins behind it. Any thread.
gboolean vel_gui_is_aborting(void);

/// Starts buffered painting, fetches the font and creates the lock of the wheel accumulator.
/// Ends the program with "InitializeCriticalSectionAndSpinCount failed" when there is no lock.
void vel_gui_init(void);

/// Releases what the toolkit holds: the table class if it was registered, the wheel lock, the font,
/// the accelerators, buffered painting. All windows of the toolkit must have been destroyed.
void vel_gui_done(void);

/// Runs the application's message loop until the quit message.
/// @param main_window  the window that the accelerators' commands go to
void vel_gui_event_loop(HWND main_window);

/// Creates a push button.
/// @param parent  the window that owns the control, as for every control below
/// @param text    UTF-8, copied, as for every control below
/// @param id      control id, sent with its WM_COMMAND
/// @return the control, placed at (0, 0), destroyed with its parent; null when Windows refused it
HWND vel_gui_create_button(HWND parent, const gchar *text, gint32 id);

/// Creates a radio button that checks itself.
HWND vel_gui_create_radio_button(HWND parent, const gchar *text);

/// Creates a check box that checks itself.
HWND vel_gui_create_checkbox(HWND parent, const gchar *text);

/// Creates an empty one-line text field.
HWND vel_gui_create_edit(HWND parent, gint32 id);

/// Creates an empty drop-down list.
HWND vel_gui_create_combobox(HWND parent);

/// Creates a left-aligned text.
HWND vel_gui_create_label(HWND parent, const gchar *text);

/// Creates an empty container for other controls; the keyboard reaches its children.
HWND vel_gui_create_panel(HWND parent);

/// Creates a header control without items: hot tracking, live resizing of its items.
HWND vel_gui_create_header(HWND parent);

/// Creates a scroll bar control.
/// @param vertical  TRUE for an upright one
HWND vel_gui_create_scrollbar(HWND parent, gboolean vertical);

/// Creates a progress bar.
HWND vel_gui_create_progress_bar(HWND parent, gint32 id);

/// Tells the size a control would like to have, by its window class and contents.
/// @return pixels; 100 x 100 for classes that it does not know
/// Costs one text measurement for a label and at most 99 for a list, however long that is.
SIZE vel_gui_get_preferred_size(HWND window);

/// Measures one line of text in the toolkit's font.
/// @param text    UTF-16, borrowed, needs no terminator
/// @param length  code units
SIZE vel_gui_measure_text_utf_16(const gunichar2 *text, gint32 length);

/// Sets a window's text.
/// @param text  UTF-8, copied; bytes that are not UTF-8 become replacement characters
void vel_gui_set_text(HWND window, const gchar *text);

/// Gets a window's text.
/// @return UTF-8, caller frees with g_free; lone surrogates give null
gchar *vel_gui_get_text(HWND window);

/// Moves a rectangle so that its centre is another one's; halves round toward zero.
/// @param outer  borrowed
/// @param inner  in: its size; out: the same size, centred
void vel_gui_center(const RECT *outer, RECT *inner);

/// Turns wheel input into whole lines and keeps the rest of it for the next input of that window.
/// @param window    the window that is scrolled
/// @param delta     signed wheel delta; 120 is one notch
/// @param page      lines that fit on the screen; 0 counts as 1
/// @param vertical  the axis
/// @return lines to add to the scroll position. Any thread.
gint32 vel_gui_wheel_scroll(HWND window, gint32 delta, guint32 page, gboolean vertical);

/// Lets the user choose a file to open. COM must have been initialised on this thread.
/// @param owner  the window that the dialog blocks
/// @return UTF-8 path, caller frees with g_free; null when the user cancelled or anything failed
gchar *vel_gui_open_file_dialog(HWND owner);

#endif

G_END_DECLS
