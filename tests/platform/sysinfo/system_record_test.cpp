#include "platform/sysinfo/system_record.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>

#include "base/clock/reference_clock.h"
#include "base/clock/tsc_frequency.h"
#include "base/errors/expected_exceptions.h"
#include "base/status/linear_console_node.h"
#include "os/clock.h"
#include "os/cpu.h"
#include "os/machine.h"
#include "platform/sysinfo/system_summary.h"
#include "support/capture_console.h"

using namespace trel;

namespace {

constexpr u64 kGiB = u64(1) << 30;

// Answers to the queries of a machine, by class and property.
struct FakeQueries {
    os::QueryFailure board_failure = os::QueryFailure::none;
    os::QueryFailure module_failure = os::QueryFailure::none;
    std::vector<std::map<std::string, std::string>> boards = {{{"Manufacturer", "Board Works"},
                                                               {"Product", "B-1000"},
                                                               {"Version", "Rev 2"},
                                                               {"SerialNumber", "SN-42"}}};
    std::vector<std::map<std::string, std::string>> modules = {
        {{"PartNumber", "PART-A"}, {"Capacity", "8589934592"}},
        {{"PartNumber", "PART-B"}, {"Capacity", "17179869184"}}};
    std::vector<std::string> asked;

    os::QueryResult operator()(const std::string& class_name, const std::vector<std::string>& properties) {
        asked.push_back(class_name);
        asked.insert(asked.end(), properties.begin(), properties.end());
        const bool board = class_name == "Win32_BaseBoard";
        const os::QueryFailure failure = board ? board_failure : module_failure;
        os::QueryResult result{failure, {}};
        if (failure != os::QueryFailure::none) return result;
        for (const auto& object : board ? boards : modules) {
            result.objects.emplace_back();
            for (const std::string& property : properties) {
                const auto found = object.find(property);
                result.objects.back().push_back(found == object.end() ? std::nullopt
                                                                      : std::optional(found->second));
            }
        }
        return result;
    }
    bool was_asked_for(const std::string& name) const {
        return std::find(asked.begin(), asked.end(), name) != asked.end();
    }
};

ProcessorCalls processor_named(const std::string& name) {
    return {[name](u32 leaf, u32) {
                os::CpuidRegisters r;
                if (leaf == 0x80000000u) r.eax = 0x80000004u;
                if (leaf == 0x80000002u) std::memcpy(&r, name.data(), std::min(name.size(), sizeof r));
                return r;
            },
            [] { return u64(0); }};
}

// Eight threads, four cores, one socket.
struct FakeMachine {
    std::optional<std::string> os_version = "System 1.2 Build 3";
    std::string processor = "Some Processor";
    os::Topology topology{8, 4, 1, 1};
    std::vector<u32> groups = {8};
    u32 quota = 0;
    u64 usable = 23 * kGiB;
    u64 installed = 24 * kGiB;
    u64 frequency = 2600000123;
    FakeQueries queries;

    SystemRecord gather(bool include_pii = false) {
        MachineCalls calls;
        calls.os_version = [this] { return os_version; };
        calls.processor = processor_named(processor);
        calls.topology = [this] { return topology; };
        calls.group_sizes = [this] { return groups; };
        calls.processor_quota = [this] { return quota; };
        calls.memory_status = [this] {
            os::MemoryStatus status;
            status.total_physical = usable;
            return status;
        };
        calls.installed_memory = [this] { return installed; };
        calls.base_frequency = [this] { return frequency; };
        calls.reference_clock = [] { return std::string("HPET"); };
        calls.performance_frequency = [] { return u64(14318180); };
        calls.query = {std::ref(queries)};
        return gather_system_record(include_pii, calls);
    }
};

std::string summary_of(const SystemRecord& record) {
    CaptureConsole console(CaptureConsole::terminal, true);
    LinearConsoleNode node(79, 1.0);
    print_system_summary(record, node);
    return console.take();
}

std::string wmi_error(os::QueryFailure failure) {
    try {
        query_wmi("Win32_BaseBoard", {"Product"}, QueryCalls{[&](const auto&, const auto&) {
                      return os::QueryResult{failure, {{"ignored"}}};
                  }});
    } catch (const Environment::WMI_Exception& e) {
        return e.what();
    }
    return "";
}

}  // namespace

TEST(WmiQueryTest, EveryFailureHasItsText) {
    EXPECT_EQ(wmi_error(os::QueryFailure::library), "Failed to initialize COM library.");
    EXPECT_EQ(wmi_error(os::QueryFailure::locator), "Failed to obtain initial locator to WMI.");
    EXPECT_EQ(wmi_error(os::QueryFailure::connection), "Could not connect.");
    EXPECT_EQ(wmi_error(os::QueryFailure::query), "Query for object failed.");
    EXPECT_EQ(wmi_error(os::QueryFailure::none), "");
}

