// The CSV dialect once more, byte by byte and without any concern for speed, to hold the real
// reader against. It keeps the whole text, cut into blocks, and has no fast paths: every rule is
// applied where it is stated, one byte at a time.
#pragma once

#include <optional>
#include <string>
#include <vector>

/// Nothing for a field of no bytes.
using NaiveField = std::optional<std::string>;

struct NaiveRecord {
    std::vector<NaiveField> fields;
    int count = 0;         ///< What the reader is to return.
    bool unclosed = false; ///< The data ended inside quotes.
};

struct NaivePosition {
    int block = 0;
    int offset = 0;
};

class NaiveCsvReader
{
public:
    /// A string in memory: one block, nothing behind it.
    static NaiveCsvReader of_text(const std::string &text, char separator);
    /// A file in UTF-8, in blocks of that size. A file that fills its last block has an empty one
    /// behind it, since only a read that comes up short shows the end.
    static NaiveCsvReader of_file(const std::string &bytes, char separator, size_t block_size);
    /// A file as the blocks that reads deliver, the last one not full.
    static NaiveCsvReader of_blocks(const std::vector<std::string> &blocks, char separator);

    NaiveRecord read_record();
    /// Where the next record starts. Goes into the next block at the end of one.
    NaivePosition position();
    void set_position(NaivePosition position);

private:
    bool at_block_end() const;
    bool enter_next_block();
    int next_byte();
    bool read_quoted(std::string &bytes, bool &unclosed);
    void read_unquoted(std::string &bytes);
    bool is_end_of_field(int byte) const;

    std::vector<std::string> blocks;
    size_t block = 0;
    size_t offset = 0;
    char separator = ',';
};
