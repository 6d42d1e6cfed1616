// Every input that is kept, once more, in every build: what the fuzzers have reached stays reached.
#include "vel_death_test.h"
#include "vel_fuzz_replay.h"

TEST(VelFuzzReplay, Buffer)
{
    vel_fuzz_replay(vel_fuzz_buffer, "buffer");
}

TEST(VelFuzzReplay, CsvEncoding)
{
    vel_fuzz_replay(vel_fuzz_csv_encoding, "csv_encoding");
}

TEST(VelFuzzReplay, CsvGuess)
{
    vel_fuzz_replay(vel_fuzz_csv_guess, "csv_guess");
}

TEST(VelFuzzReplay, CsvRead)
{
    vel_fuzz_replay(vel_fuzz_csv_read, "csv_read");
}

TEST(VelFuzzReplay, CsvSkip)
{
    vel_fuzz_replay(vel_fuzz_csv_skip, "csv_skip");
}

TEST(VelFuzzReplay, Find)
{
    vel_fuzz_replay(vel_fuzz_find, "find");
}

TEST(VelFuzzReplay, GridLayout)
{
    vel_fuzz_replay(vel_fuzz_grid_layout, "grid_layout");
}

TEST(VelFuzzReplay, SpawnLine)
{
    vel_fuzz_replay(vel_fuzz_spawn_line, "spawn_line");
}

TEST(VelFuzzReplay, Table)
{
    vel_fuzz_replay(vel_fuzz_table, "table");
}

TEST(VelFuzzReplayDeathTest, WhatDoesNotHoldEndsTheProgramAndNamesTheInput)
{
    vel_fuzz_set_name("an input");
    vel_fuzz_check(1 + 1 == 2);
    VEL_EXPECT_FATAL(vel_fuzz_check(1 + 1 == 3), "does not hold: 1 + 1 == 3");
    VEL_EXPECT_FATAL(vel_fuzz_check(1 + 1 == 3), "with the input an input");
}
