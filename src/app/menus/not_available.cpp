#include "app/menus/not_available.h"

#include "base/console/console.h"
#include "base/console/error_output.h"
#include "base/names/names.h"

namespace kalvor {

void not_available(const std::string& what) {
    throw NotAvailableException(what + " is not available in this version.");
}

std::optional<bool> leads_on(const std::function<bool()>& run) {
    try {
        return run();
    } catch (const NotAvailableException& e) {
        Console::print_problem(e.what());
        Console::new_line();
        return std::nullopt;
    }
}

}  // namespace kalvor
