// The process entry.
#include <string>

#include "app/entry/entry.h"
#include "app/entry/integrity.h"
#include "app/entry/stack_check.h"
#include "os/interrupt.h"
#include "os/process.h"

int main(int argc, char** argv) {
    trel::os::prepare_process();
    if (!kalvor::check_stack(trel::os::stack_limit())) return kalvor::kExitFailure;
    // Where no run takes care of them: in menus, at prompts, while something is loaded.
    const trel::os::InterruptWatch interrupts(
        [] {
            trel::os::leave_terminal(false);
            trel::os::end_as_interrupted();
        },
        trel::os::end_as_interrupted, 0);
    kalvor::StartUpCalls calls = kalvor::StartUpCalls::of_this_machine();
#ifdef KALVOR_SEALED
    calls.check_integrity = [](const std::string& path) {
        kalvor::check_integrity(path, trel::os::executable_file());
    };
#endif
    return kalvor::run_program(trel::os::command_line(argc, argv), calls);
}
