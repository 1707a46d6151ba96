#include <fcntl.h>
#include <unistd.h>

#include "support/no_terminal.h"

namespace kalvor_test {

void leave_the_terminal() {
    if (isatty(STDIN_FILENO) != 1) return;
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (nothing < 0) return;
    dup2(nothing, STDIN_FILENO);
    close(nothing);
}

}  // namespace kalvor_test
