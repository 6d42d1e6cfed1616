// See stand_in_window.h. Some functions of the libraries below are reached through the linker's
// --wrap, so that the code under test is the product's own.
#include "stand_in_window.h"

#include <cerrno>
#include <chrono>
#include <clocale>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <unistd.h>

#include "vel_assert.h"
#include "vel_gui.h"
#include "vel_main_window_ui.h"
#include "vel_utils.h"

stand_in_window stand_in;

namespace
{

constexpr auto POLL_PERIOD = std::chrono::milliseconds(1);

/// The one message that can be under way: there is one scanner, and it waits for the answer.
struct message_queue {
    std::mutex mutex;
    std::condition_variable handled;
    const GError *error = nullptr;
};

/// What the reads of the scanner are allowed.
struct read_gate {
    std::mutex mutex;
    std::condition_variable changed;
    std::thread::id ui_thread;
    gint32 blocks_read = 0;
    gint32 closes_at = -1; ///< Blocks read when it closes; negative: open.
    bool waiting = false;
};

/// What the scanner has published, and how far it may go with that.
struct publication_log {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<stand_in_publication> entries;
    gsize hold_at = 0; ///< Number of entries at which it is held; 0: not at all.
};

message_queue messages;
read_gate gate;
publication_log publications;
std::atomic<gint32> opens_until_failure;
bool groups_thousands;
std::atomic<bool> loses_fields;

/// A share whose files are read through callbacks.
struct file_share {
    std::atomic<bool> is_used;
    std::atomic<gint32> calls;
    std::atomic<gint32> failing_from = G_MAXINT32; ///< The first call that fails, counted from 1.
    std::atomic<gint32> failing_to = G_MAXINT32;   ///< The call behind the last one that does.
};

file_share share;

} // namespace

void stand_in_reset(void)
{
    stand_in = {};
    opens_until_failure = 0;
    groups_thousands = false;
    loses_fields = false;
    share.is_used = false;
    share.calls = 0;
    stand_in_share_fail(0, false);
    {
        const std::lock_guard lock(publications.mutex);
        publications.entries.clear();
        publications.hold_at = 0;
    }
    const std::lock_guard lock(gate.mutex);
    gate.ui_thread = std::this_thread::get_id();
    gate.blocks_read = 0;
    gate.closes_at = -1;
    gate.waiting = false;
}

void vel_gui_abort(const gchar *message)
{
    std::fprintf(stderr, "[Error box] %s\n", message);
    std::fflush(nullptr);
    if (stand_in.on_abort)
        stand_in.on_abort();
    std::_Exit(1);
}

// The main window.

void vel_main_window_ui_set_title(vel_main_window *, const gchar *title)
{
    stand_in.title = title;
    stand_in.calls.push_back("title");
}

void vel_main_window_ui_check_headers(vel_main_window *, gboolean checked)
{
    stand_in.header_marks.push_back(checked != FALSE);
    stand_in.calls.push_back(checked ? "check headers" : "uncheck headers");
    if (stand_in.on_header_mark)
        stand_in.on_header_mark();
}

void vel_main_window_ui_set_status(vel_main_window *, const gchar *text)
{
    stand_in.statuses.push_back(text);
    stand_in.calls.push_back("status");
}

void vel_main_window_ui_repaint_table(vel_main_window *)
{
    stand_in.calls.push_back("repaint");
}

gboolean vel_main_window_ui_is_enabled(vel_main_window *)
{
    return !stand_in.is_disabled;
}

void vel_main_window_ui_show_message(vel_main_window *, const gchar *message)
{
    stand_in.messages.push_back(message);
}

void vel_main_window_ui_send_scan_error(vel_main_window *, GError *error)
{
    std::unique_lock lock(messages.mutex);
    messages.error = error;
    messages.handled.wait(lock, [] { return messages.error == nullptr; });
}

bool stand_in_has_message(void)
{
    const std::lock_guard lock(messages.mutex);
    return messages.error != nullptr;
}

