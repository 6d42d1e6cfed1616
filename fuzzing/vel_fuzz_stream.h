// Streams over bytes, for what reads files: in memory where the system has such streams, a
// temporary file elsewhere.
#pragma once

#include <stdio.h>

#include <string>

/// Opens a stream that reads the bytes and can be sought in.
/// @return the caller closes it with fclose()
FILE *vel_fuzz_open_stream(const std::string &bytes);
