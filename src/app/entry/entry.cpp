#include "app/entry/entry.h"

#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "app/entry/action_table.h"
#include "app/entry/main_menu.h"
#include "app/entry/usage.h"
#include "app/menus/not_available.h"
#include "base/command_line/console_settings.h"
#include "base/command_line/option_table.h"
#include "base/command_line/refusal.h"
#include "base/console/console.h"
#include "base/console/error_output.h"
#include "base/errors/crash_report.h"
#include "base/errors/exceptions.h"
#include "base/errors/plain_words.h"
#include "base/errors/run_error.h"
#include "base/simd/isa.h"
#include "os/console.h"
#include "os/error.h"
#include "os/interrupt.h"
#include "os/process.h"
#include "platform/parallel/run_monitor.h"
#include "platform/sysinfo/feature_check.h"

namespace kalvor {

using CommandLine::ParameterList;

namespace {

bool run_main_body(ParameterList& parameters, const StartUpCalls& calls) {
    const CommandLine::ConsoleSettings& settings = CommandLine::console_settings();
    CommandLine::consume_console_options(parameters);
    if (answer_help(parameters)) return true;
    calls.install_crash_report();
    calls.set_process_priority(settings.process_priority);
    print_feature_check(calls.detect_features(), settings.skip_warnings);
    print_group_balance_check(calls.processor_group_sizes());
    if (calls.check_integrity) calls.check_integrity(settings.executable_path);
    if (const std::string error = isa_refusal(); !error.empty()) {
        throw CommandLine::RefusedException(CommandLine::with_way_out(error, "help"));
    }
    const AuthorizationToken token = calls.authorize();
    Console::set_color('w');
    return parameters.has_more() ? run_action(parameters, token) : run_main_menu(main_menu_actions(token));
}

// The sentence for the user, where there is one.
void print_words(const std::string& words) {
    if (!words.empty()) Console::error_line(words);
}

// A run whose results did not reach the user is not a success. A reader that has closed its end of a pipe has
// seen what it wanted, so nothing is printed for it.
int shown_exit_code(int exit_code) {
    const os::OsError failure = Console::output_failed();
    if (!failure || exit_code != kExitSuccess) return exit_code;
    if (failure.category != os::ErrorCategory::disconnected) {
        Console::print_problem("What the program printed could not be shown in full: " +
                               os::system_error_text(failure.code) + ".");
    }
    return kExitFailure;
}

}  // namespace

int run_reported(const std::function<bool()>& body) {
    try {
        return body() ? kExitSuccess : kExitFailure;
    } catch (const Exception& e) {
        const Console::ErrorOutput errors;
        print_words(plain_words(e));
        e.print();
    } catch (const NotAvailableException& e) {
        Console::print_problem(e.what());
    } catch (const CommandLine::RefusedException& e) {
        Console::print_problem(e.what());
    } catch (const RunStopped&) {
        // Not an error, and the run has already printed its last line.
        Console::set_color('w');
        Console::flush();
        os::end_as_interrupted();
    } catch (const RunError& e) {
        e.print();
    } catch (const std::exception& e) {
        const Console::ErrorOutput errors;
        print_words(plain_words(e));
        Console::set_color('R');
        Console::labelled_line("Uncaught std exception", e.what(), ' ');
    } catch (...) {
        // An exception of a kind that has no report is a defect and counts as a crash.
        Console::flush();
        report_crash(nullptr);
        os::exit_process(kExitFailure);
    }
    return kExitFailure;
}

AuthorizationToken StartUpCalls::authorization(u64 size_limit) {
    return AuthorizationToken::issue(size_limit);
}

const StartUpCalls& StartUpCalls::of_this_machine() {
    static const StartUpCalls calls{os::started_from_existing_console,
                                    os::executable_path,
                                    os::set_window_size,
                                    trel::install_crash_report,
                                    [](i32 level) {
                                        const bool given =
                                            CommandLine::console_settings().process_priority_given;
                                        os::set_process_priority(level, !given);
                                    },
                                    [] { return trel::detect_features(); },
                                    trel::processor_group_sizes,
                                    {}};
    return calls;
}

int run_program(const std::vector<std::string>& words, const StartUpCalls& calls) {
    CommandLine::ConsoleSettings& settings = CommandLine::console_settings();
    settings.started_from_existing_console = calls.started_from_existing_console();
    const std::optional<std::string> path = calls.executable_path();
    if (!path) {
        Console::print_problem("Failed to retrieve path.");
        Console::fatal_exit(kExitFailure);
    }
    settings.executable_path = *path;
    settings.executable_directory = CommandLine::directory_of(*path);
    ParameterList parameters(words);
    if (!settings.started_from_existing_console) calls.set_window_size(80, 25);

    int exit_code = run_reported([&] { return run_main_body(parameters, calls); });
    Console::set_color('w');
    Console::new_line();
    if (CommandLine::pauses_at_exit(settings, exit_code)) Console::pause('w');
    Console::flush();
    return shown_exit_code(exit_code);
}

}  // namespace kalvor
