// See vel_simd.h.
#include "vel_simd.h"

#include <atomic>

#ifdef __x86_64__
#include <cpuid.h>
#endif

const gchar *const vel_simd_names[VEL_SIMD_SETS] = {"portable", "sse2", "avx2", "avx512"};

static constexpr gint32 VEL_SIMD_UNKNOWN = -1;

static std::atomic<gint32> vel_simd_chosen = VEL_SIMD_UNKNOWN;

#ifdef __x86_64__
/// Not every compiler has a name for this one; without it the instruction is another, and counts
/// would be wrong.
static bool vel_simd_has_lzcnt(void)
{
    guint32 eax = 0, ebx = 0, ecx = 0, edx = 0;
    return __get_cpuid(0x80000001, &eax, &ebx, &ecx, &edx) != 0 && (ecx & guint32{bit_LZCNT}) != 0;
}

// Each tells of all that the code for its set uses.
static bool vel_simd_has_avx2(void)
{
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
           __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt") &&
           __builtin_cpu_supports("pclmul") && vel_simd_has_lzcnt();
}

static bool vel_simd_has_avx512(void)
{
    return vel_simd_has_avx2() && __builtin_cpu_supports("avx512f") &&
           __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl") &&
           __builtin_cpu_supports("vpclmulqdq");
}
#endif

static vel_simd_set vel_simd_best(void)
{
#ifdef __x86_64__
    if (vel_simd_has_avx512())
        return VEL_SIMD_AVX512;
    return vel_simd_has_avx2() ? VEL_SIMD_AVX2 : VEL_SIMD_SSE2;
#else
    return VEL_SIMD_PORTABLE;
#endif
}

gboolean vel_simd_compresses(void)
{
#ifdef __x86_64__
    return vel_simd_get() >= VEL_SIMD_AVX2 && !__builtin_cpu_is("amdfam15h") &&
           !__builtin_cpu_is("amdfam17h");
#else
    return FALSE;
#endif
}

gboolean vel_simd_use(const gchar *name)
{
    const vel_simd_set best = vel_simd_best();
    for (gint32 set = best; set >= VEL_SIMD_PORTABLE; set--) {
        if (name == nullptr || g_str_equal(name, vel_simd_names[set])) {
            vel_simd_chosen.store(set, std::memory_order_relaxed);
            return TRUE;
        }
    }
    return FALSE;
}

vel_simd_set vel_simd_get(void)
{
    if (vel_simd_chosen.load(std::memory_order_relaxed) == VEL_SIMD_UNKNOWN)
        vel_simd_use(nullptr);
    return static_cast<vel_simd_set>(vel_simd_chosen.load(std::memory_order_relaxed));
}
