#include "digits/viewer/moved_digits.h"

#include "base/console/format.h"

namespace kalvor::DigitViewer2 {

void MovedDigits::begin(const char* done, u64 digits) {
    const std::size_t i = begun_;
    if (i == parts_.size()) return;
    parts_[i].done = done;
    parts_[i].digits = digits;
    begun_ = i + 1;
}

void MovedDigits::add(u64 digits) {
    if (begun_ != 0) parts_[begun_ - 1].n_done += digits;
}

std::string MovedDigits::text() const {
    std::string text;
    const std::size_t begun = begun_;
    for (std::size_t i = 0; i < begun; i++) {
        const u64 digits = parts_[i].digits, n_done = parts_[i].n_done;
        const double percent =
            digits == 0 ? 100 : 100 * static_cast<double>(n_done) / static_cast<double>(digits);
        if (i != 0) text += ", ";
        text += Console::format_fixed(percent, 2) + (i == 0 ? " % of the digits were " : " % were ");
        text += parts_[i].done;
    }
    return text.empty() ? text : text + ".";
}

}  // namespace kalvor::DigitViewer2
