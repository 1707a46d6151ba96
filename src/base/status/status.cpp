#include "base/status/status.h"

#include <exception>

#include "base/console/console.h"
#include "base/console/error_output.h"
#include "base/console/format.h"
#include "base/status/digits_of_word.h"
#include "base/status/silent_status.h"
#include "base/status/status_scope.h"

namespace trel {
namespace {

class NullIteration final : public StatusIterationNode {
  public:
    void update(u64) override {}
};

}  // namespace

Status::~Status() = default;
StatusIterationNode::~StatusIterationNode() = default;

std::string iteration_text(Status::IterationMode mode, u64 completed, u64 total) {
    if (mode == Status::IterationMode::count) {
        return "(" + std::to_string(completed) + " / " + std::to_string(total) + ")";
    }
    // Nothing to do is done.
    const u64 percent = total == 0 ? 100 : static_cast<u64>(u128(completed) * 100 / total);
    return std::to_string(percent) + " %";
}

void SilentStatus::FatalError(std::string_view text) {
    {
        const Console::ErrorOutput errors;
        Console::error_line(text);
        Console::print_line("Fatal error encountered. Terminating program.");
    }
    Console::fatal_exit(1);
}

StatusIterationNode& SilentStatus::make_iteration(IterationMode, u64) {
    static NullIteration iteration;
    return iteration;
}

Status& null_status() {
    static SilentStatus status{Work()};
    return status;
}

StatusFrame::StatusFrame(Status& parent, std::string text, Status::ColorLetter color)
    : parent_(parent), node_(parent.push_node({color, std::move(text)})) {}

StatusFrame::StatusFrame(Status& parent, const std::string& text, u64 digits)
    : StatusFrame(parent, text + Console::format_commas(digits)) {}

// What a report cannot show is lost, not the computation that it is about: nothing leaves these destructors,
// also not a second time while an exception is on its way.
namespace {

void pop_quietly(Status& parent) noexcept {
    try {
        parent.pop_frame();
    } catch (...) {
    }
}

}  // namespace

StatusFrame::~StatusFrame() {
    pop_quietly(parent_);
}

StatusSection::StatusSection(Status& parent, std::string_view name)
    : parent_(parent),
      node_(parent.Status_MicroSectionStart(name)),
      exceptions_(std::uncaught_exceptions()) {}

StatusSection::~StatusSection() {
    if (std::uncaught_exceptions() == exceptions_) {
        try {
            parent_.Status_MicroSectionEnd();
            return;
        } catch (...) {
        }
    }
    pop_quietly(parent_);
}

StatusIteration::StatusIteration(Status& parent, Status::IterationMode mode, u64 total)
    : parent_(parent), node_(parent.make_iteration(mode, total)) {}

StatusIteration::~StatusIteration() {
    pop_quietly(parent_);
}

u64 status_digits(u64 words) {
    return static_cast<u64>(static_cast<double>(words) * kDigitsOfWord);
}

}  // namespace trel
