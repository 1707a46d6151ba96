// The process entry.
#include "app/entry/entry.h"

int main(int argc, char** argv) {
    return kalvor::run_program(argc, argv);
}
