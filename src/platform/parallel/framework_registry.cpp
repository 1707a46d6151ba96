#include "platform/parallel/framework_registry.h"

#include <map>

#include "base/console/console.h"
#include "base/errors/exceptions.h"
#include "base/settings/setting_lines.h"

namespace trel {
namespace {

using Registry = std::map<std::string, const FrameworkType*, std::less<>>;

Registry& registry() {
    static Registry types;
    return types;
}

// Independent of link order.
constexpr const char* kMenuOrder[] = {"none",     "cppasync", "spawn", "taskqueue",
                                      "pushpool", "winpool",  "cilk",  "tbb"};

std::string numbers_text(u64 tds, u64 worker_threads) {
    return std::to_string(tds) + " / " + (worker_threads == 0 ? "?" : std::to_string(worker_threads));
}

}  // namespace

FrameworkConfig::~FrameworkConfig() = default;
FrameworkType::~FrameworkType() = default;

std::string FrameworkConfig::summary(u64 tds) const {
    return display_name() + "  ->  " + numbers_text(tds, worker_threads()) + mode_text();
}

void FrameworkConfig::print_summary(u64 tds) const {
    Console::print(display_name(), 'T');
    Console::print("  ->  ");
    Console::print(numbers_text(tds, worker_threads()), 'Y');
    Console::print(mode_text());
    Console::set_color('w');
}

Config::Object FrameworkConfig::to_selector() const {
    Config::Object object;
    object.add_string("Framework", name());
    add_selectors(object);
    return object;
}

void register_framework(const std::string& name, const FrameworkType& type) {
    if (!registry().emplace(name, &type).second) {
        Console::error_line("Duplicate Framework Type");
        Console::fatal_exit(1);
    }
}

const FrameworkType& find_framework_type(std::string_view name) {
    const auto found = registry().find(name);
    if (found == registry().end()) {
        throw InvalidParametersException("", "Invalid Parallel Framework: " + std::string(name));
    }
    return *found->second;
}

std::unique_ptr<FrameworkConfig> make_default_framework_config(std::string_view name) {
    return find_framework_type(name).make_default_config();
}

std::unique_ptr<FrameworkConfig> make_framework_config(const Config::Object& object) {
    return find_framework_type(object.get_string("Framework", "Parallel Framework")).make_config(object);
}

std::unique_ptr<FrameworkConfig> select_framework_menu() {
    const std::vector<std::string> names = framework_names();
    std::vector<std::string> display_names;
    for (const std::string& name : names) display_names.push_back(find_framework_type(name).display_name());
    return make_default_framework_config(
        names[select_from_list("Select a Parallel Framework:", display_names)]);
}

std::vector<std::string> framework_names() {
    std::vector<std::string> names;
    for (const char* name : kMenuOrder) {
        if (registry().count(std::string_view(name)) != 0) names.emplace_back(name);
    }
    return names;
}

}  // namespace trel
