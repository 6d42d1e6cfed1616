// What the sources of the text finder share with each other and with their tests; nobody else
// includes this.
//
// Two bytes of the needle, rare ones, are compared at many places of the text at once. Where both
// are right two more are compared, likewise, and only where all four are right the whole needle.
#pragma once

#include "vel_text_finder.h"

/// Finds the first place in text..last where the needle is. From `last` on there are as many bytes
/// as the needle has; text <= last. Null when there is none.
typedef const guint8 *vel_text_finder_kernel(const vel_text_finder *finder, const guint8 *text,
                                             const guint8 *last);

vel_text_finder_kernel vel_text_finder_portable;
#ifdef __x86_64__
vel_text_finder_kernel vel_text_finder_sse2;
vel_text_finder_kernel vel_text_finder_avx2;
#endif

/// Whether the needle is at a place of the text.
static inline bool vel_text_finder_is_at(const vel_text_finder *finder, const guint8 *place)
{
    for (gsize i = 0; i < finder->length; i++) {
        if ((place[i] | finder->masks[i]) != finder->bytes[i])
            return false;
    }
    return true;
}
