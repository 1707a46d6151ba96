#include "platform/memory/allocator.h"

#include <map>

#include "base/console/console.h"
#include "base/errors/exceptions.h"
#include "base/settings/setting_lines.h"

namespace trel {
namespace {

using Registry = std::map<std::string, const AllocatorType*, std::less<>>;

Registry& registry() {
    static Registry types;
    return types;
}

// Independent of link order.
constexpr const char* kMenuOrder[] = {"malloc", "mmap", "interleave"};

}  // namespace

LargeAllocation::~LargeAllocation() = default;
AllocatorConfig::~AllocatorConfig() = default;
AllocatorType::~AllocatorType() = default;

void register_allocator(const std::string& name, const AllocatorType& type) {
    if (!registry().emplace(name, &type).second) {
        Console::error_line("Duplicate Allocator Type");
        Console::fatal_exit(1);
    }
}

const AllocatorType& find_allocator_type(std::string_view name) {
    const auto found = registry().find(name);
    if (found == registry().end()) {
        throw InvalidParametersException("", "Invalid Memory Allocator: " + std::string(name));
    }
    return *found->second;
}

std::unique_ptr<AllocatorConfig> make_default_allocator_config(std::string_view name) {
    return find_allocator_type(name).make_default_config();
}

std::unique_ptr<AllocatorConfig> make_allocator_config(const Config::Node& node) {
    const auto& object = node.as<Config::Object>("Memory Allocator");
    return find_allocator_type(object.get_string("Allocator")).make_config(object);
}

Config::Object allocator_to_config(const AllocatorConfig& config) {
    Config::Object object;
    object.add_string("Allocator", config.name());
    merge(object, config.to_config());
    return object;
}

Config::Object AllocatorConfig::to_selector() const {
    Config::Object object;
    add_selector(object, "Allocator", name(), display_name());
    add_selectors(object);
    return object;
}

std::unique_ptr<AllocatorConfig> select_allocator_menu() {
    const std::vector<std::string> names = allocator_names();
    std::vector<std::string> display_names;
    for (const std::string& name : names) display_names.push_back(find_allocator_type(name).display_name());
    return make_default_allocator_config(
        names[select_from_list("Select a Memory Allocator:", display_names)]);
}

std::vector<std::string> allocator_names() {
    std::vector<std::string> names;
    for (const char* name : kMenuOrder) {
        if (registry().count(std::string_view(name)) != 0) names.emplace_back(name);
    }
    return names;
}

}  // namespace trel
