#include "base/status/status.h"

#include <exception>

#include "base/console/format.h"
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
    Console::error_line(text);
    Console::print_line("Fatal error encountered. Terminating program.");
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

StatusFrame::StatusFrame(Status& parent, std::string text, u64 digits)
    : StatusFrame(parent, text + Console::format_commas(digits)) {}

StatusFrame::~StatusFrame() {
    parent_.pop_frame();
}

StatusSection::StatusSection(Status& parent, std::string_view name)
    : parent_(parent),
      node_(parent.Status_MicroSectionStart(name)),
      exceptions_(std::uncaught_exceptions()) {}

StatusSection::~StatusSection() {
    if (std::uncaught_exceptions() == exceptions_) {
        parent_.Status_MicroSectionEnd();
    } else {
        parent_.pop_frame();
    }
}

StatusIteration::StatusIteration(Status& parent, Status::IterationMode mode, u64 total)
    : parent_(parent), node_(parent.make_iteration(mode, total)) {}

StatusIteration::~StatusIteration() {
    parent_.pop_frame();
}

u64 status_digits(u64 words) {
    return static_cast<u64>(static_cast<double>(words) * 19.265919722494796);
}

}  // namespace trel
