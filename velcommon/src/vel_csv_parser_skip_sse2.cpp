// Skipping records with what every 64-bit x86 processor has.
#include "vel_csv_parser_skip.h"

#ifdef __x86_64__

#include "vel_simd_sse2.h"

#include <cstring>

#define VEL_CSV_PARSER_SKIP_KERNEL vel_csv_parser_skip_sse2

typedef guint64 vel_simd_words __attribute__((vector_size(16), aligned(8)));

#include "vel_csv_parser_skip_bits.h"

#include "vel_csv_parser_skip_look.h"

static inline bool vel_simd_has_quote_or_return_or_zero(const guint8 *group)
{
    __m128i least = vel_simd_load(group);
    __m128i found = _mm_setzero_si128();
    for (gsize i = 0; i < VEL_CSV_PARSER_GROUP; i += 16) {
        const __m128i bytes = vel_simd_load(group + i);
        least = _mm_min_epu8(least, bytes);
        found = _mm_or_si128(found, _mm_cmpeq_epi8(bytes, _mm_set1_epi8('"')));
        found = _mm_or_si128(found, _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\r')));
    }
    found = _mm_or_si128(found, _mm_cmpeq_epi8(least, _mm_setzero_si128()));
    return _mm_movemask_epi8(found) != 0;
}

static inline vel_simd_words vel_simd_rotate(vel_simd_words words)
{
    return __builtin_shufflevector(words, words, 1, 0);
}

static inline vel_simd_words vel_simd_replace_first(vel_simd_words words, vel_simd_words first)
{
    return __builtin_shufflevector(words, first, 2, 1);
}

static inline vel_simd_words vel_simd_broadcast_last(vel_simd_words words)
{
    return __builtin_shufflevector(words, words, 1, 1);
}

#include "vel_csv_parser_skip_kernel.h"

#endif