bool stand_in_pump(void)
{
    const std::lock_guard lock(messages.mutex);
    if (messages.error == nullptr)
        return false;
    if (stand_in.aborts_on_error)
        vel_gui_abort(messages.error->message);
    stand_in.errors.push_back(messages.error->message);
    messages.error = nullptr;
    messages.handled.notify_all();
    return true;
}

void vel_main_window_ui_wait_for_scanner(vel_main_window *window)
{
    if (stand_in.on_wait)
        stand_in.on_wait();
    while (window->scanner_done.load() == 0) {
        stand_in_pump();
        std::this_thread::sleep_for(POLL_PERIOD);
    }
}

// The table control's model.

void stand_in_create_table(vel_gui_table *table)
{
    *table = {};
    table->row_height = 20;
    table->selected_row = -1;
    table->selected_column = -1;
    table->get_text = vel_main_window_table_get_text;
}

void vel_gui_table_add_column(vel_gui_table *table, const gchar *title, gint32 width)
{
    stand_in.columns.push_back({title, width});
    stand_in.calls.push_back("add column");
    table->columns++;
}

void vel_gui_table_add_columns(vel_gui_table *table, gint32 n, const gchar *const *titles,
                               gint32 width)
{
    for (gint32 i = 0; i < n; i++)
        vel_gui_table_add_column(table, titles[i], width);
}

void vel_gui_table_clear_columns(vel_gui_table *table)
{
    stand_in.columns.clear();
    stand_in.columns_cleared++;
    stand_in.calls.push_back("clear columns");
    table->columns = 0;
    vel_gui_table_select(table, -1, -1);
}

void vel_gui_table_set_num_rows(vel_gui_table *table, gint32 rows)
{
    vel_assert(rows >= 0);
    stand_in.calls.push_back("set rows");
    table->rows = rows;
    if (table->selected_row >= rows)
        vel_gui_table_select(table, -1, -1);
}

void vel_gui_table_select(vel_gui_table *table, gint32 row, gint32 column)
{
    vel_assert((row >= 0 && column >= 0) || (row < 0 && column < 0));
    vel_assert(row < table->rows && column < table->columns);
    table->selected_row = row;
    table->selected_column = column;
}

// The chunk queue.

std::vector<stand_in_publication> stand_in_publications(void)
{
    const std::lock_guard lock(publications.mutex);
    return publications.entries;
}

void stand_in_hold_publication(gsize nth)
{
    const std::lock_guard lock(publications.mutex);
    publications.hold_at = nth;
    publications.changed.notify_all();
}

void stand_in_wait_publication(gsize nth)
{
    std::unique_lock lock(publications.mutex);
    publications.changed.wait(lock, [nth] { return publications.entries.size() >= nth; });
}

static void stand_in_publish(const vel_table *chunk, const std::function<void()> &push)
{
    const vel_main_window *const window = vel_main_window_instance;
    const stand_in_publication entry = {window->record_count, window->max_field_count,
                                        window->scan_state, chunk->n};
    push();
    std::unique_lock lock(publications.mutex);
    publications.entries.push_back(entry);
    publications.changed.notify_all();
    const gsize number = publications.entries.size();
    publications.changed.wait(lock, [number] { return publications.hold_at != number; });
}

// Files.

void stand_in_gate_close_after(gint32 blocks)
{
    const std::lock_guard lock(gate.mutex);
    gate.closes_at = gate.blocks_read + blocks;
}

void stand_in_gate_wait(void)
{
    std::unique_lock lock(gate.mutex);
    gate.changed.wait(lock, [] { return gate.waiting; });
}

void stand_in_gate_open(void)
{
    const std::lock_guard lock(gate.mutex);
    gate.closes_at = -1;
    gate.changed.notify_all();
}

gint32 stand_in_blocks_read(void)
{
    const std::lock_guard lock(gate.mutex);
    return gate.blocks_read;
}

static void stand_in_gate_pass(void)
{
    std::unique_lock lock(gate.mutex);
    if (std::this_thread::get_id() == gate.ui_thread)
        return;
    gate.waiting = gate.closes_at >= 0 && gate.blocks_read >= gate.closes_at;
    gate.changed.notify_all();
    gate.changed.wait(lock, [] { return gate.closes_at < 0 || gate.blocks_read < gate.closes_at; });
    gate.waiting = false;
    gate.blocks_read++;
}

