#include "app/session/console_run.h"

#include "app/session/normal_float_session_b.h"
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

void run_on_console(ComputeSettings settings) {
    LinearConsoleNode console(kLineWidth, kRefreshSeconds);
    RunEnvironment environment;
    environment.include_pii = CommandLine::console_settings().include_pii;
    NormalFloatSessionB session(std::move(settings), console, &console, std::move(environment));
    if (!run_interruptible(
            session.monitor(), [&] { session.run(); }, [&] { end_busy_run(session.files(), console); }))
        return;
    print_interrupted(interrupted_text(session.files().kept()));
    throw RunStopped();
}

}  // namespace kalvor
