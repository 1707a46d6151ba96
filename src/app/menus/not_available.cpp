#include "app/menus/not_available.h"

#include "base/errors/exceptions.h"

namespace kalvor {

void not_available(const std::string& function, const std::string& what) {
    throw trel::InvalidParametersException(function, what + " is not available in this version.");
}

}  // namespace kalvor
