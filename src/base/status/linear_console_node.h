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

#include "base/status/linear_node.h"
#include "base/status/progress_line.h"
#include "base/status/status.h"
#include "base/status/terminal.h"

namespace trel {

class LinearConsoleNode final : public LinearNode, public Terminal {
  public:
    // Width in characters; the interval in seconds is turned into ticks of the time-stamp counter.
    LinearConsoleNode(u64 line_width, double refresh_interval,
                      const ProgressCalls& calls = ProgressCalls::of_this_machine());
    ~LinearConsoleNode() override;

    void Status_ColoredLine(const std::vector<ColoredText>& segments) override;
    void Status_Line(std::string_view text) override;
    void Status_Label(u64 width, std::string_view name, const ColoredText& value) override;
    void Status_Time(std::string_view name, double seconds) override;
    void Warning(std::string_view text) override;
    void PauseWarning(std::string_view text) override;
    void Pause() override { (void)pause(); }
    [[noreturn]] void FatalError(std::string_view text) override;
    void Status_LineSectionStart(std::string_view text) override;
    void Status_LineSectionAdd(const ColoredText& piece) override;
    void Status_LineSectionEnd() override;
    void refresh(bool force = false) override;
    void tick() override;
    bool dismiss() override;
    // Standard input and output are both terminals.
    bool attended() const override;
    std::optional<std::string> ask(std::string_view question) override;
    // The pause of the console.
    bool pause() override;
    std::shared_ptr<LateLabel> late_label() override;
    void set_work(WorkMeter* meter) override;
    Work work() override;

  private:
    explicit LinearConsoleNode(ProgressLine& line);
    std::unique_ptr<LinearNode> make_section(std::string_view name) override;
    std::unique_ptr<LinearNode> make_frame(const ColoredText& text) override;
    std::unique_ptr<StatusIterationNode> make_count(IterationMode mode, u64 total) override;
    void opened(Child kind, const ColoredText& text) override;
    void closed(double seconds) override;
    void dropped(Child kind) override;

    std::unique_ptr<ProgressLine> owned_line_;  // root only
    ProgressLine& line_;
};

}  // namespace trel
