#include "base/status/linear_node.h"

#include <string>

#include "base/errors/exceptions.h"

namespace trel {

void LinearNode::require_no_child(const char* function) const {
    if (child_ == Child::none) return;
    throw StringException(std::string(class_name_) + "::" + function,
                          "Attempted to fork a linear status chain.");
}

void LinearNode::refuse_pop(const char* function) const {
    throw StringException(std::string(class_name_) + "::" + function,
                          "Attempted to pop a non-existent node.");
}

Status& LinearNode::add(Child kind, std::unique_ptr<LinearNode> node, const ColoredText& text) {
    node_ = std::move(node);
    child_ = kind;
    opened(kind, text);
    return *node_;
}

void LinearNode::drop_child() {
    if (child_ == Child::none) return;
    const Child kind = child_;
    child_ = Child::none;
    node_.reset();  // with everything that was pushed on it
    dropped(kind);
    iteration_.reset();
}

Status& LinearNode::Status_MicroSectionStart(std::string_view name) {
    require_no_child("Status_MicroSectionStart()");
    Status& node = add(Child::section, make_section(name), {'w', std::string(name)});
    section_timer_.restart();
    return node;
}

void LinearNode::Status_MicroSectionEnd() {
    if (child_ != Child::section) refuse_pop("Status_MicroSectionEnd()");
    const double seconds = section_timer_.seconds();
    child_ = Child::none;
    node_.reset();
    closed(seconds);
}

Status& LinearNode::push_node(const ColoredText& text) {
    require_no_child("push_node()");
    return add(Child::frame, make_frame(text), text);
}

void LinearNode::pop_frame() {
    if (child_ == Child::none) refuse_pop("pop_frame()");
    drop_child();
}

StatusIterationNode& LinearNode::make_iteration(IterationMode mode, u64 total) {
    require_no_child("make_iteration()");
    iteration_ = make_count(mode, total);
    child_ = Child::iteration;
    opened(Child::iteration, {'w', ""});
    return *iteration_;
}

}  // namespace trel
