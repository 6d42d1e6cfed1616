// Looks for damage in every heap of the process after each test, on Windows. What was written
// behind a block or into a freed one can only be seen where the system marks those places: under
// Wine with WINEDEBUG=warn+heap, which the build sets for its tests, elsewhere with the system's
// debug heap.
#pragma once

#include <string>

/// Finds what is wrong with the heaps of this process.
/// @return "" when nothing is, else one line for each damaged heap
/// Walks all blocks of all heaps.
std::string vel_test_heap_damage();
