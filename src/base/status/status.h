// The interface through which every long operation reports. Computation code never prints: it gets a Status&
// and reports lines, labels, times and progress to it.
//
// A chain of nodes is linear: a node has at most one child (a frame pushed on it, or an iteration). Each
// frame adds one text to the progress line; popping it removes the text again. Use StatusFrame, StatusSection
// and StatusIteration (status_scope.h) rather than the raw operations, so that nothing is left pushed when an
// exception passes.
//
// A chain belongs to one thread. Tasks of a dispatch get a SilentStatus, which only counts their work.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/console/colors.h"
#include "base/status/work_meter.h"
#include "os/types.h"

namespace trel {

class DataRecord;
class StatusIterationNode;

class Status {
  public:
    using ColorLetter = Console::ColorLetter;
    using ColoredText = Console::ColoredText;

    enum class IterationMode { percentage = 0, count = 1 };

    virtual ~Status();
    virtual void Status_ColoredLine(const std::vector<ColoredText>& segments) = 0;
    virtual void Status_Line(std::string_view text) = 0;
    virtual void Status_Label(u64 width, std::string_view name, const ColoredText& value) = 0;
    virtual void Status_Time(std::string_view name, double seconds) = 0;
    // Results for a program that listens; the console shows nothing.
    virtual void Data_(const DataRecord&) {}
    virtual void Warning(std::string_view text) = 0;
    virtual void PauseWarning(std::string_view text) = 0;
    // Waits until the user has read the lines above; does nothing if no user is there.
    virtual void Pause() {}
    // For a fault that leaves no sound state: ends the process. An error of the run is an exception
    // (base/errors/run_error.h).
    [[noreturn]] virtual void FatalError(std::string_view text) = 0;
    virtual void Status_LineSectionStart(std::string_view text) = 0;
    virtual void Status_LineSectionAdd(const ColoredText& piece) = 0;
    virtual void Status_LineSectionEnd() = 0;
    // Redraws the progress line, at most once per refresh interval unless forced. Cheap enough for hot loops.
    virtual void refresh(bool force = false) = 0;
    // Any thread: draws the progress line while the computation is busy elsewhere.
    virtual void tick() {}
    // The meter of the run that begins now (none: nullptr); it outlives the run. And what counts into it.
    virtual void set_work(WorkMeter*) {}
    virtual Work work() { return {}; }
    // Prints the name as a line and opens a timed sub-step; returns its node (owned by this one). The end
    // prints "Time:    " and the elapsed time.
    virtual Status& Status_MicroSectionStart(std::string_view name) = 0;
    virtual void Status_MicroSectionEnd() = 0;

    // Pushes a frame that adds `text` to the progress line; returns the child (owned by this node).
    // Throws StringException "Attempted to fork a linear status chain.".
    virtual Status& push_node(const ColoredText& text) = 0;
    // Removes the innermost frame. Throws "Attempted to pop a non-existent node.".
    virtual void pop_frame() = 0;
    // A child that counts progress and shows it as a text of the progress line; popped like a frame.
    virtual StatusIterationNode& make_iteration(IterationMode mode, u64 total) = 0;
};

class StatusIterationNode {
  public:
    virtual ~StatusIterationNode();
    // Sets the completed count and refreshes the line.
    virtual void update(u64 completed) = 0;
};

// What an iteration shows: "42 %" or "(3 / 25)".
std::string iteration_text(Status::IterationMode mode, u64 completed, u64 total);

// Reports nothing. Stateless, safe for any number of threads.
Status& null_status();

}  // namespace trel
