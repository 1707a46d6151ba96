// A status that reports nothing but still counts work: for the tasks of a dispatch.
#pragma once

#include "base/status/status.h"

namespace trel {

// Stateless, safe for any number of threads.
class SilentStatus final : public Status {
  public:
    explicit SilentStatus(Work work) : work_(work) {}

    void Status_ColoredLine(const std::vector<ColoredText>&) override {}
    void Status_Line(std::string_view) override {}
    void Status_Label(u64, std::string_view, const ColoredText&) override {}
    void Status_Time(std::string_view, double) override {}
    void Warning(std::string_view) override {}
    void PauseWarning(std::string_view) override {}
    [[noreturn]] void FatalError(std::string_view text) override;
    void Status_LineSectionStart(std::string_view) override {}
    void Status_LineSectionAdd(const ColoredText&) override {}
    void Status_LineSectionEnd() override {}
    void refresh(bool) override {}
    Work work() override { return work_; }
    Status& Status_MicroSectionStart(std::string_view) override { return *this; }
    void Status_MicroSectionEnd() override {}
    Status& push_node(const ColoredText&) override { return *this; }
    void pop_frame() override {}
    StatusIterationNode& make_iteration(IterationMode, u64) override;

  private:
    const Work work_;
};

}  // namespace trel
