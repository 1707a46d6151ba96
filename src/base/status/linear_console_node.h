// The status chain that prints. The root node owns what all nodes of the chain share: the progress line.
//
// The progress line is made of the texts of the frames that are pushed, in order: " 0M " "1,234" "12 %". It
// is drawn over itself, on a terminal only, at most once per refresh interval; any other output of the chain
// erases it first. With the meter of a run it ends with what is done and what is left (progress_line.h).
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock/timer.h"
#include "base/status/progress_line.h"
#include "base/status/status.h"
#include "base/status/terminal.h"

namespace trel {

class LinearConsoleIteration;

class LinearConsoleNode final : public Status, public Terminal {
  public:
    // Width in characters; the interval in seconds is turned into ticks of the time-stamp counter here.
    LinearConsoleNode(u64 line_width, double refresh_interval);
    LinearConsoleNode(u64 line_width, double refresh_interval, ProgressClock clock);
    ~LinearConsoleNode() override;

    void Status_ColoredLine(const std::vector<ColoredText>& segments) override;
    void Status_Line(std::string_view text) override;
    void Status_Label(u64 width, std::string_view name, const ColoredText& value) override;
    void Status_Time(std::string_view name, double seconds) override;
    void Warning(std::string_view text) override;
    void PauseWarning(std::string_view text) override;
    [[noreturn]] void FatalError(std::string_view text) override;
    void Status_LineSectionStart(std::string_view text) override;
    void Status_LineSectionAdd(const ColoredText& piece) override;
    void Status_LineSectionEnd() override;
    void refresh(bool force = false) override;
    void tick() override;
    bool dismiss() override;
    void set_work(WorkMeter* meter) override;
    Work work() override;
    Status& Status_MicroSectionStart(std::string_view name) override;
    void Status_MicroSectionEnd() override;

    Status& push_node(const ColoredText& text) override;
    void pop_frame() override;
    StatusIterationNode& make_iteration(IterationMode mode, u64 total) override;

    // A linear chain cannot be looked at from outside. Throws StringException "Polling is not supported.".
    [[noreturn]] void get_tree() const;

  private:
    enum class Child { none, frame, section, iteration };

    explicit LinearConsoleNode(ProgressLine& line);
    void require_no_child(const char* function) const;
    void remove_child();

    std::unique_ptr<ProgressLine> owned_line_;  // root only
    ProgressLine& line_;
    Child child_ = Child::none;
    std::unique_ptr<LinearConsoleNode> node_;  // frame or section
    std::unique_ptr<LinearConsoleIteration> iteration_;
    WallTimer section_timer_;
};

// Shows "12 %" or "(3 / 25)". The end of a chain: nothing can be pushed on it.
class LinearConsoleIteration final : public StatusIterationNode {
  public:
    // Adds its count to the line.
    LinearConsoleIteration(ProgressLine& line, Status::IterationMode mode, u64 total);
    ~LinearConsoleIteration() override;

    void update(u64 completed) override;

    // Each throws a StringException: "Attempted to extend a linear status chain.", "Iteration stacking is not
    // supported.", "Polling is not supported.".
    [[noreturn]] Status& push_node(const Status::ColoredText& text);
    [[noreturn]] StatusIterationNode& make_iteration(Status::IterationMode mode, u64 total);
    [[noreturn]] u64 get_completed() const;

  private:
    ProgressLine& line_;
};

}  // namespace trel
