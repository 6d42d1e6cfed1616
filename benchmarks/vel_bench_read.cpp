// See vel_bench_read.h.
#include "vel_bench_read.h"

#include "vel_utils_stream.h"

#include <cstring>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

#ifdef __x86_64__
#include <immintrin.h>
#endif

static gsize vel_bench_read_some(FILE *stream, gchar *bytes, gsize n)
{
#ifdef _WIN32
    const gint64 length = _read(_fileno(stream), bytes, static_cast<guint>(n));
#else
    const gint64 length = read(fileno(stream), bytes, n);
#endif
    return length > 0 ? static_cast<gsize>(length) : 0;
}

guint64 vel_bench_read_blocks(const vel_bench_file *file, const vel_bench_block_user &user)
{
    FILE *const stream = vel_utils_fopen_shared(file->path.c_str(), nullptr);
    if (stream == nullptr)
        return 0;
    std::vector<gchar> block(VEL_BENCH_BLOCK + 1);
    guint64 total = 0;
    while (const gsize n = vel_bench_read_some(stream, block.data(), VEL_BENCH_BLOCK)) {
        total += n;
        user(block.data(), n);
    }
    fclose(stream);
    return total;
}

guint64 vel_bench_count_lf_memchr(const gchar *bytes, gsize n)
{
    const gchar *const end = bytes + n;
    guint64 count = 0;
    while (const void *lf = std::memchr(bytes, '\n', static_cast<gsize>(end - bytes))) {
        bytes = static_cast<const gchar *>(lf) + 1;
        count++;
    }
    return count;
}

static guint64 vel_bench_count_lf_rest(const gchar *bytes, gsize n)
{
    guint64 count = 0;
    for (gsize i = 0; i < n; i++)
        count += bytes[i] == '\n' ? 1 : 0;
    return count;
}

#ifdef __x86_64__

/// Steps after which a counter of one byte may be full.
static constexpr gsize VEL_BENCH_FULL = 255;

// Each byte of `counts` counts the hits of its own place; what it has is added up before it can
// overflow.
static guint64 vel_bench_count_lf_sse2(const gchar *bytes, gsize n)
{
    const __m128i lf = _mm_set1_epi8('\n');
    __m128i total = _mm_setzero_si128();
    gsize i = 0;
    while (n - i >= sizeof lf) {
        __m128i counts = _mm_setzero_si128();
        const gsize end = i + MIN((n - i) / sizeof lf, VEL_BENCH_FULL) * sizeof lf;
        for (; i < end; i += sizeof lf) {
            const __m128i piece = _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes + i));
            counts = _mm_sub_epi8(counts, _mm_cmpeq_epi8(piece, lf));
        }
        total = _mm_add_epi64(total, _mm_sad_epu8(counts, _mm_setzero_si128()));
    }
    guint64 sums[2];
    _mm_storeu_si128(reinterpret_cast<__m128i *>(sums), total);
    return sums[0] + sums[1] + vel_bench_count_lf_rest(bytes + i, n - i);
}

// The same with registers of twice the width.
__attribute__((target("avx2"))) static guint64 vel_bench_count_lf_avx2(const gchar *bytes, gsize n)
{
    const __m256i lf = _mm256_set1_epi8('\n');
    __m256i total = _mm256_setzero_si256();
    gsize i = 0;
    while (n - i >= sizeof lf) {
        __m256i counts = _mm256_setzero_si256();
        const gsize end = i + MIN((n - i) / sizeof lf, VEL_BENCH_FULL) * sizeof lf;
        for (; i < end; i += sizeof lf) {
            const __m256i piece = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(bytes + i));
            counts = _mm256_sub_epi8(counts, _mm256_cmpeq_epi8(piece, lf));
        }
        total = _mm256_add_epi64(total, _mm256_sad_epu8(counts, _mm256_setzero_si256()));
    }
    guint64 sums[4];
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(sums), total);
    return sums[0] + sums[1] + sums[2] + sums[3] + vel_bench_count_lf_rest(bytes + i, n - i);
}

std::vector<vel_bench_lf_counter> vel_bench_lf_counters(void)
{
    std::vector<vel_bench_lf_counter> counters = {
        {"read, line feeds with SSE2", vel_bench_count_lf_sse2}};
    if (__builtin_cpu_supports("avx2"))
        counters.push_back({"read, line feeds with AVX2", vel_bench_count_lf_avx2});
    return counters;
}

#else

std::vector<vel_bench_lf_counter> vel_bench_lf_counters(void)
{
    return {{"read, line feeds one by one", vel_bench_count_lf_rest}};
}

#endif