// The words of the question on Windows; that system's tests put it to the service.
TEST(WmiQueryTest, AsksForAllObjectsOfAClass) {
    EXPECT_STREQ(os::kQueryNamespace, "ROOT\\CIMV2");
    EXPECT_EQ(os::query_text("Win32_PhysicalMemory"), "SELECT * FROM Win32_PhysicalMemory");
}

TEST(WmiQueryTest, AllObjectsOrTheFirst) {
    FakeQueries queries;
    const QueryCalls query{std::ref(queries)};
    const std::vector<WmiObject> all = query_wmi("Win32_PhysicalMemory", {"Capacity", "Nothing"}, query);
    EXPECT_EQ(all, (std::vector<WmiObject>{{"8589934592", std::nullopt}, {"17179869184", std::nullopt}}));
    EXPECT_EQ(queries.asked, (std::vector<std::string>{"Win32_PhysicalMemory", "Capacity", "Nothing"}));
    EXPECT_EQ(query_wmi_first("Win32_PhysicalMemory", {"PartNumber"}, query), WmiObject{"PART-A"});
    queries.modules.clear();
    EXPECT_EQ(query_wmi_first("Win32_PhysicalMemory", {"PartNumber"}, query), WmiObject{std::nullopt});
    queries.module_failure = os::QueryFailure::connection;
    EXPECT_THROW(query_wmi_first("Win32_PhysicalMemory", {"PartNumber"}, query), Environment::WMI_Exception);
    EXPECT_TRUE(query_wmi_or_nothing("Win32_PhysicalMemory", {"PartNumber"}, query).empty());
}

TEST(SystemRecordTest, GathersEverything) {
    FakeMachine machine;
    const SystemRecord record = machine.gather(true);
    EXPECT_EQ(record.os_version, "System 1.2 Build 3");
    EXPECT_EQ(record.processor, "Some Processor");
    EXPECT_EQ(record.topology.logical_cores, 8u);
    EXPECT_EQ(record.topology.physical_cores, 4u);
    EXPECT_EQ(record.group_sizes, std::vector<u32>{8});
    EXPECT_EQ(record.usable_memory, 23 * kGiB);
    EXPECT_EQ(record.total_memory, 24 * kGiB);
    EXPECT_EQ(record.base_frequency, 2600000123u);
    EXPECT_EQ(record.reference_clock, "HPET");
    EXPECT_EQ(record.performance_frequency, 14318180u);
    EXPECT_EQ(record.board_manufacturer, "Board Works");
    EXPECT_EQ(record.board_product, "B-1000");
    EXPECT_EQ(record.board_version, "Rev 2");
    EXPECT_EQ(record.board_serial, "SN-42");
    ASSERT_EQ(record.modules.size(), 2u);
    EXPECT_EQ(record.modules[0].part_number, "PART-A");
    EXPECT_EQ(record.modules[1].bytes, 16 * kGiB);
}

TEST(SystemRecordTest, SerialNumberOnlyWhenAllowed) {
    const std::string suppressed = "Suppressed - Personally identifiable information is opt-in only.";
    FakeMachine machine;
    EXPECT_EQ(machine.gather(false).board_serial, suppressed);
    EXPECT_FALSE(machine.queries.was_asked_for("SerialNumber"));
    EXPECT_TRUE(machine.queries.was_asked_for("Version"));
    // Whatever the machine answers, or not.
    machine.queries.boards.clear();
    EXPECT_EQ(machine.gather(false).board_serial, suppressed);
    machine.queries.board_failure = os::QueryFailure::connection;
    EXPECT_EQ(machine.gather(false).board_serial, suppressed);
    EXPECT_NE(system_block(machine.gather(false)).find("    Serial Number:      " + suppressed + "\r\n"),
              std::string::npos);

    EXPECT_EQ(machine.gather(true).board_serial, "Unable to Detect");
    machine = FakeMachine();
    EXPECT_EQ(machine.gather(true).board_serial, "SN-42");
    EXPECT_TRUE(machine.queries.was_asked_for("SerialNumber"));
    EXPECT_NE(system_block(machine.gather(true)).find("    Serial Number:      SN-42\r\n"),
              std::string::npos);
    machine.queries.boards[0].erase("SerialNumber");  // not readable without further rights
    EXPECT_EQ(machine.gather(true).board_serial, "Unable to Detect");
}

