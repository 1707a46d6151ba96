// The rules of a linear chain, whatever its nodes do with what they hear: a node has at most one child (a
// frame, a timed sub-step or an iteration), which ends with everything that was pushed on it.
#pragma once

#include <memory>
#include <string_view>

#include "base/clock/timer.h"
#include "base/status/status.h"

namespace trel {

class LinearNode : public Status {
  public:
    Status& Status_MicroSectionStart(std::string_view name) final;
    void Status_MicroSectionEnd() final;
    Status& push_node(const ColoredText& text) final;
    void pop_frame() final;
    StatusIterationNode& make_iteration(IterationMode mode, u64 total) final;

  protected:
    enum class Child { none, frame, section, iteration };

    // class_name: for the function names of exceptions.
    explicit LinearNode(const char* class_name) : class_name_(class_name) {}
    // For the destructors below: what is open is given up.
    void drop_child();

    // What a kind of chain adds. First the child is made, then it is opened. A section is closed when its
    // scope is left normally; whatever is given up otherwise, and every frame and iteration at its end, is
    // dropped. The nodes above a dropped or closed child are gone by then, a dropped iteration is still
    // there.
    virtual std::unique_ptr<LinearNode> make_section(std::string_view name) = 0;
    virtual std::unique_ptr<LinearNode> make_frame(const ColoredText& text) = 0;
    virtual std::unique_ptr<StatusIterationNode> make_count(IterationMode mode, u64 total) = 0;
    virtual void opened(Child kind, const ColoredText& text) = 0;
    virtual void closed(double seconds) = 0;
    virtual void dropped(Child kind) = 0;

  private:
    void require_no_child(const char* function) const;
    [[noreturn]] void refuse_pop(const char* function) const;
    Status& add(Child kind, std::unique_ptr<LinearNode> node, const ColoredText& text);

    const char* const class_name_;
    Child child_ = Child::none;
    std::unique_ptr<LinearNode> node_;  // frame or section
    std::unique_ptr<StatusIterationNode> iteration_;
    WallTimer section_timer_;
};

}  // namespace trel
