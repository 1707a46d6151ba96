#include "app/menus/not_available.h"

#include "base/console/console.h"
#include "base/console/error_output.h"
#include "base/names/names.h"

namespace kalvor {

void not_available(const std::string& what) {
    throw NotAvailableException(what + " is not available in this version.");
}

bool leads_on(const std::function<void()>& run) {
    try {
        run();
        return true;
    } catch (const NotAvailableException& e) {
        Console::print_problem(e.what());
        Console::new_line();
        return false;
    }
}

}  // namespace kalvor