TEST(SystemRecordTest, EveryFailingQueryDegrades) {
    for (const os::QueryFailure failure : {os::QueryFailure::library, os::QueryFailure::locator,
                                           os::QueryFailure::connection, os::QueryFailure::query}) {
        FakeMachine machine;
        machine.queries.board_failure = machine.queries.module_failure = failure;
        const SystemRecord record = machine.gather(true);
        EXPECT_EQ(record.board_manufacturer, "Unable to Detect");
        EXPECT_EQ(record.board_product, "Unable to Detect");
        EXPECT_EQ(record.board_version, "Unable to Detect");
        EXPECT_EQ(record.board_serial, "Unable to Detect");
        EXPECT_TRUE(record.modules.empty());
        EXPECT_EQ(record.total_memory, 24 * kGiB);  // what the system itself tells
    }
    FakeMachine machine;
    machine.os_version.reset();
    machine.processor = "";
    machine.queries.boards = {{{"Manufacturer", "   "}, {"Product", "  B-1000 "}}};
    const SystemRecord record = machine.gather();
    EXPECT_EQ(record.os_version, "Unable to Detect");
    EXPECT_EQ(record.processor, "Unable to Detect");
    EXPECT_EQ(record.board_manufacturer, "Unable to Detect");
    EXPECT_EQ(record.board_product, "B-1000");
    EXPECT_EQ(record.board_version, "Unable to Detect");
}

TEST(SystemRecordTest, CapacitiesThatAreNoNumbers) {
    for (const char* capacity : {"", "x", "12x", "-1", " 5", "99999999999999999999999", "0"}) {
        FakeMachine machine;
        machine.queries.modules[1]["Capacity"] = capacity;
        const SystemRecord record = machine.gather();
        ASSERT_EQ(record.modules.size(), 2u) << capacity;
        EXPECT_EQ(record.modules[1].bytes, 0u) << capacity;
        EXPECT_EQ(record.module_memory(), 0u) << capacity;  // a part is not the sum
        EXPECT_EQ(record.total_memory, 24 * kGiB) << capacity;
    }
    FakeMachine machine;
    machine.queries.modules[0]["Capacity"] = "18446744073709551615";
    EXPECT_EQ(machine.gather().module_memory(), 0u);  // the sum leaves 64 bits
    machine.queries.modules[0].clear();
    EXPECT_EQ(machine.gather().modules[0].part_number, "Unable to Detect");
    EXPECT_EQ(SystemRecord().module_memory(), 0u);
}

TEST(SystemRecordTest, ThreadsOfTheGroupsStandInForAnUnknownCount) {
    FakeMachine machine;
    machine.topology.logical_cores = 0;
    machine.groups = {64, 8};
    EXPECT_EQ(machine.gather().topology.logical_cores, 72u);
    machine.groups.clear();
    EXPECT_EQ(machine.gather().topology.logical_cores, 0u);
}

TEST(TopologyTextTest, Plurals) {
    EXPECT_EQ(topology_text({1, 1, 1, 1}), "1 thread / 1 core / 1 socket / 1 NUMA node");
    EXPECT_EQ(topology_text({8, 4, 1, 1}), "8 threads / 4 cores / 1 socket / 1 NUMA node");
    EXPECT_EQ(topology_text({256, 128, 2, 8}), "256 threads / 128 cores / 2 sockets / 8 NUMA nodes");
    EXPECT_EQ(topology_text({}), "? threads / ? cores / ? sockets / ? NUMA nodes");
    EXPECT_EQ(topology_text({2, 0, 1, 0}), "2 threads / ? cores / 1 socket / ? NUMA nodes");
}

TEST(SystemSummaryTest, WithKnownModules) {
    FakeMachine machine;
    machine.queries.modules.resize(1);
    EXPECT_EQ(summary_of(machine.gather()),
              "{w}Version:              {G}System 1.2 Build 3{w}\n"
              "{w}Processor(s):         {Y}Some Processor{w}\n"
              "{w}Topology:             {T}8 threads / 4 cores / 1 socket / 1 NUMA node{w}\n"
              "{w}Usable Memory:        {G}24,696,061,952 (23.0 GiB){w}\n"
              "{w}Memory:               {G}8,589,934,592 (8.00 GiB){w}\n"
              "{w}CPU Base Frequency:   {Y}2,600,000,123 Hz{w}\n");
}

