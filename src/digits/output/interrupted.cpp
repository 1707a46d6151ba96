#include "digits/output/interrupted.h"

#include <chrono>
#include <thread>

#include "base/console/console.h"
#include "os/interrupt.h"
#include "platform/fileio/file_calls.h"
#include "platform/parallel/interruptible_run.h"

namespace kalvor {

namespace {

constexpr int kAttemptsToPrint = 20;
constexpr auto kBetweenAttempts = std::chrono::milliseconds(10);
// An interrupted run ends within two seconds, also one that does not stop on a terminal that does not print.
static_assert(trel::kGraceMilliseconds + kAttemptsToPrint * kBetweenAttempts.count() < 2000);

}  // namespace

std::string interrupted_text(const std::vector<std::string>& kept, const std::string& how_far) {
    if (kept.empty()) return "Interrupted. " + (how_far.empty() ? "Nothing was kept." : how_far);
    std::string text;
    for (const std::string& path : kept) text += (text.empty() ? "Kept: " : ", ") + path;
    return "Interrupted. " + how_far + (how_far.empty() ? "" : " ") + text;
}

void print_interrupted(const std::string& text) {
    // What the run was printing may not have ended its line.
    Console::set_color('w');
    Console::new_line();
    Console::print_line(text);
    Console::flush();
}

void end_busy_run(const std::string& text, Terminal& terminal) {
    // A thread that is stuck writing output that is not read is not waited for.
    for (int i = 0; i < kAttemptsToPrint; i++) {
        if (terminal.dismiss()) {
            print_interrupted(text);
            break;
        }
        std::this_thread::sleep_for(kBetweenAttempts);
    }
    os::end_as_interrupted();
}

void end_busy_run(const FileLedger& files, Terminal& terminal, const std::string& how_far) {
    for (const std::string& path : files.empty())
        (void)FileIO::FileCalls::of_this_machine().remove(path.c_str()).failed();
    end_busy_run(interrupted_text(files.kept(), how_far), terminal);
}

}  // namespace kalvor
