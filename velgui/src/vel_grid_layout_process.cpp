// The grid applied to real controls.
#include "vel_grid_layout.h"

#include <vector>

#include "vel_gui.h"

void vel_grid_layout_process(vel_grid_layout *layout)
{
    const guint count = layout->cells->len;
    std::vector<vel_grid_layout_size> preferred(count);
    std::vector<vel_grid_layout_rectangle> placed(count);
    const auto *const cells = reinterpret_cast<vel_grid_layout_cell **>(layout->cells->pdata);
    for (guint i = 0; i < count; i++) {
        if (cells[i]->window == nullptr)
            continue;
        const SIZE size = vel_gui_get_preferred_size(cells[i]->window);
        preferred[i] = {gint32(size.cx), gint32(size.cy)};
    }
    vel_grid_layout_arrange(layout, preferred.data(), placed.data());
    for (guint i = 0; i < count; i++) {
        const vel_grid_layout_rectangle &place = placed[i];
        if (cells[i]->window != nullptr)
            MoveWindow(cells[i]->window, place.x, place.y, place.width, place.height, TRUE);
    }
}