TEST(SystemSummaryTest, WithoutThem) {
    FakeMachine machine;
    machine.queries.module_failure = os::QueryFailure::query;
    machine.frequency = 0;
    EXPECT_EQ(summary_of(machine.gather()),
              "{w}Version:              {G}System 1.2 Build 3{w}\n"
              "{w}Processor(s):         {Y}Some Processor{w}\n"
              "{w}Topology:             {T}8 threads / 4 cores / 1 socket / 1 NUMA node{w}\n"
              "{w}Physical Memory:      {G}24,696,061,952 (23.0 GiB){w}\n"
              "{w} CPU BaseFrequency:   {Y}Unable to Detect{w}\n");
    machine.usable = 0;
    EXPECT_NE(summary_of(machine.gather()).find("Physical Memory:      {G}Unable to Detect{w}\n"),
              std::string::npos);
}

TEST(SystemBlockTest, OfAValidationFile) {
    FakeMachine machine;
    EXPECT_EQ(system_block(machine.gather()),
              "Operating System:       System 1.2 Build 3\r\n"
              "Processor(s):\r\n"
              "    Name:               Some Processor\r\n"
              "    Logical Cores:      8\r\n"
              "    Physical Cores:     4\r\n"
              "    Sockets:            1\r\n"
              "    NUMA Nodes:         1\r\n"
              "    Base Frequency:     2,600,000,123 Hz\r\n"
              "Motherboard:\r\n"
              "    Manufacturer:       Board Works\r\n"
              "    Model:              B-1000\r\n"
              "    Version:            Rev 2\r\n"
              "    Serial Number:      Suppressed - Personally identifiable information is opt-in only.\r\n"
              "Memory:\r\n"
              "    Usable Memory:      24,696,061,952 (23.0 GiB)\r\n"
              "    Total Memory:       25,769,803,776 (24.0 GiB)\r\n"
              "    DIMM:               PART-A, 8,589,934,592 (8.00 GiB)\r\n"
              "    DIMM:               PART-B, 17,179,869,184 (16.0 GiB)\r\n");
}

TEST(SystemBlockTest, OfAMachineThatTellsNothing) {
    FakeMachine machine;
    machine.os_version.reset();
    machine.processor.clear();
    machine.topology = {};
    machine.groups.clear();
    machine.usable = machine.installed = machine.frequency = 0;
    machine.queries.board_failure = machine.queries.module_failure = os::QueryFailure::library;
    const std::string block = system_block(machine.gather(true));
    size_t n = 0;
    for (size_t at = 0; (at = block.find("Unable to Detect\r\n", at)) != std::string::npos; at++) n++;
    EXPECT_EQ(n, 13u) << block;
    EXPECT_EQ(block.find("DIMM"), std::string::npos);
    machine.queries.module_failure = os::QueryFailure::none;
    machine.queries.modules = {{}};
    EXPECT_NE(
        system_block(machine.gather()).find("    DIMM:               Unable to Detect, Unable to Detect\r\n"),
        std::string::npos);
}

TEST(SystemRecordTest, OfThisMachine) {
    const SystemRecord record = gather_system_record(false);
    EXPECT_EQ(record.os_version, get_os_version());
    EXPECT_TRUE(record.os_version.starts_with("Linux ") || record.os_version.starts_with("Windows "))
        << record.os_version;
    EXPECT_EQ(record.processor, processor_name());
    EXPECT_EQ(record.base_frequency, measure_tsc_frequency());
    EXPECT_EQ(record.reference_clock, get_reference_clock_kind());
    EXPECT_EQ(record.performance_frequency, os::performance_frequency());
    EXPECT_GE(record.topology.logical_cores, os::active_processor_count());
    EXPECT_GE(record.topology.logical_cores, record.topology.physical_cores);
    EXPECT_GE(record.topology.physical_cores, record.topology.sockets);
    EXPECT_EQ(record.group_sizes.size(), os::processor_group_count());
    EXPECT_GT(record.usable_memory, u64(1) << 26);
    EXPECT_GE(record.total_memory, record.usable_memory / 2);
    EXPECT_EQ(record.board_serial, kSuppressedPii);
    EXPECT_FALSE(record.board_manufacturer.empty());
}

// Only a limit that leaves less than there is.
TEST(SystemSummaryTest, TheQuotaOfAContainer) {
    FakeMachine machine;
    const std::string without = summary_of(machine.gather());
    EXPECT_EQ(without.find("Quota"), std::string::npos);
    machine.quota = 8;
    EXPECT_EQ(summary_of(machine.gather()), without);
    machine.quota = 3;
    EXPECT_NE(summary_of(machine.gather())
                  .find("{w}Processor Quota:      {Y}3 of 8, by the limit of the container{w}\n"),
              std::string::npos);
}
