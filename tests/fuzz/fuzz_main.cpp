// The entry that libFuzzer calls; KALVOR_FUZZ_TARGET names the function of targets.h.
#include "fuzz/targets.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    fuzz::KALVOR_FUZZ_TARGET(std::string_view(reinterpret_cast<const char*>(data), size));
    return 0;
}
