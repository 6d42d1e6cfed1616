// What listeners can ask of the entry of a test program.
#pragma once

#include <string>

/// A filter for tests to run once more if none of the last run has failed; "" for none. Taken and
/// emptied before they run.
extern std::string vel_test_again;
