// The program's spine: console options, start-up checks, the action, the one handler of everything that
// escapes, and the pause at the end.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/session/authorization_token.h"
#include "base/names/names.h"
#include "os/types.h"
#include "platform/sysinfo/processor_features.h"

namespace kalvor {

// Exit codes of the process.
enum ExitCode : int { kExitSuccess = 0, kExitFailure = 1 };

// Runs the body and returns the exit code: failure when it returns false. RunStopped ends the process as an
// interrupted one. Any other exception that escapes it prints its report, one of the standard library its
// message in red; anything else is reported as a crash and ends the process.
int run_reported(const std::function<bool()>& body);

// What the start-up asks of the system, in the order in which it does. Tests put calls of their own in place.
struct StartUpCalls {
    std::function<bool()> started_from_existing_console;
    std::function<std::optional<std::string>()> executable_path;
    std::function<void(u32 columns, u32 rows)> set_window_size;
    std::function<void()> install_crash_report;
    std::function<void(i32 level)> set_process_priority;
    std::function<ProcessorFeatures()> detect_features;
    std::function<std::vector<u32>()> processor_group_sizes;
    // Checks the program's own file. Empty: a build that is not sealed (integrity.h).
    std::function<void(const std::string& executable_path)> check_integrity;
    // After it: what the sessions of this process are shown.
    std::function<AuthorizationToken()> authorize = [] { return authorization(); };

    // Sessions of at most `size_limit` decimal digits.
    static constexpr u64 kSizeLimit = 1000000000000000;
    static AuthorizationToken authorization(u64 size_limit = kSizeLimit);

    // Without a check of the file.
    static const StartUpCalls& of_this_machine();
};

// Runs the program with the words of its command line (UTF-8, the program first) and returns the exit code.
// Without the executable's path it ends the process.
int run_program(const std::vector<std::string>& words,
                const StartUpCalls& calls = StartUpCalls::of_this_machine());

}  // namespace kalvor
