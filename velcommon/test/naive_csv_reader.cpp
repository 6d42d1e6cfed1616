// See the header. Written to be checked against the rules by eye, not to be fast.
#include "naive_csv_reader.h"

static const int NO_BYTE = 0;

NaiveCsvReader NaiveCsvReader::of_text(const std::string &text, char separator)
{
    NaiveCsvReader reader;
    reader.separator = separator;
    // A string ends at its first zero byte.
    reader.blocks.push_back(text.substr(0, text.find('\0')));
    return reader;
}

NaiveCsvReader NaiveCsvReader::of_file(const std::string &bytes, char separator, size_t block_size)
{
    NaiveCsvReader reader;
    reader.separator = separator;
    for (size_t start = 0; start <= bytes.size(); start += block_size)
        reader.blocks.push_back(bytes.substr(start, block_size));
    return reader;
}

NaiveCsvReader NaiveCsvReader::of_blocks(const std::vector<std::string> &blocks, char separator)
{
    NaiveCsvReader reader;
    reader.separator = separator;
    reader.blocks = blocks;
    return reader;
}

bool NaiveCsvReader::at_block_end() const
{
    return offset == blocks[block].size();
}

bool NaiveCsvReader::enter_next_block()
{
    if (!at_block_end() || block + 1 == blocks.size())
        return false;
    block++;
    offset = 0;
    return true;
}

// The byte at the position, which stays; NO_BYTE at the end of the data. A zero in the text is the
// same to its readers.
int NaiveCsvReader::next_byte()
{
    enter_next_block();
    return at_block_end() ? NO_BYTE : static_cast<unsigned char>(blocks[block][offset]);
}

bool NaiveCsvReader::is_end_of_field(int byte) const
{
    return byte == NO_BYTE || byte == '\n' || byte == '\r' || byte == separator;
}

// After the opening quote. Tells whether the closing quote was the last byte of its block.
bool NaiveCsvReader::read_quoted(std::string &bytes, bool &unclosed)
{
    bool hidden =
        false; // a zero in the text hides the quotes behind it, up to the end of the block
    for (;;) {
        if (at_block_end()) {
            hidden = false;
            if (next_byte() == NO_BYTE) {
                unclosed = true;
                return false;
            }
        }
        const char byte = blocks[block][offset];
        if (hidden || (byte != '"' && byte != '\0')) {
            bytes += byte;
            offset++;
        } else if (byte == '\0') {
            hidden = true;
        } else {
            offset++;
            const bool last = at_block_end();
            if (next_byte() != '"')
                return last;
            bytes += '"';
            offset++;
        }
    }
}

void NaiveCsvReader::read_unquoted(std::string &bytes)
{
    for (int byte = next_byte(); !is_end_of_field(byte); byte = next_byte()) {
        bytes += static_cast<char>(byte);
        offset++;
    }
}

NaiveRecord NaiveCsvReader::read_record()
{
    NaiveRecord record;
    for (;;) {
        std::string bytes;
        bool at_end_of_block = false;
        if (next_byte() == '"') {
            offset++;
            at_end_of_block = read_quoted(bytes, record.unclosed);
        } else {
            read_unquoted(bytes);
        }
        record.fields.push_back(bytes.empty() ? NaiveField() : NaiveField(bytes));
        record.count++;
        if (record.unclosed)
            return record;

        const int byte = next_byte();
        if (byte == NO_BYTE) {
            if (record.count == 1 && bytes.empty())
                record = NaiveRecord();
            return record;
        }
        if (byte == separator) {
            offset++;
            continue;
        }
        if (byte == '\n') {
            offset++;
            return record;
        }
        if (byte == '\r') {
            offset++;
            if (next_byte() == '\n')
                offset++;
            return record;
        }
        // A byte right after a closing quote: a further field inside the block, the next record
        // behind its end.
        if (at_end_of_block)
            return record;
    }
}

NaivePosition NaiveCsvReader::position()
{
    enter_next_block();
    return {static_cast<int>(block), static_cast<int>(offset)};
}

void NaiveCsvReader::set_position(NaivePosition position)
{
    block = static_cast<size_t>(position.block);
    offset = static_cast<size_t>(position.offset);
}
