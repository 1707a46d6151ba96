#include "app/stress/stress_query.h"

#include <algorithm>

#include "app/stress/stress_test.h"
#include "base/console/format.h"
#include "base/settings/setting_lines.h"

namespace kalvor {

std::unique_ptr<Config::Object> query_stress_settings(const StressSettings& settings,
                                                      const StressMachine& machine) {
    const auto config = stress_settings_to_config(settings);
    auto object = std::make_unique<Config::Object>();
    const auto add = [&](const char* key, const std::string& text) {
        add_selector(*object, key, config->get(key).clone(), text);
    };
    const auto bytes = [](u64 value) {
        return Console::format_number(value, Console::NumberFormat::commas_and_bytes);
    };
    const auto seconds = [](u64 n) { return Console::format_commas(n) + (n == 1 ? " second" : " seconds"); };
    const auto on_off = [](bool on) { return on ? "Enabled" : "Disabled"; };
    const u64 per_thread = settings.memory_per_thread();
    add("LogicalCores", core_list_text(settings.cores));
    add("AllocateLocally", settings.local_text());
    add("TotalMemory", bytes(settings.total_memory));
    add_selector(*object, "MemoryPerThread",
                 std::make_unique<Config::Integer>(static_cast<i64>(std::min(per_thread, u64(INT64_MAX)))),
                 bytes(per_thread));
    add("SecondsPerTest", seconds(settings.seconds_per_test));
    add("SecondsTotal", seconds(settings.seconds_total));
    add("StopOnError", on_off(settings.stop_on_error));
    Config::Array& tests = object->add_array("Tests");
    for (const StressTest* test : stress_tests()) {
        const StressTest::Texts& texts = test->texts();
        const bool on = settings.has(texts.tag);
        Config::Object& row = tests.add_object();
        row.add_string("Value", on ? "true" : "false");
        row.add_string("DisplayText", on_off(on));
        row.add_string("DisplayTag", texts.tag);
        row.add_string("DisplayName", texts.name);
        row.add_string("DisplayComponent", texts.component);
        row.add_string("Scale", Console::format_commas(test->size_for(per_thread)) + " " + texts.unit);
    }
    object->add_array("Warnings");
    Config::Array& errors = object->add_array("Errors");
    if (machine.address_space != 0 && settings.total_memory > machine.address_space) {
        errors.add_string("Insufficient Address Space");
    }
    if (settings.tests.empty()) errors.add_string("Please select at least one test.");
    return object;
}

}  // namespace kalvor
