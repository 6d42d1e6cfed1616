// Which instruction set runs where a function exists in several: the best one that the processor
// has.
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/// The instruction sets, the better ones later.
typedef enum vel_simd_set {
    VEL_SIMD_PORTABLE, ///< 64-bit arithmetic.
    VEL_SIMD_SSE2,     ///< What every 64-bit x86 processor has.
    VEL_SIMD_AVX2,     ///< With the bit instructions that all its processors have.
    VEL_SIMD_AVX512,   ///< On bytes, with products without carries.
    VEL_SIMD_SETS,     ///< How many there are.
} vel_simd_set;

/// Their names: "portable", "sse2", "avx2" and "avx512".
extern const gchar *const vel_simd_names[VEL_SIMD_SETS];

/// The instruction set to use. Any thread.
vel_simd_set vel_simd_get(void);

/// Whether bits can be picked out of a word and put side by side by an instruction, and quickly:
/// some processors take as long for it as for a hundred others. From AVX2 on. Any thread.
gboolean vel_simd_compresses(void);

/// Changes what vel_simd_get() tells, for tests and measurements.
/// @param name  one of vel_simd_names; null for the best
/// @return FALSE when this processor does not have it; nothing changes then. Any thread.
gboolean vel_simd_use(const gchar *name);

G_END_DECLS
