// A container's quota of processor time limits every default. No test can set one, so this reads the sources:
// who asks for the active processors, which a quota does not lower, has another reason than a number of
// threads.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

#include "support/temporary_folder.h"

namespace {

using Files = std::set<std::string>;

// The files of src/ with this text, but for those of the system's rooms.
Files files_with(const std::string& text) {
    const std::filesystem::path root = KALVOR_SOURCE_FOLDER "/src";
    Files found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        if (entry.path().extension() != ".cpp" && entry.path().extension() != ".h") continue;
        const std::string name = std::filesystem::relative(entry.path(), root).generic_string();
        if (name.starts_with("os/")) continue;
        if (kalvor_test::read_file(entry.path().string()).find(text) != std::string::npos) found.insert(name);
    }
    return found;
}

TEST(DefaultThreadsTest, AreThoseThatTheQuotaLeaves) {
    EXPECT_EQ(
        files_with("os::usable_processor_count("),
        (Files{"digits/bbp/bbp_session.cpp", "digits/viewer/viewer_console_run.cpp",
               "platform/cilk/cilk_entries.cpp", "platform/parallel/cilk_framework.cpp",
               "platform/parallel/parallelism_settings.cpp", "platform/parallel/push_pool_framework.cpp"}));
    // What is told of a run and of the machine, and the most threads that a pool may ever have.
    EXPECT_EQ(files_with("os::active_processor_count("),
              (Files{"app/session/normal_float_session.cpp", "base/clock/cpu_utilization.cpp",
                     "platform/parallel/thread_control.cpp", "platform/sysinfo/feature_check.cpp"}));
    // Where threads and memory are placed.
    EXPECT_EQ(files_with("os::active_processors("),
              (Files{"digits/bbp/bbp_session.cpp", "platform/memory/memory_calls.cpp",
                     "platform/sysinfo/core_numbers.cpp"}));
}

}  // namespace
