// Which kernel skips records on this machine.
#include "vel_csv_parser_skip.h"

#include <atomic>

namespace
{

struct vel_csv_parser_skip_variant {
    const gchar *name;
    vel_csv_parser_skip_kernel *kernel;
    bool runs; // Whether this processor has the instructions.
};

} // namespace

static std::atomic<vel_csv_parser_skip_kernel *> vel_csv_parser_skip_chosen;

// Null for a name that there is nothing for.
static vel_csv_parser_skip_kernel *vel_csv_parser_skip_find(const gchar *name)
{
    const vel_csv_parser_skip_variant variants[] = {
#ifdef __x86_64__
        {"avx2", vel_csv_parser_skip_avx2,
         __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
             __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt") &&
             __builtin_cpu_supports("pclmul")},
        {"sse2", vel_csv_parser_skip_sse2, true},
#endif
        {"portable", vel_csv_parser_skip_portable, true},
    };
    for (const vel_csv_parser_skip_variant &variant : variants) {
        if (variant.runs && (name == nullptr || g_str_equal(name, variant.name)))
            return variant.kernel;
    }
    return nullptr;
}

gboolean vel_csv_parser_skip_use(const gchar *name)
{
    vel_csv_parser_skip_kernel *const kernel = vel_csv_parser_skip_find(name);
    if (kernel != nullptr)
        vel_csv_parser_skip_chosen.store(kernel, std::memory_order_relaxed);
    return kernel != nullptr;
}

vel_csv_parser_skip_kernel *vel_csv_parser_skip_choose(void)
{
    vel_csv_parser_skip_kernel *kernel = vel_csv_parser_skip_chosen.load(std::memory_order_relaxed);
    if (kernel == nullptr) {
        if (!vel_csv_parser_skip_use(g_getenv("VEL_SIMD")))
            vel_csv_parser_skip_use(nullptr);
        kernel = vel_csv_parser_skip_chosen.load(std::memory_order_relaxed);
    }
    return kernel;
}
