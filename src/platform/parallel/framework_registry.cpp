#include "platform/parallel/framework_registry.h"

namespace trel {
namespace {

Choices<FrameworkConfig>& frameworks() {
    static constexpr const char* kMenuOrder[] = {"none",     "cppasync", "spawn", "taskqueue",
                                                 "pushpool", "winpool",  "cilk",  "tbb"};
    static Choices<FrameworkConfig> frameworks("Duplicate Framework Type", "Invalid Parallel Framework: ",
                                               "Select a Parallel Framework:", kMenuOrder);
    return frameworks;
}

std::string numbers_text(u64 tds, u64 worker_threads) {
    return std::to_string(tds) + " / " + (worker_threads == 0 ? "?" : std::to_string(worker_threads));
}

}  // namespace

std::string FrameworkConfig::summary(u64 tds) const {
    return display_name() + "  ->  " + numbers_text(tds, worker_threads()) + mode_text();
}

Config::Object FrameworkConfig::to_selector() const {
    Config::Object object;
    object.add_string("Framework", name());
    add_selectors(object);
    return object;
}

void register_framework(const std::string& name, const FrameworkType& type) {
    frameworks().add(name, type);
}

LeftOutFramework::LeftOutFramework(const char* name, const char* reason) {
    frameworks().leave_out(name, reason);
}

std::string left_out_reason(std::string_view name) {
    return frameworks().left_out_reason(name);
}

const Choices<FrameworkConfig>& framework_choices() {
    return frameworks();
}

std::unique_ptr<FrameworkConfig> make_default_framework_config(std::string_view name) {
    return frameworks().find(name).make_default_config();
}

std::unique_ptr<FrameworkConfig> make_framework_config(const Config::Object& object) {
    return frameworks().read(object, "Framework", "Parallel Framework");
}

std::unique_ptr<FrameworkConfig> select_framework_menu() {
    return frameworks().select();
}

std::vector<std::string> framework_names() {
    return frameworks().names();
}

}  // namespace trel
