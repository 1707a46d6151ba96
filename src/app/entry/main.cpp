// The process entry.
#include "app/entry/entry.h"
#include "os/process.h"

int main(int argc, char** argv) {
    return kalvor::run_program(trel::os::command_line(argc, argv));
}
