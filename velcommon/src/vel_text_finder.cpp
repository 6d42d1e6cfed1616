// The needle of a text finder, and the choice of its kernel.
#include "vel_text_finder_internal.h"

#include "vel_simd.h"

static vel_text_finder_kernel *vel_text_finder_choose(void)
{
    switch (vel_simd_get()) {
#ifdef __x86_64__
    case VEL_SIMD_AVX512: // Its comparisons give no vectors, which the kernel wants.
    case VEL_SIMD_AVX2:
        return vel_text_finder_avx2;
    case VEL_SIMD_SSE2:
        return vel_text_finder_sse2;
#endif
    default:
        return vel_text_finder_portable;
    }
}

// How often a byte is met in tables of text and numbers, roughly: the higher, the more often. The
// letters are in the order of their frequency in European languages.
static gint vel_text_finder_frequency(guint8 byte)
{
    static const gchar letters[] = "zqxjywkvbpgfmhucldoirsatne";
    if (byte == 0 || (byte < 0x80 && g_ascii_iscntrl(static_cast<gchar>(byte)) && byte != '\n'))
        return 0;
    if (byte >= 0xC0 || g_ascii_ispunct(static_cast<gchar>(byte))) {
        const bool common = byte == ',' || byte == '"' || byte == ';';
        return common ? 70 : byte == '.' || byte == '-' ? 45 : 25;
    }
    if (byte >= 0x80)
        return 20;
    if (g_ascii_isdigit(static_cast<gchar>(byte)))
        return byte == '0' || byte == '1' ? 62 : 60;
    if (byte == ' ' || byte == '\n')
        return 65;
    gint place = 0;
    while (letters[place] != g_ascii_tolower(static_cast<gchar>(byte)))
        place++;
    return g_ascii_islower(static_cast<gchar>(byte)) ? 12 + 2 * place : 10 + place / 2;
}

// Chooses the rarest bytes, at different places as long as there are any.
static void vel_text_finder_choose_probes(vel_text_finder *finder)
{
    for (gsize i = 0; i < VEL_TEXT_FINDER_PROBES; i++) {
        gint least = G_MAXINT;
        finder->probes[i] = finder->probes[0];
        for (gsize place = 0; place < finder->length; place++) {
            bool taken = false;
            gint frequency = vel_text_finder_frequency(finder->bytes[place]);
            for (gsize j = 0; j < i; j++) {
                taken = taken || finder->probes[j] == place;
                // The same byte once more tells less.
                frequency += finder->bytes[finder->probes[j]] == finder->bytes[place] ? 20 : 0;
            }
            if (!taken && frequency < least) {
                least = frequency;
                finder->probes[i] = place;
            }
        }
    }
}

void vel_text_finder_init(vel_text_finder *finder, const gchar *needle, gsize length,
                          gboolean any_case)
{
    *finder = {};
    finder->length = length;
    finder->bytes = g_new(guint8, length);
    finder->masks = g_new(guint8, length);
    for (gsize i = 0; i < length; i++) {
        const bool folds = any_case && g_ascii_isalpha(needle[i]);
        finder->masks[i] = folds ? 0x20 : 0;
        finder->bytes[i] = static_cast<guint8>(needle[i]) | finder->masks[i];
    }
    vel_text_finder_choose_probes(finder);
}

void vel_text_finder_done(vel_text_finder *finder)
{
    g_clear_pointer(&finder->bytes, g_free);
    g_clear_pointer(&finder->masks, g_free);
}

const gchar *vel_text_finder_find(const vel_text_finder *finder, const gchar *text,
                                  const gchar *end)
{
    if (static_cast<gsize>(end - text) < finder->length)
        return nullptr;
    const auto *const bytes = reinterpret_cast<const guint8 *>(text);
    const auto *const last = reinterpret_cast<const guint8 *>(end - finder->length);
    return reinterpret_cast<const gchar *>(vel_text_finder_choose()(finder, bytes, last));
}
