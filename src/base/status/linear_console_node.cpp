#include "base/status/linear_console_node.h"

#include "base/console/console.h"
#include "base/console/error_output.h"
#include "base/console/format.h"
#include "base/console/late_line.h"
#include "base/status/progress_line.h"
#include "os/console.h"

namespace trel {

using Hidden = ProgressLine::Hidden;

namespace {

constexpr const char* kConsoleNode = "LinearConsoleNode";

// Shows "12 %" or "(3 / 25)".
class LinearConsoleIteration final : public StatusIterationNode {
  public:
    LinearConsoleIteration(ProgressLine& line, Status::IterationMode mode, u64 total) : line_(line) {
        line_.push_count(mode, total);
    }
    ~LinearConsoleIteration() override {
        try {
            line_.pop_count();
        } catch (...) {  // what cannot be drawn; the count is gone
        }
    }

    void update(u64 completed) override {
        line_.set_completed(completed);
        line_.draw(false);
    }

  private:
    ProgressLine& line_;
};

class LateConsoleLabel final : public LateLabel {
  public:
    void arrive(u64 width, std::string_view name, const Console::ColoredText& value) override {
        line_.arrive([&] { Console::aligned_line(name, width, value.text, value.color); });
    }
    void drop() override {
        line_.arrive([] {});
    }
    void wait() override { line_.wait(); }

  private:
    Console::LateLine line_;
};

}  // namespace

LinearConsoleNode::LinearConsoleNode(u64 line_width, double refresh_interval, const ProgressCalls& calls)
    : LinearNode(kConsoleNode),
      owned_line_(std::make_unique<ProgressLine>(line_width, refresh_interval, calls)),
      line_(*owned_line_) {}

LinearConsoleNode::LinearConsoleNode(ProgressLine& line) : LinearNode(kConsoleNode), line_(line) {}

LinearConsoleNode::~LinearConsoleNode() {
    drop_child();
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

bool LinearConsoleNode::attended() const {
    return Console::is_terminal() && os::stdin_is_terminal();
}

std::optional<std::string> LinearConsoleNode::ask(std::string_view question) {
    {
        const Hidden hidden(line_);
        Console::print(question);
    }
    // Not locked while the user thinks: an interrupt has to get through.
    line_.set_suspended(true);
    std::string answer;
    const bool answered = Console::read_line(answer);
    line_.set_suspended(false);
    if (answered) return answer;
    Console::new_line();
    return std::nullopt;
}

bool LinearConsoleNode::pause() {
    { const Hidden hidden(line_); }
    // As above.
    line_.set_suspended(true);
    const bool pressed = Console::pause();
    line_.set_suspended(false);
    return pressed;
}

std::shared_ptr<LateLabel> LinearConsoleNode::late_label() {
    const Hidden hidden(line_);
    return std::make_shared<LateConsoleLabel>();
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

std::unique_ptr<LinearNode> LinearConsoleNode::make_section(std::string_view name) {
    {
        const Hidden hidden(line_);
        Console::print_line(name);
    }
    return std::unique_ptr<LinearNode>(new LinearConsoleNode(line_));
}

std::unique_ptr<LinearNode> LinearConsoleNode::make_frame(const ColoredText&) {
    return std::unique_ptr<LinearNode>(new LinearConsoleNode(line_));
}

std::unique_ptr<StatusIterationNode> LinearConsoleNode::make_count(IterationMode mode, u64 total) {
    return std::make_unique<LinearConsoleIteration>(line_, mode, total);
}

void LinearConsoleNode::opened(Child kind, const ColoredText& text) {
    if (kind == Child::frame) line_.push(text);
}

void LinearConsoleNode::closed(double seconds) {
    const Hidden hidden(line_);
    Console::print("Time:    ", 'w');
    Console::print(Console::format_time(seconds), 'Y');
    Console::set_color('w');
    Console::new_line();
}

void LinearConsoleNode::dropped(Child kind) {
    if (kind == Child::frame) line_.pop();
}

}  // namespace trel
