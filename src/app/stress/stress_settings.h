// What a person chooses for the stress tester, and its object in settings files.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/config/node.h"
#include "base/names/names.h"
#include "os/types.h"
#include "platform/sysinfo/core_numbers.h"

namespace kalvor {

// The tags of stress_tests(), in its order: what settings need to know of the tests.
inline constexpr std::array<const char*, 9> kStressTags = {"BKT", "BBP", "SFT", "FFT", "N32",
                                                           "N64", "HNT", "VST", "C17"};

// The machine that the settings are for. A reading and no calls: its memory is that of the moment when it was
// made.
struct StressMachine {
    const CoreNumbers* cores;
    u64 available_memory;  // bytes
    u64 address_space;     // of the process, bytes; 0: unknown

    // The first call prints the numbers of the cores.
    static StressMachine of_this_machine();
};

struct StressSettings {
    // The action of their settings files, and the member that holds them.
    static constexpr const char* kAction = "StressTest";
    // The most that "Bytes: " and "-M" take.
    static constexpr u64 kMostMemory = 8070450532247928825;

    // All cores of the first processor group, a quarter of the free memory, two minutes a test, every test.
    explicit StressSettings(const StressMachine& machine);

    std::vector<u32> cores;  // by number, ascending, each once
    bool local = true;       // memory from the thread that uses it; else interleaved across all nodes
    u64 total_memory;
    u64 seconds_per_test = 120;  // 0: no limit
    u64 seconds_total = 0;       // 0: no limit
    bool stop_on_error = true;
    std::vector<std::string> tests;  // tags in the order of the menu, each once

    // Bytes; 0 without cores.
    u64 memory_per_thread() const { return cores.empty() ? 0 : total_memory / cores.size(); }
    bool has(std::string_view tag) const;
    // One of kStressTags.
    void enable(std::string_view tag, bool on);
    void enable_all(bool on);

    const char* local_text() const;
    // "120 seconds per test / 1 second total"
    std::string time_text() const;

    bool operator==(const StressSettings&) const = default;
};

// The members of "StressTest", all required and no others. Throws the errors of the object's getters and
// InvalidParametersException "Invalid core #: 9", "Must have at least one core!", "Unknown Test: ABC",
// "Invalid SecondsPerTest: -1", and what CoreGroup throws for cores of several groups.
StressSettings load_stress_settings(const Config::Object& object, const StressMachine& machine);
std::unique_ptr<Config::Object> stress_settings_to_config(const StressSettings& settings);

}  // namespace kalvor
