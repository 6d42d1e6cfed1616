// The kernel of vel_text_finder_internal.h, in the instruction set of the source that includes it,
// once. That source defines VEL_TEXT_FINDER_KERNEL, the kernel's name, and includes one of
// vel_simd_portable.h, vel_simd_sse2.h and vel_simd_avx2.h.
// No vector is kept in memory: on 64-bit Windows the stack is not aligned for the large ones.

// A byte of the needle: where it is, and how it is compared.
typedef struct vel_text_finder_probe {
    gsize place;
    vel_simd_vector byte;
    vel_simd_vector mask;
} vel_text_finder_probe;

static inline vel_text_finder_probe vel_text_finder_make_probe(const vel_text_finder *finder,
                                                               gsize i)
{
    const gsize place = finder->probes[i];
    return {place, vel_simd_splat(finder->bytes[place]), vel_simd_splat(finder->masks[place])};
}

static inline vel_simd_vector vel_text_finder_test(const guint8 *text, vel_text_finder_probe a,
                                                   vel_text_finder_probe b)
{
    return vel_simd_and(vel_simd_equal(vel_simd_or(vel_simd_load(text + a.place), a.mask), a.byte),
                        vel_simd_equal(vel_simd_or(vel_simd_load(text + b.place), b.mask), b.byte));
}

// The first place where the whole needle is, of those that have a bit.
static inline const guint8 *vel_text_finder_verify(const vel_text_finder *finder,
                                                   const guint8 *text, guint32 bits)
{
    for (; bits != 0; bits &= bits - 1) {
        const guint8 *const place = text + __builtin_ctz(bits);
        if (vel_text_finder_is_at(finder, place))
            return place;
    }
    return nullptr;
}

static inline const guint8 *vel_text_finder_few(const vel_text_finder *finder, const guint8 *text,
                                                const guint8 *last)
{
    for (; text <= last; text++) {
        if (vel_text_finder_is_at(finder, text))
            return text;
    }
    return nullptr;
}

const guint8 *VEL_TEXT_FINDER_KERNEL(const vel_text_finder *finder, const guint8 *text,
                                     const guint8 *last)
{
    constexpr gssize WIDTH = sizeof(vel_simd_vector);
    if (last - text < WIDTH - 1)
        return vel_text_finder_few(finder, text, last);
    const vel_text_finder_probe a = vel_text_finder_make_probe(finder, 0);
    const vel_text_finder_probe b = vel_text_finder_make_probe(finder, 1);
    const vel_text_finder_probe c = vel_text_finder_make_probe(finder, 2);
    const vel_text_finder_probe d = vel_text_finder_make_probe(finder, 3);
    for (;;) {
        const vel_simd_vector maybe = vel_text_finder_test(text, a, b);
        guint32 bits = vel_simd_get_mask(maybe);
        if (bits != 0) {
            bits &= vel_simd_get_mask(vel_text_finder_test(text, c, d));
            const guint8 *const place = vel_text_finder_verify(finder, text, bits);
            if (place != nullptr)
                return place;
        }
        if (text + WIDTH > last)
            return nullptr;
        // The last step goes over some places once more.
        text = MIN(text + WIDTH, last - (WIDTH - 1));
    }
}
