// Finding texts with nothing but 64-bit arithmetic, eight bytes at a time.
#include "vel_text_finder_internal.h"

#include "vel_simd_portable.h"

#define VEL_TEXT_FINDER_KERNEL vel_text_finder_portable

#include "vel_text_finder_kernel.h"
