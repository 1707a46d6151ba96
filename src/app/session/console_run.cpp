#include "app/session/console_run.h"

#include "app/session/normal_float_session_b.h"
#include "app/validation/user_name.h"
#include "base/command_line/console_settings.h"
#include "base/names/names.h"
#include "base/status/linear_console_node.h"
#include "digits/output/interrupted.h"
#include "platform/parallel/interruptible_run.h"

namespace kalvor {

namespace {

constexpr u64 kLineWidth = 79;
constexpr double kRefreshSeconds = 1.0;

}  // namespace

RunRecord run_on_console(ComputeSettings settings, const AuthorizationToken& token) {
    LinearConsoleNode console(kLineWidth, kRefreshSeconds);
    RunEnvironment environment;
    const CommandLine::ConsoleSettings& console_settings = CommandLine::console_settings();
    environment.include_pii = console_settings.include_pii;
    environment.colors = console_settings.colors_enabled;
    environment.user = user_line(console_settings.executable_directory);
    NormalFloatSessionB session(std::move(settings), token, console, &console, std::move(environment));
    RunRecord record;
    if (!run_interruptible(
            session.monitor(), [&] { record = session.run(); },
            [&] { end_busy_run(session.files(), console); }))
        return record;
    print_interrupted(interrupted_text(session.files().kept()));
    throw RunStopped();
}

}  // namespace kalvor
