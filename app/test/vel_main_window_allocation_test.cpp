// Painting a cell whose record is cached allocates nothing, nor does taking a position row over.
// The allocator's functions are replaced by ones that count and hand over to the C library's own.
#include "vel_viewer_fixture.h"

#include <atomic>

static std::atomic<gint64> allocations;

extern "C" {

void *__libc_malloc(size_t size);
void *__libc_calloc(size_t n, size_t size);
void *__libc_realloc(void *block, size_t size);

void *malloc(size_t size)
{
    allocations++;
    return __libc_malloc(size);
}

void *calloc(size_t n, size_t size)
{
    allocations++;
    return __libc_calloc(n, size);
}

void *realloc(void *block, size_t size)
{
    allocations++;
    return __libc_realloc(block, size);
}

} // extern "C"

class VelMainWindowAllocation : public vel_viewer_fixture
{
protected:
    /// Asks for the cells of a screen as painting does.
    /// @return how often something was allocated for it
    static gint64 paint(gint32 first_row, gint32 columns)
    {
        const gint64 before = allocations;
        gsize length = 0;
        for (gint32 row = first_row; row < first_row + 40; row++)
            for (gint32 column = 0; column < columns; column++)
                length += strlen(vel_main_window_table_get_text(row, column));
        EXPECT_GT(length, 0U);
        return allocations - before;
    }
};

TEST_F(VelMainWindowAllocation, CountingWorks)
{
    const gint64 before = allocations;
    g_free(g_malloc(1));
    g_slice_free1(16, g_slice_alloc(16)); // with G_SLICE=always-malloc
    EXPECT_EQ(allocations - before, 2);
}

TEST_F(VelMainWindowAllocation, CachedCellsNeedNone)
{
    show(vel_viewer_records(5000));
    EXPECT_GT(paint(2000, 4), 0); // reads the group
    EXPECT_EQ(paint(2000, 4), 0);
    EXPECT_EQ(paint(2030, 4), 0);
}

TEST_F(VelMainWindowAllocation, CellsOfWideRecordsNeedNone)
{
    const std::string record = vel_viewer_repeat("some text,", 1999) + "end\n";
    show(vel_viewer_repeat(record, 150));
    EXPECT_GT(paint(100, 2001), 0);
    EXPECT_EQ(paint(100, 2001), 0);
}

TEST_F(VelMainWindowAllocation, LongCellsNeedNoneOnceTheBufferHasGrown)
{
    show(vel_viewer_repeat(std::string(100000, 'x') + ",y\n", 150), ',', "UTF-8");
    EXPECT_GT(paint(100, 3), 0);
    EXPECT_EQ(paint(100, 3), 0);
}

TEST_F(VelMainWindowAllocation, CellsPastTheDataNeedNone)
{
    show(vel_viewer_records(150));
    const gint64 before = allocations;
    EXPECT_STREQ(vel_main_window_table_get_text(150, 1), "");
    EXPECT_STREQ(vel_main_window_table_get_text(G_MAXINT32, 1), "");
    EXPECT_EQ(allocations - before, 0);
}

/// A chunk as the scanner hands it over.
static vel_table *make_chunk(gint32 first_group, gint32 rows)
{
    vel_table *const chunk = g_new(vel_table, 1);
    vel_table_init(chunk);
    for (const gchar *name : {"line", "block", "offset"})
        vel_table_add_column(chunk, name, VEL_TABLE_COLUMN_TYPE_INT32);
    vel_table_set_n(chunk, rows);
    for (gint32 row = 0; row < rows; row++)
        vel_table_set_int32(chunk, row, 0, 100 * (first_group + row));
    return chunk;
}

TEST_F(VelMainWindowAllocation, PositionRowsAreTakenOverInBulk)
{
    constexpr gint32 CHUNKS = 200;
    constexpr gint32 ROWS = 1001;
    for (gint32 i = 0; i < CHUNKS; i++)
        g_async_queue_push(window.chunk_queue, make_chunk(i * ROWS, ROWS));
    const gint64 before = allocations;
    vel_main_window_update(&window);
    EXPECT_LE(allocations - before, 100) << "growing the table, the status text";
    ASSERT_EQ(window.positions.n, CHUNKS * ROWS);
    EXPECT_EQ(vel_table_find_int32(&window.positions, 0, 100 * 150000), 150000);
    EXPECT_EQ(vel_table_find_int32(&window.positions, 0, 100 * 150000 + 1), -1);
}
