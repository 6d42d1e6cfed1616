// The record reader and its counting path against the naive reader, in memory, in a file and across
// the end of a block; positions taken on the way and restored in another order; all records into a
// table. An input is: flags, separator, order, the source's choices (four bytes), the text.
#include "vel_fuzz_csv.h"

#include <random>

// Restoring a position in another block reads that block.
static constexpr gsize VEL_FUZZ_RESTORED_MAX = 32;

// A table of very many columns takes long to make.
static constexpr gsize VEL_FUZZ_TABLE_MAX = 4096;

namespace
{

struct vel_fuzz_reading {
    vel_fuzz_csv csv;
    NaiveCsvReader naive;
    gint32 start;        ///< Where in block 0 the naive reader's own begins.
    bool with_fields;    ///< Whether the fields are wanted.
    bool with_positions; ///< Whether positions are taken: that may bring a block in.
};

} // namespace

static NaivePosition vel_fuzz_real_position(const vel_fuzz_reading *reading, NaivePosition position)
{
    return {position.block,
            position.block == 0 ? position.offset + reading->start : position.offset};
}

static NaivePosition vel_fuzz_take_position(vel_fuzz_reading *reading)
{
    const NaivePosition position = reading->naive.position();
    const NaivePosition expected = vel_fuzz_real_position(reading, position);
    gint32 block = -1;
    gint32 offset = -1;
    vel_csv_parser_get_offset(&reading->csv.parser, &block, &offset);
    vel_fuzz_check(block == expected.block);
    vel_fuzz_check(offset == expected.offset);
    return position;
}

static std::vector<NaivePosition> vel_fuzz_read_to_end(vel_fuzz_reading *reading)
{
    std::vector<NaivePosition> positions;
    for (;;) {
        if (reading->with_positions)
            positions.push_back(vel_fuzz_take_position(reading));
        const NaiveRecord expected = reading->naive.read_record();
        vel_fuzz_check_record(&reading->csv, expected, reading->with_fields);
        if (expected.count == 0 || expected.unclosed)
            break;
    }
    // The end is the end for good.
    vel_fuzz_check_record(&reading->csv, reading->naive.read_record(), reading->with_fields);
    return positions;
}

static void vel_fuzz_restore(vel_fuzz_reading *reading, NaivePosition position)
{
    const NaivePosition real = vel_fuzz_real_position(reading, position);
    g_autoptr(GError) error = nullptr;
    vel_csv_parser_set_offset(&reading->csv.parser, real.block, real.offset, &error);
    vel_fuzz_check(error == nullptr);
    reading->naive.set_position(position);
    vel_fuzz_check_record(&reading->csv, reading->naive.read_record(), reading->with_fields);
}

static void vel_fuzz_check_table(const vel_table *table, const std::vector<NaiveRecord> &records)
{
    gint32 columns = 0;
    vel_fuzz_check(table->n == static_cast<gint32>(records.size()));
    for (gint32 row = 0; row < table->n; row++) {
        const std::vector<NaiveField> &fields = records[static_cast<gsize>(row)].fields;
        columns = MAX(columns, static_cast<gint32>(fields.size()));
        for (gint32 column = 0; column < table->n_columns; column++) {
            const auto i = static_cast<gsize>(column);
            const NaiveField field = i < fields.size() ? fields[i] : NaiveField();
            const std::string text = vel_table_get_str(table, row, column);
            vel_fuzz_check(text == vel_fuzz_up_to_zero(field.value_or("")));
            vel_fuzz_check((vel_table_get_null(table, row, column) != FALSE) ==
                           (i < fields.size() && !field.has_value()));
        }
    }
    vel_fuzz_check(table->n_columns == columns);
}

static void vel_fuzz_read_all(vel_fuzz_reading *reading)
{
    std::vector<NaiveRecord> records;
    bool unclosed = false;
    for (;;) {
        const NaiveRecord record = reading->naive.read_record();
        unclosed = record.unclosed;
        if (record.count == 0 || unclosed)
            break;
        records.push_back(record);
    }
    g_autoptr(GError) error = nullptr;
    vel_table table;
    vel_table_init(&table);
    vel_csv_parser_read_all(&reading->csv.parser, &table, &error);
    vel_fuzz_check((error != nullptr) == unclosed);
    vel_fuzz_check_table(&table, records);
    vel_table_done(&table);
}

gint vel_fuzz_csv_read(const guint8 *data, gsize size)
{
    vel_fuzz_input input = {data, size};
    const gint32 flags = vel_fuzz_take_number(&input, 8);
    const gchar separator = vel_fuzz_take_separator(&input);
    std::minstd_rand order(vel_fuzz_take_byte(&input) + 1U);
    vel_fuzz_input choices = input;
    for (gint i = 0; i < 4; i++)
        vel_fuzz_take_byte(&input);
    const vel_fuzz_source source = vel_fuzz_take_source(&choices, vel_fuzz_take_rest(&input), true);

    vel_fuzz_reading reading;
    reading.naive = vel_fuzz_naive(source, separator);
    reading.start = static_cast<gint32>(source.start);
    reading.with_fields = (flags & 1) == 0;
    reading.with_positions = (flags & 2) == 0;
    g_autoptr(GError) error = nullptr;
    vel_fuzz_open(&reading.csv, source, separator, &error);
    vel_fuzz_check(error == nullptr);
    if ((flags & 4) != 0 && source.bytes.size() < VEL_FUZZ_TABLE_MAX) {
        vel_fuzz_read_all(&reading);
        return 0;
    }
    const std::vector<NaivePosition> positions = vel_fuzz_read_to_end(&reading);
    for (gsize i = 0; i < MIN(positions.size(), VEL_FUZZ_RESTORED_MAX); i++)
        vel_fuzz_restore(&reading, positions[order() % positions.size()]);
    return 0;
}
