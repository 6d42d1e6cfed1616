// Which instruction set is used.
#include "vel_simd.h"

#include <gtest/gtest.h>

TEST(VelSimd, ANamedSetIsUsed)
{
    ASSERT_TRUE(vel_simd_use("portable"));
    EXPECT_EQ(vel_simd_get(), VEL_SIMD_PORTABLE);
    if (vel_simd_use("sse2")) {
        EXPECT_EQ(vel_simd_get(), VEL_SIMD_SSE2);
    }
    vel_simd_use(nullptr);
}

TEST(VelSimd, WhoeverHasASetHasTheOnesBeforeIt)
{
    ASSERT_TRUE(vel_simd_use(nullptr));
    const vel_simd_set best = vel_simd_get();
    for (int set = VEL_SIMD_PORTABLE; set < VEL_SIMD_SETS; set++) {
        EXPECT_EQ(vel_simd_use(vel_simd_names[set]), set <= best) << vel_simd_names[set];
        EXPECT_EQ(vel_simd_get(), MIN(set, best));
    }
    vel_simd_use(nullptr);
}

TEST(VelSimd, UnknownSetsAreRefusedAndChangeNothing)
{
    ASSERT_TRUE(vel_simd_use("portable"));
    EXPECT_FALSE(vel_simd_use("mmx"));
    EXPECT_FALSE(vel_simd_use(""));
    EXPECT_EQ(vel_simd_get(), VEL_SIMD_PORTABLE);
    vel_simd_use(nullptr);
}

TEST(VelSimd, TheBestIsAtLeastWhatEveryProcessorHas)
{
    ASSERT_TRUE(vel_simd_use(nullptr));
#ifdef __x86_64__
    EXPECT_GE(vel_simd_get(), VEL_SIMD_SSE2);
#else
    EXPECT_EQ(vel_simd_get(), VEL_SIMD_PORTABLE);
#endif
}

TEST(VelSimd, BitsAreCompressedOnlyFromAvx2On)
{
    ASSERT_TRUE(vel_simd_use("portable"));
    EXPECT_FALSE(vel_simd_compresses());
    if (vel_simd_use("sse2")) {
        EXPECT_FALSE(vel_simd_compresses());
    }
    vel_simd_use(nullptr);
}
