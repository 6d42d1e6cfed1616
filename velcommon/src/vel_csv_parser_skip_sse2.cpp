// Skipping records with what every 64-bit x86 processor has.
#include "vel_csv_parser_skip.h"

#ifdef __x86_64__

#include <cstring>
#include <emmintrin.h>

#define VEL_CSV_PARSER_SKIP_KERNEL vel_csv_parser_skip_sse2

typedef guint64 vel_simd_words __attribute__((vector_size(16), aligned(8)));

#include "vel_csv_parser_skip_bits.h"

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

// Puts a bit for each of 16 bytes that is `needle`.
static inline void vel_simd_put_bits(__m128i bytes, __m128i needle, guint64 *bits, gsize i)
{
    const auto mask = static_cast<guint16>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, needle)));
    std::memcpy(reinterpret_cast<gchar *>(bits) + i * sizeof mask, &mask, sizeof mask);
}

static inline bool vel_simd_look(const guint8 *bytes, gsize length, guint8 separator,
                                 vel_csv_parser_sight *sight)
{
    const __m128i separators = _mm_set1_epi8(static_cast<char>(separator));
    __m128i least = vel_simd_load(bytes);
    for (gsize i = 0; i < length / 16; i++) {
        const __m128i some = vel_simd_load(bytes + 16 * i);
        least = _mm_min_epu8(least, some);
        vel_simd_put_bits(some, _mm_set1_epi8('"'), sight->quotes, i);
        vel_simd_put_bits(some, separators, sight->separators, i);
        vel_simd_put_bits(some, _mm_set1_epi8('\n'), sight->feeds, i);
        vel_simd_put_bits(some, _mm_set1_epi8('\r'), sight->returns, i);
    }
    return _mm_movemask_epi8(_mm_cmpeq_epi8(least, _mm_setzero_si128())) == 0;
}

static inline vel_simd_words vel_simd_turn(vel_simd_words words)
{
    return __builtin_shufflevector(words, words, 1, 0);
}

static inline vel_simd_words vel_simd_replace_first(vel_simd_words words, vel_simd_words first)
{
    return __builtin_shufflevector(words, first, 2, 1);
}

static inline vel_simd_words vel_simd_spread_last(vel_simd_words words)
{
    return __builtin_shufflevector(words, words, 1, 1);
}

#include "vel_csv_parser_skip_kernel.h"

#endif
