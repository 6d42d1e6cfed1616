// See vel_test_heap_check.h. Linked into every test program for Windows.
#include "vel_test_heap_check.h"

#include <gtest/gtest.h>

#include <vector>

#include <windows.h>

namespace
{

constexpr DWORD MOST_HEAPS = 256;

class VelHeapListener : public testing::EmptyTestEventListener
{
    void OnTestEnd(const testing::TestInfo &) override
    {
        EXPECT_EQ(vel_test_heap_damage(), "");
    }
};

/// Before main(), so that the entry of the tests is the same on every system. Owned by GoogleTest.
[[maybe_unused]] const bool registered = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new VelHeapListener);
    return true;
}();

} // namespace

std::string vel_test_heap_damage()
{
    std::vector<HANDLE> heaps(MOST_HEAPS);
    const DWORD count = GetProcessHeaps(MOST_HEAPS, heaps.data());
    if (count == 0 || count > MOST_HEAPS)
        return "the heaps cannot be told\n";
    std::string damage;
    for (DWORD i = 0; i < count; i++) {
        if (!HeapValidate(heaps[i], 0, nullptr))
            damage += "heap " + std::to_string(i) + " of " + std::to_string(count) +
                      " is damaged: memory was written that is not allocated\n";
    }
    return damage;
}
