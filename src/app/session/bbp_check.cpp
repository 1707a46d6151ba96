#include "app/session/bbp_check.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "arith/multiply/product_check.h"
#include "base/console/format.h"
#include "base/status/changing_frame.h"
#include "base/status/status_scope.h"
#include "digits/bbp/bbp_session.h"
#include "platform/memory/guarded_heap.h"

namespace kalvor {

namespace {

constexpr u64 kPiece = 64 << 10;
constexpr u64 kPage = 4096;
// What a thread takes besides its limbs: tiles, and what it touches of its stack.
constexpr u64 kThreadBytes = 64 << 10;
constexpr u64 kLimbBytes = 72;
// What a further thread is worth starting for, in terms of each sub-sum: some 0.4 ms.
constexpr u64 kTermsOfAThread = 200000;

u8 value_of(char digit) {
    return static_cast<u8>(digit <= '9' ? digit - '0' : digit - 'A' + 10);
}

BBPv2::Figures figures_of(const BbpRequest& request) {
    return BBPv2::figures_of(BBPv2::kBellardBbp, request.last - request.digits, request.digits);
}

}  // namespace

BbpRequest bbp_request(const ComputeSettings& settings, const ComputeSize& size) {
    BbpRequest request{size.hexadecimal_digits, settings.bbp_digits, 1};
    if (request.digits == 0) {
        const bool unasked = settings.constant->has_extractor() && settings.output_verify &&
                             size.hexadecimal_digits >= kHexadecimalDigitsUnasked;
        if (!unasked) return request;
        request.digits = kHexadecimalDigitsUnasked;
    }
    // Sizes with fewer digits than that are only planned.
    request.digits = std::min(request.digits, request.last);
    const ParallelismSettings& parallelism = settings.parallelism;
    request.threads =
        std::max<u64>(1, std::min({parallelism.task_decomposition.value(), parallelism.logical_cores,
                                   figures_of(request).terms / kTermsOfAThread + 1}));
    return request;
}

double BbpRequest::seconds() const {
    constexpr double kSecondsATerm = 3e-9, kSecondsALimb = 0.1e-9;
    if (digits == 0) return 0;
    const BBPv2::Figures figures = figures_of(*this);
    const double sub_sums = static_cast<double>(BBPv2::formula(BBPv2::kBellardBbp).sub_sums.size());
    return sub_sums * static_cast<double>(figures.terms) *
           (kSecondsATerm + kSecondsALimb * static_cast<double>(figures.limbs));
}

u64 BbpRequest::bytes() const {
    return digits == 0 ? 0 : threads * (kThreadBytes + kLimbBytes * figures_of(*this).limbs);
}

std::string BbpCheck::text() const {
    return mismatch != 0 ? "Mismatch at " + Console::format_commas(mismatch)
                         : "Good through " + Console::format_commas(good_through);
}

BbpCheck bbp_check(BasicDigitReader& digits, u64 last, u64 n, const BBPv2::Workers& workers,
                   RunMonitor& monitor, const std::function<void(double part)>& progress) {
    const u64 offset = last - n;
    const std::string right = BBPv2::pi_digits(BBPv2::kBellardBbp, offset, n, workers, monitor, progress);
    const u64 piece = std::min(n, kPiece);
    const u64 bytes = round_up_64(digits.buffer_size(piece, kPiece));
    const GuardedBuffer scratch(bytes, kPage);
    std::vector<u8> values(piece);
    for (u64 i = 0; i < n;) {
        const u64 count = std::min(piece, n - i);
        digits.load_digits(values.data(), offset + i, count, AlignedBufferC(scratch.get(), bytes),
                           serial_context());
        for (u64 j = 0; j < count; j++, i++) {
            if (values[j] != value_of(right[i])) return {i == 0 ? 0 : offset + i, offset + i + 1};
        }
    }
    return {last, 0};
}

BbpCheck bbp_check(BasicDigitReader& digits, const BbpRequest& request, Status& status,
                   const ParallelContext& parallel) {
    status.work().enter(kBbpCheckPhase);
    StatusFrame frame(status, "BBP Check...  ");
    ChangingFrame percent(frame.node());
    double counted = 0;
    const auto progress = [&](double part) {
        const double more = kBbpCheckUnits * part - counted;
        if (more > 0) {
            status.work().add(more);
            counted += std::trunc(more);
        }
        percent.show([&] { return Console::format_fixed(100 * part, 2) + " %"; });
    };
    BBPv2::Workers workers;
    workers.threads = request.threads;
    workers.caller_works = true;
    const auto compare = [&] {
        return bbp_check(digits, request.last, request.digits, workers, *parallel.run, progress);
    };
    const BbpCheck first = compare();
    if (first.mismatch == 0) return first;
    const BbpCheck second = compare();
    if (second.mismatch == 0) {
        operation_was_corrected(
            parallel, "bbp_check()",
            "last hexadecimal digits, " + Console::format_commas(request.digits) + " digits", first.text());
    }
    return second;
}

void report(Status& status, const BbpCheck& check) {
    status.Status_ColoredLine({{'w', "BBP Check: "}, {check.mismatch != 0 ? 'R' : 'G', check.text()}});
}

}  // namespace kalvor
