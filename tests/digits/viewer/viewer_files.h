// Digit files of known digits, and the viewer's actions on one thread.
#pragma once

#include <random>
#include <string>

#include "base/status/linear_console_node.h"
#include "digits/files/open_digit_file.h"
#include "digits/viewer/viewer_console_run.h"
#include "platform/parallel/framework_registry.h"
#include "support/temporary_folder.h"

namespace kalvor::DigitViewer2 {

// Random digits behind "3.".
inline std::string random_digits(u64 count, u8 radix, u64 seed) {
    std::mt19937_64 random(seed);
    std::string text;
    for (u64 i = 0; i < count; i++) text += "0123456789abcdef"[random() % radix];
    return text;
}

// The digits as one integer modulo 2^61 - 1, digit by digit.
inline u64 plain_hash(const std::string& digits, u8 radix, u64 hash = 0) {
    constexpr u64 kModulus = (u64(1) << 61) - 1;
    for (const char c : digits) {
        const u64 value = static_cast<u64>(c <= '9' ? c - '0' : c - 'a' + 10);
        hash = static_cast<u64>((u128(hash) * radix + value) % kModulus);
    }
    return hash;
}

// Runs the work at once, with the memory that a test says is free.
inline ViewerRunner serial_runner(RunMonitor* monitor = nullptr) {
    return [monitor](const std::function<void(const ViewerRun& run)>& work) {
        const ParallelContext parallel{serial_context().framework, 1, monitor};
        LinearConsoleNode status(79, 1.0);
        work(ViewerRun{parallel, status});
    };
}

}  // namespace kalvor::DigitViewer2
