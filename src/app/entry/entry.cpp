#include "app/entry/entry.h"

#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "app/entry/action_table.h"
#include "app/entry/main_menu.h"
#include "app/menus/not_available.h"
#include "base/command_line/console_settings.h"
#include "base/console/console.h"
#include "base/errors/crash_report.h"
#include "base/errors/exceptions.h"
#include "os/console.h"
#include "os/process.h"
#include "platform/sysinfo/feature_check.h"

namespace kalvor {

namespace Console = trel::Console;
using trel::CommandLine::ParameterList;

namespace {

void run_main_body(ParameterList& parameters, const StartUpCalls& calls) {
    const trel::CommandLine::ConsoleSettings& settings = trel::CommandLine::console_settings();
    trel::CommandLine::consume_console_options(parameters);
    calls.install_crash_report();
    calls.set_process_priority(settings.process_priority);
    trel::print_feature_check(calls.detect_features(), settings.skip_warnings);
    trel::print_group_balance_check(calls.processor_group_sizes());
    if (calls.check_integrity) calls.check_integrity(settings.executable_path);
    Console::set_color('w');
    if (parameters.has_more()) {
        run_action(parameters);
    } else {
        run_main_menu();
    }
}

}  // namespace

int run_reported(const std::function<void()>& body) {
    try {
        body();
        return kExitSuccess;
    } catch (const trel::Exception& e) {
        e.print();
    } catch (const NotAvailableException& e) {
        Console::error_line(e.what());
    } catch (const std::exception& e) {
        Console::set_color('R');
        Console::labelled_line("Uncaught std exception", e.what(), ' ');
    } catch (...) {
        // Of a kind that has no report: a defect, and as good as a crash.
        Console::flush();
        trel::report_crash(nullptr);
        trel::os::exit_process(kExitFailure);
    }
    return kExitFailure;
}

StartUpCalls start_up_calls() {
    return {trel::os::started_from_existing_console,
            trel::os::executable_path,
            trel::os::set_window_size,
            trel::install_crash_report,
            [](trel::i32 level) {
                const bool given = trel::CommandLine::console_settings().process_priority_given;
                trel::os::set_process_priority(level, !given);
            },
            [] { return trel::detect_features(); },
            trel::processor_group_sizes,
            {}};
}

int run_program(const std::vector<std::string>& words, const StartUpCalls& calls) {
    trel::CommandLine::ConsoleSettings& settings = trel::CommandLine::console_settings();
    settings.started_from_existing_console = calls.started_from_existing_console();
    const std::optional<std::string> path = calls.executable_path();
    if (!path) {
        Console::error_line("Failed to retrieve path.");
        Console::fatal_exit(kExitFailure);
    }
    settings.executable_path = *path;
    settings.executable_directory = trel::CommandLine::directory_of(*path);
    ParameterList parameters(words);
    if (!settings.started_from_existing_console) calls.set_window_size(80, 25);

    const int exit_code = run_reported([&] { run_main_body(parameters, calls); });
    Console::set_color('w');
    Console::new_line();
    if (trel::CommandLine::pauses_at_exit(settings, exit_code)) Console::pause('w');
    Console::flush();
    return exit_code;
}

}  // namespace kalvor
