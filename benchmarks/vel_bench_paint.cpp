// How long 60 rows take to be painted in tables of 20, 2,000 and 16,000 columns, scrolled to the
// first, the middle and the last columns. The same number of cells shows in each, so a table's
// median is to be that of the narrowest: what does not show is to cost nothing. Beside it how long
// the columns take to be added and one step to the right takes. Needs a display.
//
//   vel_bench_paint           the whole measurement, some seconds
//   vel_bench_paint --tiny    few rounds of it and no 16,000 columns: only shows that it works
//
// Exit status 1 when a paint asked for other cells than the visible ones.
#include <windows.h>

#include <algorithm>
#include <commctrl.h>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "vel_bench_clock.h"
#include "vel_gui.h"
#include "vel_gui_table.h"

namespace
{

constexpr gint32 ROWS = 1000000;
constexpr gint32 TOP_ROW = 500000;
constexpr gint32 VISIBLE_ROWS = 60;
constexpr gint32 VISIBLE_COLUMNS = 12;
constexpr gint32 COLUMN_WIDTH = 100;

/// Low enough for all of them on a screen of 1024 lines.
constexpr gint32 ROW_HEIGHT = 14;

/// What a paint has asked for: their number, and a sum that depends on each row and column.
gint32 cells_asked;
guint64 cells_digest;

const gchar *get_text(gint32 row, gint32 column)
{
    cells_asked++;
    cells_digest += static_cast<guint64>(row) * 65536 + static_cast<guint64>(column);
    return "Some text 123";
}

guint64 expected_digest(gint32 first_column)
{
    guint64 digest = 0;
    for (gint32 row = TOP_ROW; row < TOP_ROW + VISIBLE_ROWS; row++)
        for (gint32 column = first_column; column < first_column + VISIBLE_COLUMNS; column++)
            digest += static_cast<guint64>(row) * 65536 + static_cast<guint64>(column);
    return digest;
}

double median(std::vector<double> times)
{
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

void pump()
{
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        DispatchMessageW(&message);
}

HWND create_parent()
{
    INITCOMMONCONTROLSEX controls = {sizeof controls, ICC_WIN95_CLASSES | ICC_STANDARD_CLASSES};
    InitCommonControlsEx(&controls);
    vel_gui_instance.instance = GetModuleHandleW(nullptr);
    vel_gui_init();
    WNDCLASSW window_class = {};
    window_class.lpfnWndProc = DefWindowProcW;
    window_class.hInstance = vel_gui_instance.instance;
    window_class.lpszClassName = L"VelBenchParent";
    RegisterClassW(&window_class);
    return CreateWindowExW(WS_EX_TOPMOST, L"VelBenchParent", L"", WS_POPUP | WS_VISIBLE, 0, 0, 1280,
                           1024, nullptr, nullptr, vel_gui_instance.instance, nullptr);
}

/// A table, and what was measured with it. Its address stays: its window knows it.
struct Bench {
    explicit Bench(gint32 n_columns) : columns(n_columns) {}

    gint32 columns;
    double add_ms = 0;
    std::vector<double> paint_ms[3]; ///< At the first, the middle and the last columns.
    std::vector<double> step_ms;     ///< Scrolling one column to the right and painting.
    vel_gui_table table = {};

    gint32 first_column(int place) const
    {
        return place * (columns - VISIBLE_COLUMNS) / 2;
    }
};

/// Makes room for exactly the visible cells.
void resize(vel_gui_table *table)
{
    RECT header;
    GetWindowRect(table->header, &header);
    const int width = VISIBLE_COLUMNS * COLUMN_WIDTH + GetSystemMetrics(SM_CXVSCROLL);
    const int height = VISIBLE_ROWS * (ROW_HEIGHT + 1) + header.bottom - header.top +
                       GetSystemMetrics(SM_CYHSCROLL);
    MoveWindow(table->window, 0, 0, width, height, TRUE);
}

void create_table(Bench *bench, HWND parent)
{
    vel_gui_table_init(&bench->table, parent);
    bench->table.get_text = get_text;
    bench->table.row_height = ROW_HEIGHT;
    std::vector<std::string> titles;
    std::vector<const gchar *> texts;
    for (gint32 column = 0; column < bench->columns; column++)
        titles.push_back("Column " + std::to_string(column));
    for (const std::string &title : titles)
        texts.push_back(title.c_str());
    const double start = vel_bench_milliseconds();
    vel_gui_table_add_columns(&bench->table, bench->columns, texts.data(), COLUMN_WIDTH);
    bench->add_ms = vel_bench_milliseconds() - start;
    vel_gui_table_set_num_rows(&bench->table, ROWS);
    resize(&bench->table);
    ShowWindow(bench->table.window, SW_HIDE);
}

/// Paints the cells once. @return milliseconds, below 0 when other cells were asked for
double paint_once(Bench *bench, int place)
{
    vel_gui_table_set_origin(&bench->table, TOP_ROW, bench->first_column(place));
    pump();
    cells_asked = 0;
    cells_digest = 0;
    const double start = vel_bench_milliseconds();
    RedrawWindow(bench->table.window, nullptr, nullptr,
                 RDW_INVALIDATE | RDW_UPDATENOW | RDW_NOCHILDREN);
    GdiFlush();
    const double time = vel_bench_milliseconds() - start;
    const bool is_right = cells_asked == VISIBLE_ROWS * VISIBLE_COLUMNS &&
                          cells_digest == expected_digest(bench->first_column(place));
    return is_right ? time : -1;
}

/// Scrolls by one column, header included. @return milliseconds
double step_once(Bench *bench)
{
    vel_gui_table_set_origin(&bench->table, TOP_ROW, bench->first_column(1));
    pump();
    const double start = vel_bench_milliseconds();
    SendMessageW(bench->table.window, WM_HSCROLL, SB_LINERIGHT, 0);
    RedrawWindow(bench->table.window, nullptr, nullptr, RDW_UPDATENOW | RDW_ALLCHILDREN);
    GdiFlush();
    return vel_bench_milliseconds() - start;
}

/// The tables take turns, so that a busy machine slows all of them alike.
bool run_round(std::vector<Bench> *benches, int repeats)
{
    for (Bench &bench : *benches) {
        ShowWindow(bench.table.window, SW_SHOWNA);
        pump();
        for (int place = 0; place < 3; place++) {
            for (int i = 0; i < repeats; i++) {
                const double time = paint_once(&bench, place);
                if (time < 0) {
                    std::printf("%d columns, place %d: %d cells asked for, or the wrong ones\n",
                                bench.columns, place, cells_asked);
                    return false;
                }
                bench.paint_ms[place].push_back(time);
            }
        }
        for (int i = 0; i < repeats; i++)
            bench.step_ms.push_back(step_once(&bench));
        ShowWindow(bench.table.window, SW_HIDE);
        pump();
    }
    return true;
}

void print(const std::vector<Bench> &benches)
{
    std::printf("%8s %10s %29s %32s %14s\n", "columns", "add ms", "paint ms: first  middle    last",
                "ratio: first  middle    last", "step ms ratio");
    const Bench &base = benches.front();
    for (const Bench &bench : benches) {
        std::printf("%8d %10.2f          ", bench.columns, bench.add_ms);
        for (const std::vector<double> &times : bench.paint_ms)
            std::printf(" %7.3f", median(times));
        std::printf("        ");
        for (int place = 0; place < 3; place++)
            std::printf(" %7.2f", median(bench.paint_ms[place]) / median(base.paint_ms[place]));
        std::printf(" %7.3f %6.2f\n", median(bench.step_ms),
                    median(bench.step_ms) / median(base.step_ms));
    }
}

} // namespace

int main(int argc, char **argv)
{
    const bool is_tiny = argc > 1 && std::strcmp(argv[1], "--tiny") == 0;
    HWND parent = create_parent();
    std::vector<Bench> benches;
    for (const gint32 columns : {20, 2000, 16000})
        if (!is_tiny || columns < 16000)
            benches.emplace_back(columns);
    for (Bench &bench : benches)
        create_table(&bench, parent);
    bool is_right = true;
    for (int round = 0; is_right && round < (is_tiny ? 1 : 9); round++)
        is_right = run_round(&benches, is_tiny ? 3 : 11);
    if (is_right)
        print(benches);
    for (Bench &bench : benches)
        vel_gui_table_done(&bench.table);
    DestroyWindow(parent);
    vel_gui_done();
    return is_right ? 0 : 1;
}
