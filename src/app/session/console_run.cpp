#include "app/session/console_run.h"

#include <chrono>
#include <mutex>
#include <thread>

#include "app/session/normal_float_session_b.h"
#include "base/command_line/console_settings.h"
#include "base/console/console.h"
#include "base/names/names.h"
#include "base/status/linear_console_node.h"
#include "os/interrupt.h"
#include "platform/fileio/file_calls.h"

namespace kalvor {

namespace {

constexpr u64 kLineWidth = 79;
constexpr double kRefreshSeconds = 1.0;
// With what follows, an interrupted run ends within two seconds.
constexpr u32 kGraceMilliseconds = 1500;
constexpr int kAttemptsToPrint = 20;
constexpr auto kBetweenAttempts = std::chrono::milliseconds(10);

void print_interrupted(const std::vector<std::string>& kept) {
    // What the run was printing may not have ended its line.
    Console::set_color('w');
    Console::new_line();
    Console::print_line(interrupted_text(kept));
    Console::flush();
}

// On the thread of the interrupts, while the run is still busy: nothing that it uses is touched.
[[noreturn]] void end_busy_run(const FileLedger& files, Terminal& terminal) {
    for (const std::string& path : files.empty())
        (void)FileIO::FileCalls::of_this_machine().remove(path.c_str()).failed();
    // A thread that cannot get rid of its output, because nobody reads it, is not waited for.
    for (int i = 0; i < kAttemptsToPrint; i++) {
        if (terminal.dismiss()) {
            print_interrupted(files.kept());
            break;
        }
        std::this_thread::sleep_for(kBetweenAttempts);
    }
    os::end_as_interrupted();
}

}  // namespace

std::string interrupted_text(const std::vector<std::string>& kept) {
    if (kept.empty()) return "Interrupted. Nothing was kept.";
    std::string text;
    for (const std::string& path : kept) text += (text.empty() ? "Interrupted. Kept: " : ", ") + path;
    return text;
}

RunRecord run_on_console(ComputeSettings settings, const AuthorizationToken& token) {
    LinearConsoleNode console(kLineWidth, kRefreshSeconds);
    RunEnvironment environment;
    const CommandLine::ConsoleSettings& console_settings = CommandLine::console_settings();
    environment.include_pii = console_settings.include_pii;
    environment.colors = console_settings.colors_enabled;
    environment.user = user_line(console_settings.executable_directory);
    NormalFloatSessionB session(std::move(settings), token, console, &console, std::move(environment));
    RunRecord record;
    {
        const os::InterruptWatch watch([&] { session.request_stop(); },
                                       [&] { end_busy_run(session.files(), console); }, kGraceMilliseconds);
        try {
            record = session.run();
        } catch (const RunStopped&) {
        }
    }
    // Also when the interrupt came too late to stop anything: the exit code tells the caller of it.
    if (!session.stop_requested()) return record;
    print_interrupted(session.files().kept());
    throw RunStopped();
}

}  // namespace kalvor
