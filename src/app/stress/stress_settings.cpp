#include "app/stress/stress_settings.h"

#include <algorithm>

#include "base/command_line/shown_text.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "os/memory_status.h"

namespace kalvor {

namespace {

constexpr const char* kFunction = "load_stress_settings()";
constexpr const char* kContext = "Stress Test";

constexpr const char* kCores = "LogicalCores";
constexpr const char* kLocal = "AllocateLocally";
constexpr const char* kMemory = "TotalMemory";
constexpr const char* kPerTest = "SecondsPerTest";
constexpr const char* kTotal = "SecondsTotal";
constexpr const char* kStop = "StopOnError";
constexpr const char* kTests = "Tests";

const char* bool_word(bool value) {
    return value ? "true" : "false";
}

u64 get_count(const Config::Object& object, const char* key) {
    const i64 value = object.get_integer(key, kContext);
    if (value < 0) {
        throw InvalidParametersException(kFunction,
                                         "Invalid " + std::string(key) + ": " + std::to_string(value));
    }
    return static_cast<u64>(value);
}

std::vector<u32> get_cores(const Config::Object& object, const CoreNumbers& numbers) {
    const Config::Array& array = object.get_array(kCores, kContext);
    CoreGroup group(numbers);
    for (const auto& node : array.elements) {
        const i64 core = node->as<Config::Integer>(kContext).value;
        if (core < 0 || static_cast<u64>(core) >= numbers.count()) {
            throw InvalidParametersException(kFunction, "Invalid core #: " + std::to_string(core));
        }
        group |= static_cast<u64>(core);
    }
    if (group.cores().empty()) {
        throw InvalidParametersException(kFunction, "Must have at least one core!");
    }
    return group.cores();
}

std::string counted(u64 n, const char* one, const char* many) {
    return Console::format_commas(n) + (n == 1 ? one : many);
}

std::unique_ptr<Config::Node> integer_node(u64 value) {
    return std::make_unique<Config::Integer>(static_cast<i64>(std::min(value, u64(INT64_MAX))));
}

}  // namespace

StressMachine StressMachine::of_this_machine() {
    const os::MemoryStatus memory = os::memory_status();
    return {&CoreNumbers::of_this_machine(), memory.available_physical, memory.address_space};
}

StressSettings::StressSettings(const StressMachine& machine) : total_memory(machine.available_memory / 4) {
    const auto& all = machine.cores->cores;
    for (u32 core = 0; core < all.size() && all[core].group == all[0].group; core++) cores.push_back(core);
    enable_all(true);
}

bool StressSettings::has(std::string_view tag) const {
    return std::find(tests.begin(), tests.end(), tag) != tests.end();
}

void StressSettings::enable(std::string_view tag, bool on) {
    std::vector<std::string> enabled;
    for (const char* other : kStressTags) {
        if (other == tag ? on : has(other)) enabled.push_back(other);
    }
    tests = std::move(enabled);
}

void StressSettings::enable_all(bool on) {
    tests.clear();
    if (on) tests.assign(kStressTags.begin(), kStressTags.end());
}

const char* StressSettings::local_text() const {
    return local ? "Local - Memory allocated from local thread."
                 : "Interleaved - Memory interleaved across all nodes.";
}

std::string StressSettings::time_text() const {
    return counted(seconds_per_test, " second per test / ", " seconds per test / ") +
           counted(seconds_total, " second total", " seconds total");
}

StressSettings load_stress_settings(const Config::Object& object, const StressMachine& machine) {
    StressSettings settings(machine);
    settings.cores = get_cores(object, *machine.cores);
    settings.local = object.get_bool(kLocal, kContext);
    settings.total_memory = get_count(object, kMemory);
    settings.seconds_per_test = get_count(object, kPerTest);
    settings.seconds_total = get_count(object, kTotal);
    settings.stop_on_error = object.get_bool(kStop, kContext);
    settings.enable_all(false);
    for (const auto& node : object.get_array(kTests, kContext).elements) {
        const std::string& tag = node->as<Config::String>(kContext).value;
        if (std::find(kStressTags.begin(), kStressTags.end(), tag) == kStressTags.end()) {
            throw InvalidParametersException(kFunction, "Unknown Test: " + CommandLine::shown(tag));
        }
        settings.enable(tag, true);
    }
    object.check_keys({kCores, kLocal, kMemory, kPerTest, kTotal, kStop, kTests});
    return settings;
}

std::unique_ptr<Config::Object> stress_settings_to_config(const StressSettings& settings) {
    auto object = std::make_unique<Config::Object>();
    Config::Array& cores = object->add_array(kCores);
    for (const u32 core : settings.cores) cores.add_integer(core);
    object->add_string(kLocal, bool_word(settings.local));
    object->add_node(kMemory, integer_node(settings.total_memory));
    object->add_node(kPerTest, integer_node(settings.seconds_per_test));
    object->add_node(kTotal, integer_node(settings.seconds_total));
    object->add_string(kStop, bool_word(settings.stop_on_error));
    Config::Array& tests = object->add_array(kTests);
    for (const std::string& tag : settings.tests) tests.add_string(tag);
    return object;
}

}  // namespace kalvor
