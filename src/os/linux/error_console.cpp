#include "os/error_console.h"

#include <unistd.h>

#include <cerrno>

#include "os/linux/text_color.h"

namespace trel::os {

bool stderr_is_terminal() {
    return isatty(STDERR_FILENO) == 1;
}

void write_stderr(std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        text.remove_prefix(static_cast<size_t>(written));
    }
}

void set_stderr_color(char letter) {
    write_stderr(color_escape(letter));
}

}  // namespace trel::os
