// Skipping records with AVX-512: comparing 64 bytes makes a word of bits at once. The words are
// worked on four at a time, as with AVX2.
#include "vel_csv_parser_skip.h"

#ifdef __x86_64__

#include <cstring>

#define VEL_CSV_PARSER_SKIP_KERNEL vel_csv_parser_skip_avx512

#include "vel_csv_parser_skip_avx.h"

static inline __m512i vel_simd_load(const guint8 *bytes)
{
    return _mm512_loadu_si512(bytes);
}

static inline __m512i vel_simd_splat(gchar byte)
{
    return _mm512_set1_epi8(byte);
}

static inline guint64 vel_simd_bits(const guint8 *bytes, guint8 byte)
{
    return _mm512_cmpeq_epi8_mask(vel_simd_load(bytes), vel_simd_splat(static_cast<gchar>(byte)));
}

static inline bool vel_simd_look(const guint8 *bytes, gsize length, guint8 separator,
                                 vel_csv_parser_masks *masks)
{
    const __m512i separators = vel_simd_splat(static_cast<gchar>(separator));
    __m512i least = vel_simd_load(bytes);
    for (gsize word = 0; word < length / 64; word++) {
        const __m512i some = vel_simd_load(bytes + 64 * word);
        least = _mm512_min_epu8(least, some);
        masks->quotes[word] = _mm512_cmpeq_epi8_mask(some, vel_simd_splat('"'));
        masks->separators[word] = _mm512_cmpeq_epi8_mask(some, separators);
        masks->feeds[word] = _mm512_cmpeq_epi8_mask(some, vel_simd_splat('\n'));
        masks->returns[word] = _mm512_cmpeq_epi8_mask(some, vel_simd_splat('\r'));
    }
    return _mm512_testn_epi8_mask(least, least) == 0;
}

static inline bool vel_simd_has_quote_or_return_or_zero(const guint8 *group)
{
    // Looks each byte's low half up among 16 bytes: the one of the three that has it, or one that
    // does not. They are given as numbers of four bytes, the last one first.
    const __m512i table = _mm512_set4_epi32('\r' << 8, 0, 0, '"' << 16);
    __mmask64 found = 0;
    for (gsize i = 0; i < VEL_CSV_PARSER_GROUP; i += 64) {
        const __m512i bytes = vel_simd_load(group + i);
        found |= _mm512_cmpeq_epi8_mask(_mm512_shuffle_epi8(table, bytes), bytes);
    }
    return found != 0;
}

static inline void vel_simd_prefix_xor(vel_simd_words *bits)
{
    // A product without carries, by all ones, adds up what is below each place.
    const __m256i ones = _mm256_set1_epi8(-1);
    const auto words = reinterpret_cast<__m256i>(*bits);
    *bits = reinterpret_cast<vel_simd_words>(_mm256_unpacklo_epi64(
        _mm256_clmulepi64_epi128(words, ones, 0), _mm256_clmulepi64_epi128(words, ones, 1)));
}

#include "vel_csv_parser_skip_kernel.h"

#endif
