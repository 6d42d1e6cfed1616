// Finding texts with what every 64-bit x86 processor has.
#include "vel_text_finder_internal.h"

#ifdef __x86_64__

#include "vel_simd_sse2.h"

#define VEL_TEXT_FINDER_KERNEL vel_text_finder_sse2

#include "vel_text_finder_kernel.h"

#endif
