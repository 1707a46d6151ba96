#include "platform/memory/allocator.h"

namespace trel {
namespace {

Choices<AllocatorConfig>& allocators() {
    static constexpr const char* kMenuOrder[] = {"malloc", "mmap", "interleave"};
    static Choices<AllocatorConfig> allocators(
        "Duplicate Allocator Type", "Invalid Memory Allocator: ", "Select a Memory Allocator:", kMenuOrder);
    return allocators;
}

}  // namespace

LargeAllocation::~LargeAllocation() = default;

void register_allocator(const std::string& name, const AllocatorType& type) {
    allocators().add(name, type);
}

const Choices<AllocatorConfig>& allocator_choices() {
    return allocators();
}

std::unique_ptr<AllocatorConfig> make_default_allocator_config(std::string_view name) {
    return allocators().find(name).make_default_config();
}

std::unique_ptr<AllocatorConfig> make_allocator_config(const Config::Node& node) {
    const auto& object = node.as<Config::Object>("Memory Allocator");
    return allocators().read(object, "Allocator", "");
}

Config::Object allocator_to_config(const AllocatorConfig& config) {
    Config::Object object;
    Choices<AllocatorConfig>::write(object, "Allocator", config);
    return object;
}

Config::Object AllocatorConfig::to_selector() const {
    Config::Object object;
    add_selector(object, "Allocator", std::make_unique<Config::String>(name()), display_name());
    add_selectors(object);
    return object;
}

std::unique_ptr<AllocatorConfig> select_allocator_menu() {
    return allocators().select();
}

std::vector<std::string> allocator_names() {
    return allocators().names();
}

}  // namespace trel
