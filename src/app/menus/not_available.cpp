#include "app/menus/not_available.h"

namespace kalvor {

void not_available(const std::string& what) {
    throw NotAvailableException(what + " is not available in this version.");
}

}  // namespace kalvor
