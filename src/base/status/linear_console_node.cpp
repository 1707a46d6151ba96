#include "base/status/linear_console_node.h"

#include "base/console/error_output.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/status/progress_line.h"

namespace trel {

using Hidden = ProgressLine::Hidden;

LinearConsoleNode::LinearConsoleNode(u64 line_width, double refresh_interval)
    : LinearConsoleNode(line_width, refresh_interval, ProgressClock::of_this_machine()) {}

LinearConsoleNode::LinearConsoleNode(u64 line_width, double refresh_interval, ProgressClock clock)
    : owned_line_(std::make_unique<ProgressLine>(line_width, refresh_interval, std::move(clock))),
      line_(*owned_line_) {}

LinearConsoleNode::LinearConsoleNode(ProgressLine& line) : line_(line) {}

LinearConsoleNode::~LinearConsoleNode() {
    if (child_ != Child::none) remove_child();
    if (owned_line_) const Hidden hidden(line_);
}

void LinearConsoleNode::Status_ColoredLine(const std::vector<ColoredText>& segments) {
    const Hidden hidden(line_);
    for (const ColoredText& segment : segments) Console::print(segment.text, segment.color);
    Console::print_line("", 'w');
}

void LinearConsoleNode::Status_Line(std::string_view text) {
    const Hidden hidden(line_);
    Console::print_line(text);
}

void LinearConsoleNode::Status_Label(u64 width, std::string_view name, const ColoredText& value) {
    const Hidden hidden(line_);
    Console::aligned_line(name, width, value.text, value.color);
}

void LinearConsoleNode::Status_Time(std::string_view name, double seconds) {
    const Hidden hidden(line_);
    Console::print(std::string(name) + ":  ", 'G');
    Console::print(Console::format_time(seconds), 'Y');
    Console::set_color('w');
    Console::new_line();
}

void LinearConsoleNode::Warning(std::string_view text) {
    const Hidden hidden(line_);
    Console::error_line(text);
}

void LinearConsoleNode::PauseWarning(std::string_view text) {
    const Hidden hidden(line_);
    Console::error_line(text);
    Console::pause();
}

void LinearConsoleNode::FatalError(std::string_view text) {
    const Hidden hidden(line_);
    {
        const Console::ErrorOutput errors;
        Console::error_line(text);
        Console::print_line("Fatal error encountered. Terminating program.");
    }
    Console::fatal_exit(1);
}

void LinearConsoleNode::Status_LineSectionStart(std::string_view text) {
    line_.set_suspended(true);
    const Hidden hidden(line_);
    Console::print(text);
    Console::flush();
}

void LinearConsoleNode::Status_LineSectionAdd(const ColoredText& piece) {
    Console::print(piece.text, piece.color);
    Console::flush();
}

void LinearConsoleNode::Status_LineSectionEnd() {
    Console::print_line("", 'w');
    line_.set_suspended(false);
}

void LinearConsoleNode::refresh(bool force) {
    line_.draw(force);
}

void LinearConsoleNode::tick() {
    line_.tick();
}

bool LinearConsoleNode::dismiss() {
    return line_.try_dismiss();
}

void LinearConsoleNode::set_work(WorkMeter* meter) {
    line_.set_meter(meter);
}

Work LinearConsoleNode::work() {
    return Work(line_.meter());
}

Status& LinearConsoleNode::Status_MicroSectionStart(std::string_view name) {
    require_no_child("LinearConsoleNode::Status_MicroSectionStart()");
    {
        const Hidden hidden(line_);
        Console::print_line(name);
    }
    node_.reset(new LinearConsoleNode(line_));
    child_ = Child::section;
    section_timer_.restart();
    return *node_;
}

void LinearConsoleNode::Status_MicroSectionEnd() {
    if (child_ != Child::section) {
        throw StringException("LinearConsoleNode::Status_MicroSectionEnd()",
                              "Attempted to pop a non-existent node.");
    }
    const double seconds = section_timer_.seconds();
    remove_child();
    const Hidden hidden(line_);
    Console::print("Time:    ", 'w');
    Console::print(Console::format_time(seconds), 'Y');
    Console::set_color('w');
    Console::new_line();
}

Status& LinearConsoleNode::push_node(const ColoredText& text) {
    require_no_child("LinearConsoleNode::push_node()");
    node_.reset(new LinearConsoleNode(line_));
    child_ = Child::frame;
    line_.push(text);
    return *node_;
}

void LinearConsoleNode::pop_frame() {
    if (child_ == Child::none) {
        throw StringException("LinearConsoleNode::pop_frame()", "Attempted to pop a non-existent node.");
    }
    remove_child();
}

StatusIterationNode& LinearConsoleNode::make_iteration(IterationMode mode, u64 total) {
    require_no_child("LinearConsoleNode::make_iteration()");
    iteration_ = std::make_unique<LinearConsoleIteration>(line_, mode, total);
    child_ = Child::iteration;
    return *iteration_;
}

void LinearConsoleNode::get_tree() const {
    throw StringException("LinearConsoleNode::get_tree()", "Polling is not supported.");
}

void LinearConsoleNode::require_no_child(const char* function) const {
    if (child_ != Child::none) {
        throw StringException(function, "Attempted to fork a linear status chain.");
    }
}

void LinearConsoleNode::remove_child() {
    const Child kind = child_;
    child_ = Child::none;
    node_.reset();  // with everything that was pushed on it
    iteration_.reset();
    if (kind == Child::frame) line_.pop();
}

LinearConsoleIteration::LinearConsoleIteration(ProgressLine& line, Status::IterationMode mode, u64 total)
    : line_(line) {
    line_.push_count(mode, total);
}

LinearConsoleIteration::~LinearConsoleIteration() {
    try {
        line_.pop_count();
    } catch (...) {  // what cannot be drawn; the count is gone
    }
}

void LinearConsoleIteration::update(u64 completed) {
    line_.set_completed(completed);
    line_.draw(false);
}

Status& LinearConsoleIteration::push_node(const Status::ColoredText&) {
    throw StringException("LinearConsoleIteration::push_node()",
                          "Attempted to extend a linear status chain.");
}

StatusIterationNode& LinearConsoleIteration::make_iteration(Status::IterationMode, u64) {
    throw StringException("LinearConsoleIteration::make_iteration()", "Iteration stacking is not supported.");
}

u64 LinearConsoleIteration::get_completed() const {
    throw StringException("LinearConsoleIteration::get_completed()", "Polling is not supported.");
}

}  // namespace trel
