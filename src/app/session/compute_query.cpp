#include "app/session/compute_query.h"

#include "app/session/memory_check.h"
#include "app/session/memory_plan.h"
#include "app/settings/compute_settings_object.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "base/settings/setting_lines.h"

namespace kalvor {

using Config::Array;
using Config::Object;

namespace {

void add_unless_empty(Array& texts, const std::string& text) {
    if (!text.empty()) texts.add_string(text);
}

}  // namespace

std::unique_ptr<Object> query_compute_settings(const ComputeSettings& settings,
                                               const os::MemoryStatus& machine,
                                               const std::vector<std::string>& warnings) {
    u64 bytes = 0;
    std::string too_large;
    try {
        bytes = RunPlan::make(settings, settings.size).memory.total();
    } catch (const StringException& e) {
        too_large = e.message;
    }
    auto object = compute_settings_selector(settings);
    std::string size = Console::format_bytes(bytes);
    size.erase(0, size.find_first_not_of(' '));
    add_selector(*object, "RequiredRam", std::make_unique<Config::Integer>(static_cast<i64>(bytes)), size);
    Array& all = object->add_array("Warnings");
    for (const std::string& warning : warnings) all.add_string(warning);
    add_unless_empty(all, physical_memory_warning(machine, bytes));
    Array& errors = object->add_array("Errors");
    add_unless_empty(errors, too_large);
    add_unless_empty(errors, address_space_error(machine, bytes));
    return object;
}

}  // namespace kalvor
