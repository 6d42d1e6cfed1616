// The kept inputs of the targets of the CSV parser and of the search with blocks of 64 bytes, once
// more in every build.
#include "vel_fuzz_replay.h"

TEST(VelFuzzReplay64, CsvEncoding)
{
    vel_fuzz_replay(vel_fuzz_csv_encoding, "csv_encoding_64");
}

TEST(VelFuzzReplay64, CsvGuess)
{
    vel_fuzz_replay(vel_fuzz_csv_guess, "csv_guess_64");
}

TEST(VelFuzzReplay64, CsvRead)
{
    vel_fuzz_replay(vel_fuzz_csv_read, "csv_read_64");
}

TEST(VelFuzzReplay64, CsvSkip)
{
    vel_fuzz_replay(vel_fuzz_csv_skip, "csv_skip_64");
}

TEST(VelFuzzReplay64, Find)
{
    vel_fuzz_replay(vel_fuzz_find, "find_64");
}
