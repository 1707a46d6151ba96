// The process entry.
#include "app/entry/entry.h"
#include "app/entry/integrity.h"
#include "os/process.h"

int main(int argc, char** argv) {
    kalvor::StartUpCalls calls = kalvor::start_up_calls();
#ifdef KALVOR_SEALED
    calls.check_integrity = kalvor::check_integrity;
#endif
    return kalvor::run_program(trel::os::command_line(argc, argv), calls);
}
