// Skipping records with what every 64-bit x86 processor has.
#include "vel_csv_parser_skip.h"
#include "vel_csv_parser_skip_bits.h"

#ifdef __x86_64__

#include <emmintrin.h>

#define VEL_CSV_PARSER_SKIP_KERNEL vel_csv_parser_skip_sse2

static inline __m128i vel_simd_load(const guint8 *bytes)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
}

static inline guint64 vel_simd_bits(const guint8 *bytes, guint8 byte)
{
    const __m128i needle = _mm_set1_epi8(static_cast<char>(byte));
    guint64 bits = 0;
    for (gint i = 0; i < 4; i++) {
        const __m128i equal = _mm_cmpeq_epi8(vel_simd_load(bytes + 16 * i), needle);
        bits |= guint64{static_cast<guint32>(_mm_movemask_epi8(equal))} << 16 * i;
    }
    return bits;
}

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

static inline bool vel_simd_has_return(const guint8 *group)
{
    __m128i found = _mm_setzero_si128();
    for (gsize i = 0; i < VEL_CSV_PARSER_GROUP; i += 16)
        found = _mm_or_si128(found, _mm_cmpeq_epi8(vel_simd_load(group + i), _mm_set1_epi8('\r')));
    return _mm_movemask_epi8(found) != 0;
}

static inline bool vel_simd_has_zero(const guint8 *group)
{
    __m128i least = vel_simd_load(group);
    for (gsize i = 16; i < VEL_CSV_PARSER_GROUP; i += 16)
        least = _mm_min_epu8(least, vel_simd_load(group + i));
    return _mm_movemask_epi8(_mm_cmpeq_epi8(least, _mm_setzero_si128())) != 0;
}

#include "vel_csv_parser_skip_kernel.h"

#endif
