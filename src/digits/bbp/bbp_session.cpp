#include "digits/bbp/bbp_session.h"

#include <algorithm>

#include "base/clock/date_text.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/status/status_scope.h"
#include "os/cpu.h"

namespace kalvor::BBPv2 {

using Segments = std::vector<Status::ColoredText>;

namespace {

// What the time left is estimated with until the run's own pace is known.
constexpr double kSecondsATerm = 3e-9;
constexpr u64 kGroup = 8;  // digits
constexpr u64 kGroupsInLine = 8;

std::string sub_sum_text(const SubSum& s) {
    return "Frac( 1/(" + std::to_string(s.a) + "k + " + std::to_string(s.b) + ") * 2^(" +
           std::to_string(s.c) + "k + " + std::to_string(s.e) + ") )";
}

std::string percent_text(u64 n_done, u64 n_terms) {
    return Console::format_fixed(100 * static_cast<double>(n_done) / static_cast<double>(n_terms), 6) + " %";
}

// The formula's sub-sums with their signs; sum_of(sub-sum at the offset) for one after the other.
template <class SumOf>
FractionFloat sum_formula(u64 number, u64 offset, const Figures& figures, SumOf sum_of) {
    FractionFloat total(figures.limbs);
    for (const SubSum& at_0 : formula(number).sub_sums) {
        const SubSum s = at_offset(at_0, offset);
        const FractionFloat sum = sum_of(s);
        if (s.negative) {
            total.subtract(sum);
        } else {
            total.add(sum);
        }
    }
    return total;
}

// The digits first .. first + n - 1 of a line, green as far as they were asked for.
void add_group(Segments& line, const std::string& digits, u64 first, u64 n_asked) {
    const u64 n_green = n_asked > first ? std::min(n_asked - first, kGroup) : 0;
    if (n_green > 0) line.push_back({'G', digits.substr(first, n_green)});
    if (n_green < kGroup) line.push_back({'R', digits.substr(first + n_green, kGroup - n_green)});
}

}  // namespace

BBPSettings::BBPSettings() : threads(os::usable_processor_count()) {}

BBPSession::BBPSession(BBPSettings settings) {
    update_settings(settings);
}

void BBPSession::update_settings(BBPSettings settings) {
    figures_ = figures_of(settings.formula, settings.offset, settings.digits);
    settings_ = settings;
}

std::string cannot_start(const Figures& figures, const Modes& modes) {
    if (modes.none()) return "Cannot Start: No modes enabled.";
    if (figures.largest_divisor <= modes.limit()) return "";
    return std::string("Cannot Start: Divisor exceeds limit of ") + mode_row(modes.highest()).limit_name +
           ".";
}

std::string BBPSession::cannot_start() const {
    return BBPv2::cannot_start(figures_, settings_.modes);
}

const FractionFloat& BBPSession::total() const {
    if (!total_) throw InvalidParametersException("BBPSession::total()", "There is no total.");
    return *total_;
}

const SessionCalls& SessionCalls::of_this_machine() {
    static const SessionCalls calls;
    return calls;
}

double BBPSession::percent_done() const {
    return 100 * static_cast<double>(n_done_) / n_terms();
}

double BBPSession::n_terms() const {
    return static_cast<double>(formula(settings_.formula).sub_sums.size()) *
           static_cast<double>(figures_.terms);
}

Workers BBPSession::workers(const SessionCalls& calls) const {
    Workers workers{settings_.threads, {}, settings_.modes};
    workers.set_affinity = calls.set_affinity;
    if (settings_.pin_threads) workers.processors = os::active_processors();
    return workers;
}

void BBPSession::run(Status& status, RunMonitor& monitor, const SessionCalls& calls) {
    const std::string refused = cannot_start();
    if (!refused.empty()) throw InvalidParametersException("BBPSession::run()", refused);
    n_done_ = 0;
    total_.reset();
    print_settings(status);
    trel::WorkMeter meter({{"terms", kSecondsATerm * n_terms(), n_terms()}});
    const trel::StatusWork metered(status, &meter);
    meter.enter("terms");
    const u64 start = calls.ticks();
    const Workers workers = this->workers(calls);
    FractionFloat total = sum_formula(settings_.formula, settings_.offset, figures_, [&](const SubSum& s) {
        status.Status_Line(sub_sum_text(s));
        const u64 n_before = n_done_;
        std::optional<FractionFloat> sum;
        {
            StatusFrame summing(status, "Summing...  ");
            std::optional<StatusFrame> percent;
            sum = sum_terms(s, figures_.terms, figures_.limbs, workers, monitor, [&](u64 n_done) {
                meter.add(static_cast<double>(n_before + n_done - n_done_));
                n_done_ = n_before + n_done;
                percent.reset();
                percent.emplace(summing.node(), percent_text(n_done, figures_.terms));
                status.refresh(true);
            });
        }
        monitor.warnings.report(status);
        return *std::move(sum);
    });
    const u64 end = calls.ticks(), frequency = os::performance_frequency();
    total_ = std::move(total);
    status.Status_Line("");
    status.Status_ColoredLine({{'w', "End Time: "}, {'Y', date_time_text()}});
    if (start == 0 || end == 0 || frequency == 0) {
        status.Status_Line("Unable to get CPU Clock.");
    } else {
        const double seconds = static_cast<double>(end - start) / static_cast<double>(frequency);
        status.Status_ColoredLine({{'w', "Total Time:     "}, {'Y', Console::format_time(seconds)}});
    }
    status.Status_Line("");
    print_digits(status);
}

void BBPSession::print_settings(Status& status) const {
    using Console::format_commas;
    status.Status_ColoredLine(
        {{'w', "Formula: "}, {'T', std::string(" ") + formula(settings_.formula).name}});
    status.Status_Line("");
    status.Status_ColoredLine({{'w', "Hexadecimal Offset: "}, {'Y', format_commas(settings_.offset)}});
    status.Status_ColoredLine({{'w', "Digits to Compute: "}, {'G', format_commas(settings_.digits)}});
    Segments threads = {{'w', "Threads: "}, {'T', format_commas(settings_.threads)}};
    if (settings_.pin_threads) threads.push_back({'T', "   (pinned to cores)"});
    status.Status_ColoredLine(threads);
    status.Status_ColoredLine({{'w', "Terms Needed: "}, {'G', format_commas(figures_.terms)}});
    status.Status_ColoredLine({{'w', "Internal Precision: "},
                               {'G', format_commas(kGroup * figures_.precision)},
                               {'w', " Hexadecimal Digits"}});
    status.Status_Line("");
    status.Status_ColoredLine({{'w', "Start Time: "}, {'Y', date_time_text()}});
    status.Status_Line("");
}

void BBPSession::print_digits(Status& status) const {
    const u64 n = kGroup * figures_.precision;
    const std::string digits = total_->hexadecimal(n);
    status.Status_ColoredLine(
        {{'w', "Hexadecimal Digits starting from: 16^-"}, {'w', std::to_string(settings_.offset + 1)}});
    status.Status_Line("");
    for (u64 i = 0; i < n;) {
        Segments line = {{'w', "  "}};
        for (u64 group = 0; group < kGroupsInLine && i < n; group++, i += kGroup) {
            if (group > 0) line.push_back({'w', " "});
            add_group(line, digits, i, settings_.digits);
        }
        status.Status_ColoredLine(line);
    }
    status.Status_Line("");
    status.Status_ColoredLine({{'G', "Green"}, {'w', " = Requested digits that should be correct."}});
    status.Status_ColoredLine({{'R', "Red  "}, {'w', " = Extra working precision. May not be correct."}});
    status.Status_Line("");
}

std::string pi_digits(u64 number, u64 offset, u64 digits, const Workers& workers, RunMonitor& monitor,
                      const std::function<void(double part)>& progress) {
    constexpr const char* kFunction = "BBPv2::pi_digits()";
    if (offset > kMaxOffset) throw InvalidParametersException(kFunction, "The offset is too large.");
    const Figures figures = figures_of(number, offset, digits);
    const std::string refused = cannot_start(figures, workers.modes);
    if (!refused.empty()) throw InvalidParametersException(kFunction, refused);
    const double terms = static_cast<double>(figures.terms);
    const double n_terms = terms * static_cast<double>(formula(number).sub_sums.size());
    double before = 0;
    const FractionFloat total = sum_formula(number, offset, figures, [&](const SubSum& s) {
        FractionFloat sum = sum_terms(s, figures.terms, figures.limbs, workers, monitor, [&](u64 n_done) {
            progress((before + static_cast<double>(n_done)) / n_terms);
        });
        before += terms;
        return sum;
    });
    return total.hexadecimal(digits);
}

}  // namespace kalvor::BBPv2
