#include "base/status/linear_network_node.h"

#include <mutex>

#include "base/console/console.h"
#include "base/status/data_record.h"
#include "base/status/linear_console_node.h"

namespace trel {

using Config::Array;
using Config::Object;

// What all nodes share. The list of frames is also read by the thread that answers the client.
struct LinearNetworkNode::Chain {
    explicit Chain(StatusSink& sink) : sink(sink) {}

    // A pushed frame, or the iteration at the end of the chain.
    struct Link {
        ColoredText text;
        const LinearNetworkIteration* iteration = nullptr;
    };

    StatusSink& sink;
    mutable std::mutex mutex;
    std::vector<Link> links;
    std::vector<u64> open_sections;  // ids, innermost last
    u64 last_id = 0;
    std::atomic<WorkMeter*> meter{nullptr};
};

namespace {

constexpr const char* kNetworkNode = "LinearNetworkNode";

std::string letter(Status::ColorLetter color) {
    return std::string(1, color);
}

i64 milliseconds(double seconds) {
    return static_cast<i64>(seconds * 1000);
}

void add_colored(Object& out, const Status::ColoredText& text) {
    out.add_string("Color", letter(text.color));
    out.add_string("Text", text.text);
}

}  // namespace

LinearNetworkNode::LinearNetworkNode(StatusSink& sink, bool print_locally, u64 line_width,
                                     double refresh_interval)
    : LinearNode(kNetworkNode),
      owned_chain_(std::make_unique<Chain>(sink)),
      owned_local_(print_locally ? std::make_unique<LinearConsoleNode>(line_width, refresh_interval)
                                 : nullptr),
      chain_(*owned_chain_),
      local_(owned_local_.get()) {}

LinearNetworkNode::LinearNetworkNode(Chain& chain, Status* local)
    : LinearNode(kNetworkNode), chain_(chain), local_(local) {}

LinearNetworkNode::~LinearNetworkNode() {
    drop_child();
}

void LinearNetworkNode::send(Object& message) const {
    chain_.sink.send(message);
}

void LinearNetworkNode::send_text(const char* operation, std::string_view text) const {
    Object message;
    message.add_string(operation, std::string(text));
    send(message);
}

void LinearNetworkNode::Status_ColoredLine(const std::vector<ColoredText>& segments) {
    if (local_) local_->Status_ColoredLine(segments);
    Object message;
    Array& text = message.add_object("Status_ColoredLine").add_array("Text");
    for (const ColoredText& segment : segments) add_colored(text.add_object(), segment);
    send(message);
}

void LinearNetworkNode::Status_Line(std::string_view text) {
    if (local_) local_->Status_Line(text);
    send_text("Status_Line", text);
}

void LinearNetworkNode::Status_Label(u64 width, std::string_view name, const ColoredText& value) {
    if (local_) local_->Status_Label(width, name, value);
    Object message;
    Object& label = message.add_object("Status_Label");
    label.add_string("Name", std::string(name));
    add_colored(label, value);
    send(message);
}

void LinearNetworkNode::Status_Time(std::string_view name, double seconds) {
    if (local_) local_->Status_Time(name, seconds);
    Object message;
    Object& time = message.add_object("Status_Time");
    time.add_string("Name", std::string(name));
    time.add_integer("TimeMilliseconds", milliseconds(seconds));
    send(message);
}

void LinearNetworkNode::Data_(const DataRecord& record) {
    if (local_) local_->Data_(record);
    Object message;
    record.write(message.add_object("Data_" + record.name()));
    send(message);
}

void LinearNetworkNode::Warning(std::string_view text) {
    if (local_) local_->Warning(text);
    send_text("Warning", text);
}

void LinearNetworkNode::PauseWarning(std::string_view text) {
    if (local_) local_->Warning(text);
    send_text("PauseWarning", text);
    chain_.sink.wait_for_continue();
}

void LinearNetworkNode::FatalError(std::string_view text) {
    send_text("FatalError", text);
    if (local_) local_->FatalError(text);  // does not come back
    Console::fatal_exit(1);
}

void LinearNetworkNode::Status_LineSectionStart(std::string_view text) {
    if (local_) local_->Status_LineSectionStart(text);
    send_text("Status_LineSectionStart", text);
}

void LinearNetworkNode::Status_LineSectionAdd(const ColoredText& piece) {
    if (local_) local_->Status_LineSectionAdd(piece);
    Object message;
    add_colored(message.add_object("Status_LineSectionAdd"), piece);
    send(message);
}

void LinearNetworkNode::Status_LineSectionEnd() {
    if (local_) local_->Status_LineSectionEnd();
    send_text("Status_LineSectionEnd", "");
}

void LinearNetworkNode::refresh(bool force) {
    if (local_) local_->refresh(force);
}

void LinearNetworkNode::tick() {
    if (local_) local_->tick();
}

void LinearNetworkNode::set_work(WorkMeter* meter) {
    chain_.meter = meter;
    if (local_) local_->set_work(meter);
}

Work LinearNetworkNode::work() {
    return Work(chain_.meter);
}

std::unique_ptr<LinearNode> LinearNetworkNode::make_section(std::string_view name) {
    Status* const local = local_ ? &local_->Status_MicroSectionStart(name) : nullptr;
    return std::unique_ptr<LinearNode>(new LinearNetworkNode(chain_, local));
}

std::unique_ptr<LinearNode> LinearNetworkNode::make_frame(const ColoredText& text) {
    Status* const local = local_ ? &local_->push_node(text) : nullptr;
    return std::unique_ptr<LinearNode>(new LinearNetworkNode(chain_, local));
}

std::unique_ptr<StatusIterationNode> LinearNetworkNode::make_count(IterationMode mode, u64 total) {
    StatusIterationNode* const local = local_ ? &local_->make_iteration(mode, total) : nullptr;
    auto count = std::make_unique<LinearNetworkIteration>(mode, total, local);
    count_ = count.get();
    return count;
}

void LinearNetworkNode::opened(Child kind, const ColoredText& text) {
    if (kind != Child::section) {
        std::lock_guard<std::mutex> lock(chain_.mutex);
        chain_.links.push_back({text, kind == Child::iteration ? count_ : nullptr});
        return;
    }
    u64 id;
    {
        std::lock_guard<std::mutex> lock(chain_.mutex);
        id = ++chain_.last_id;
        chain_.open_sections.push_back(id);
    }
    Object message;
    Object& section = message.add_object("Status_MicroSectionStart");
    section.add_integer("MicroStatusID", static_cast<i64>(id));
    section.add_string("Name", text.text);
    send(message);
}

void LinearNetworkNode::closed(double seconds) {
    if (local_) local_->Status_MicroSectionEnd();
    u64 id;
    {
        std::lock_guard<std::mutex> lock(chain_.mutex);
        id = chain_.open_sections.back();
        chain_.open_sections.pop_back();
    }
    Object message;
    Object& section = message.add_object("Status_MicroSectionEnd");
    section.add_integer("MicroStatusID", static_cast<i64>(id));
    section.add_integer("TimeMilliseconds", milliseconds(seconds));
    send(message);
}

void LinearNetworkNode::dropped(Child kind) {
    if (local_) local_->pop_frame();
    std::lock_guard<std::mutex> lock(chain_.mutex);
    if (kind == Child::section) {
        chain_.open_sections.pop_back();
    } else {
        chain_.links.pop_back();
    }
}

Object LinearNetworkNode::get_tree() const {
    std::lock_guard<std::mutex> lock(chain_.mutex);
    Object out;
    out.add_integer("MicroStatusID",
                    chain_.open_sections.empty() ? 0 : static_cast<i64>(chain_.open_sections.back()));
    Object* node = &out.add_object("StatusTree");
    node->add_string("Text", "");
    node->add_string("Color", "w");
    for (const Chain::Link& link : chain_.links) {
        node = &node->add_array("Children").add_object();
        node->add_string("Text", link.iteration ? link.iteration->text() : link.text.text);
        node->add_string("Color", letter(link.text.color));
    }
    node->add_array("Children");
    return out;
}

void LinearNetworkIteration::update(u64 completed) {
    completed_.store(completed, std::memory_order_relaxed);
    if (local_) local_->update(completed);
}

std::string LinearNetworkIteration::text() const {
    return iteration_text(mode_, get_completed(), total_);
}

}  // namespace trel
