// Skipping records with AVX2 and the bit instructions that all its processors have.
#include "vel_csv_parser_skip.h"

#ifdef __x86_64__

#include <cstring>
#include <immintrin.h>

#define VEL_CSV_PARSER_SKIP_KERNEL vel_csv_parser_skip_avx2

typedef guint64 vel_simd_words __attribute__((vector_size(32), aligned(8)));

static inline __m256i vel_simd_load(const guint8 *bytes)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes));
}

static inline guint64 vel_simd_bits(const guint8 *bytes, guint8 byte)
{
    const __m256i needle = _mm256_set1_epi8(static_cast<char>(byte));
    const __m256i low = _mm256_cmpeq_epi8(vel_simd_load(bytes), needle);
    const __m256i high = _mm256_cmpeq_epi8(vel_simd_load(bytes + 32), needle);
    return guint64{static_cast<guint32>(_mm256_movemask_epi8(high))} << 32 |
           static_cast<guint32>(_mm256_movemask_epi8(low));
}

static inline bool vel_simd_has_quote_or_return_or_zero(const guint8 *group)
{
    // Looks each byte's low half up: the one of the three bytes that has it, or one that does not.
    const __m256i table = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(0, 0, '"', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, '\r', 0, 0));
    __m256i found = _mm256_setzero_si256();
    for (gsize i = 0; i < VEL_CSV_PARSER_GROUP; i += 32) {
        const __m256i bytes = vel_simd_load(group + i);
        found = _mm256_or_si256(found, _mm256_cmpeq_epi8(_mm256_shuffle_epi8(table, bytes), bytes));
    }
    return _mm256_movemask_epi8(found) != 0;
}

// Puts a bit for each of 32 bytes that is `needle`.
static inline void vel_simd_put_bits(__m256i bytes, __m256i needle, guint64 *bits, gsize i)
{
    const gint mask = _mm256_movemask_epi8(_mm256_cmpeq_epi8(bytes, needle));
    std::memcpy(reinterpret_cast<gchar *>(bits) + i * sizeof mask, &mask, sizeof mask);
}

static inline bool vel_simd_look(const guint8 *bytes, gsize length, guint8 separator,
                                 vel_csv_parser_sight *sight)
{
    const __m256i separators = _mm256_set1_epi8(static_cast<char>(separator));
    __m256i least = vel_simd_load(bytes);
    for (gsize i = 0; i < length / 32; i++) {
        const __m256i some = vel_simd_load(bytes + 32 * i);
        least = _mm256_min_epu8(least, some);
        vel_simd_put_bits(some, _mm256_set1_epi8('"'), sight->quotes, i);
        vel_simd_put_bits(some, separators, sight->separators, i);
        vel_simd_put_bits(some, _mm256_set1_epi8('\n'), sight->feeds, i);
        vel_simd_put_bits(some, _mm256_set1_epi8('\r'), sight->returns, i);
    }
    return _mm256_movemask_epi8(_mm256_cmpeq_epi8(least, _mm256_setzero_si256())) == 0;
}

static inline vel_simd_words vel_simd_turn(vel_simd_words words)
{
    return __builtin_shufflevector(words, words, 3, 0, 1, 2);
}

static inline vel_simd_words vel_simd_replace_first(vel_simd_words words, vel_simd_words first)
{
    return __builtin_shufflevector(words, first, 4, 1, 2, 3);
}

static inline vel_simd_words vel_simd_spread_last(vel_simd_words words)
{
    return __builtin_shufflevector(words, words, 3, 3, 3, 3);
}

static inline void vel_simd_prefix_xor(vel_simd_words *bits)
{
    // A product without carries, by all ones, adds up what is below each place.
    const __m128i ones = _mm_set1_epi8(-1);
    const auto words = reinterpret_cast<__m256i>(*bits);
    const __m128i low = _mm256_castsi256_si128(words);
    const __m128i high = _mm256_extracti128_si256(words, 1);
    const __m128i low_sums =
        _mm_unpacklo_epi64(_mm_clmulepi64_si128(low, ones, 0), _mm_clmulepi64_si128(low, ones, 1));
    const __m128i high_sums = _mm_unpacklo_epi64(_mm_clmulepi64_si128(high, ones, 0),
                                                 _mm_clmulepi64_si128(high, ones, 1));
    *bits = reinterpret_cast<vel_simd_words>(_mm256_set_m128i(high_sums, low_sums));
}

static inline guint64 vel_simd_compress(guint64 bits, guint64 kept)
{
    return _pext_u64(bits, kept);
}

static inline gint64 vel_simd_popcount(guint64 bits)
{
    return __builtin_popcountll(bits);
}

#include "vel_csv_parser_skip_kernel.h"

#endif
