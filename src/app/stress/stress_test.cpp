#include "app/stress/stress_test.h"

#include <array>

#include "app/stress/bbp_stress.h"
#include "app/stress/product_stress.h"

namespace kalvor {

StressWorker::~StressWorker() = default;
StressTest::~StressTest() = default;

StressTests stress_tests() {
    static const std::array<const StressTest*, 9> tests = {&bkt_stress(), &bbp_stress(), &sft_stress(),
                                                           &fft_stress(), &n32_stress(), &n64_stress(),
                                                           &hnt_stress(), &vst_stress(), &c17_stress()};
    return tests;
}

const StressTest* find_stress_test(std::string_view tag) {
    for (const StressTest* test : stress_tests()) {
        if (tag == test->texts().tag) return test;
    }
    return nullptr;
}

}  // namespace kalvor
