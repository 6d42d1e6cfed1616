// Finding texts with AVX2.
#include "vel_text_finder_internal.h"

#ifdef __x86_64__

#include "vel_simd_avx2.h"

#define VEL_TEXT_FINDER_KERNEL vel_text_finder_avx2

#include "vel_text_finder_kernel.h"

#endif
