// Going back to records whose places the scan has remembered.
#include "vel_main_window.h"

#include <gio/gio.h>

void vel_main_window_go_to_group(const vel_main_window *window, vel_csv_parser *parser,
                                 gint32 group, GError **error)
{
    const vel_table *const positions = &window->positions;
    vel_csv_parser_restore_offset(
        parser, vel_table_get_int32(positions, group, VEL_MAIN_WINDOW_POSITION_BLOCK),
        vel_table_get_int32(positions, group, VEL_MAIN_WINDOW_POSITION_OFFSET), error);
}

void vel_main_window_position_search(vel_main_window *window, gint32 record, GError **error)
{
    const gint32 group = record / VEL_MAIN_WINDOW_GROUP_SIZE;
    if (group >= window->positions.n) {
        g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_INVALID_ARGUMENT,
                            "Record index out of bounds");
        return;
    }
    vel_csv_parser *const parser = &window->search_parser;
    GError *failure = nullptr;
    vel_main_window_go_to_group(window, parser, group, &failure);
    if (failure == nullptr)
        vel_csv_parser_skip_records(parser, record - group * VEL_MAIN_WINDOW_GROUP_SIZE, nullptr,
                                    &failure);
    vel_csv_parser_check_size(parser, window->seen_size.load(std::memory_order_relaxed), &failure);
    if (failure != nullptr)
        g_propagate_error(error, failure);
}