void stand_in_fail_open(gint32 nth)
{
    opens_until_failure = nth;
}

void stand_in_group_thousands(void)
{
    groups_thousands = true;
}

void stand_in_lose_fields(void)
{
    loses_fields = true;
}

// The share.

void stand_in_share_files(void)
{
    share.is_used = true;
}

gint32 stand_in_share_calls(void)
{
    return share.calls;
}

void stand_in_share_fail(gint32 nth, bool lasting)
{
    share.failing_from = nth > 0 ? share.calls + nth : G_MAXINT32;
    share.failing_to = nth > 0 && !lasting ? share.calls + nth + 1 : G_MAXINT32;
}

static bool stand_in_share_answers(void)
{
    const gint32 call = ++share.calls;
    if (call < share.failing_from || call >= share.failing_to)
        return true;
    errno = EIO;
    return false;
}

static ssize_t stand_in_share_read(void *cookie, char *bytes, size_t n)
{
    return stand_in_share_answers() ? read(fileno(static_cast<FILE *>(cookie)), bytes, n) : -1;
}

static int stand_in_share_seek(void *cookie, off64_t *offset, int whence)
{
    if (!stand_in_share_answers())
        return -1;
    *offset = lseek(fileno(static_cast<FILE *>(cookie)), *offset, whence);
    return *offset < 0 ? -1 : 0;
}

static int stand_in_share_close(void *cookie)
{
    return fclose(static_cast<FILE *>(cookie));
}

extern "C" {

void __real_g_async_queue_push(GAsyncQueue *queue, gpointer data);
void __wrap_g_async_queue_push(GAsyncQueue *queue, gpointer data);

void __wrap_g_async_queue_push(GAsyncQueue *queue, gpointer data)
{
    stand_in_publish(static_cast<const vel_table *>(data),
                     [=] { __real_g_async_queue_push(queue, data); });
}

size_t __real_fread(void *bytes, size_t size, size_t n, FILE *file);
FILE *__real_vel_utils_fopen_shared(const gchar *path, GError **error);
struct lconv *__real_localeconv(void);
gint32 __real_vel_csv_parser_read_record(vel_csv_parser *parser, GPtrArray *fields, GError **error);

size_t __wrap_fread(void *bytes, size_t size, size_t n, FILE *file);
FILE *__wrap_vel_utils_fopen_shared(const gchar *path, GError **error);
struct lconv *__wrap_localeconv(void);
gint32 __wrap_vel_csv_parser_read_record(vel_csv_parser *parser, GPtrArray *fields, GError **error);

size_t __wrap_fread(void *bytes, size_t size, size_t n, FILE *file)
{
    // The three bytes read to find a byte-order mark are no block.
    constexpr size_t block_size = 131072;
    if (size * n >= block_size)
        stand_in_gate_pass();
    return __real_fread(bytes, size, n, file);
}

FILE *__wrap_vel_utils_fopen_shared(const gchar *path, GError **error)
{
    if (opens_until_failure > 0 && --opens_until_failure == 0) {
        errno = ENOENT;
        vel_utils_set_error_from_errno(error);
        return nullptr;
    }
    FILE *const file = __real_vel_utils_fopen_shared(path, error);
    if (file == nullptr || !share.is_used)
        return file;
    return fopencookie(file, "rb",
                       {stand_in_share_read, nullptr, stand_in_share_seek, stand_in_share_close});
}

struct lconv *__wrap_localeconv(void)
{
    if (!groups_thousands)
        return __real_localeconv();
    static char separator[] = ",";
    static char grouping[] = "\3";
    static struct lconv conventions = *__real_localeconv();
    conventions.thousands_sep = separator;
    conventions.grouping = grouping;
    return &conventions;
}

gint32 __wrap_vel_csv_parser_read_record(vel_csv_parser *parser, GPtrArray *fields, GError **error)
{
    const gint32 n_fields = __real_vel_csv_parser_read_record(parser, fields, error);
    if (loses_fields && fields != nullptr)
        fields->pdata = nullptr;
    return n_fields;
}

} // extern "C"
