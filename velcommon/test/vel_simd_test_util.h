// What the tests share that run once in each instruction set of this machine.
#pragma once

#include "vel_simd.h"

#include <gtest/gtest.h>

#include <vector>

/// The instruction sets that this machine has, for testing::ValuesIn().
inline std::vector<const char *> vel_simd_test_sets()
{
    std::vector<const char *> names;
    for (const gchar *const name : vel_simd_names) {
        if (vel_simd_use(name))
            names.push_back(name);
    }
    vel_simd_use(nullptr);
    return names;
}

/// A test in the instruction set that its parameter names.
struct VelSimdFixture : testing::TestWithParam<const char *> {
    void SetUp() override
    {
        ASSERT_TRUE(vel_simd_use(GetParam()));
    }
    void TearDown() override
    {
        vel_simd_use(nullptr);
    }
};
