#include "base/errors/one_shot_warning.h"

#include <string>

#include "base/console/console.h"

namespace trel {

bool OneShotWarning::raise(std::string_view text) {
    if (raised_.exchange(true)) return false;
    Console::new_line();
    Console::print_line("Warning: " + std::string(text), 'Y');
    Console::print_line(last_line_);
    Console::set_color('w');
    return true;
}

}  // namespace trel
