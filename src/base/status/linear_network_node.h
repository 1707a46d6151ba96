// The status chain that sends. Every report becomes a configuration object with one member, named after the
// operation, and goes to a sink; it can be printed here as well. Frames and iterations are not sent: a client
// asks for them (get_tree) when it wants to show progress.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/config/node.h"
#include "base/status/linear_node.h"

namespace trel {

class LinearConsoleNode;
class LinearNetworkIteration;

// Where the messages go. Called by the thread that runs the computation.
class StatusSink {
  public:
    virtual ~StatusSink() = default;
    virtual void send(const Config::Object& message) = 0;
    // Returns when the other side has answered a "PauseWarning".
    virtual void wait_for_continue() = 0;
};

class LinearNetworkNode final : public LinearNode {
  public:
    // print_locally: each report is also printed as a LinearConsoleNode of this width and interval (seconds)
    // would.
    LinearNetworkNode(StatusSink& sink, bool print_locally, u64 line_width = 79,
                      double refresh_interval = 1.0);
    ~LinearNetworkNode() override;

    void Status_ColoredLine(const std::vector<ColoredText>& segments) override;
    void Status_Line(std::string_view text) override;
    void Status_Label(u64 width, std::string_view name, const ColoredText& value) override;
    void Status_Time(std::string_view name, double seconds) override;
    void Data_(const DataRecord& record) override;
    void Warning(std::string_view text) override;
    // Returns when the client has sent "Continue"; nobody here has to press a key.
    void PauseWarning(std::string_view text) override;
    [[noreturn]] void FatalError(std::string_view text) override;
    void Status_LineSectionStart(std::string_view text) override;
    void Status_LineSectionAdd(const ColoredText& piece) override;
    void Status_LineSectionEnd() override;
    void refresh(bool force = false) override;
    void tick() override;
    void set_work(WorkMeter* meter) override;
    Work work() override;

    // What a progress line would show now: {"MicroStatusID", "StatusTree"}. The id is that of the innermost
    // open sub-step, 0 outside of any; a node of the tree is {"Text", "Color", "Children"}, the root's text
    // is empty. Any thread; of the root node.
    Config::Object get_tree() const;

  private:
    struct Chain;

    LinearNetworkNode(Chain& chain, Status* local);
    void send(Config::Object& message) const;
    void send_text(const char* operation, std::string_view text) const;
    std::unique_ptr<LinearNode> make_section(std::string_view name) override;
    std::unique_ptr<LinearNode> make_frame(const ColoredText& text) override;
    std::unique_ptr<StatusIterationNode> make_count(IterationMode mode, u64 total) override;
    void opened(Child kind, const ColoredText& text) override;
    void closed(double seconds) override;
    void dropped(Child kind) override;

    std::unique_ptr<Chain> owned_chain_;  // root only
    std::unique_ptr<LinearConsoleNode> owned_local_;
    Chain& chain_;
    Status* local_;  // of the console chain beside this one; nullptr when nothing is printed
    const LinearNetworkIteration* count_ = nullptr;  // the child, when that is an iteration
};

// Counts, and sends nothing: the client asks for the count.
class LinearNetworkIteration final : public StatusIterationNode {
  public:
    LinearNetworkIteration(Status::IterationMode mode, u64 total, StatusIterationNode* local)
        : mode_(mode), total_(total), local_(local) {}

    void update(u64 completed) override;
    // Any thread.
    u64 get_completed() const { return completed_.load(std::memory_order_relaxed); }
    std::string text() const;

  private:
    const Status::IterationMode mode_;
    const u64 total_;
    StatusIterationNode* local_;
    std::atomic<u64> completed_{0};
};

}  // namespace trel
