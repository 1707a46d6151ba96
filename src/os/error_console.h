// The standard error: where the program says why it cannot go on. Everything above goes through base/console.
#pragma once

#include <string_view>

namespace trel::os {

bool stderr_is_terminal();
// Shown at once. A failure is ignored, because there is no place left to report it.
void write_stderr(std::string_view text);
// As set_stdout_color(), for this stream.
void set_stderr_color(char letter);

}  // namespace trel::os
