// What the fuzzer calls; one program per target, which VEL_FUZZ_TARGET names.
#include "vel_fuzz.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    return VEL_FUZZ_TARGET(data, size);
}
