#include "app/menus/can_start.h"

#include "app/session/memory_check.h"
#include "app/session/start_check.h"
#include "base/console/console.h"
#include "base/console/wrapped_line.h"
#include "base/errors/exceptions.h"

namespace kalvor {

bool can_start(const ComputeSettings& settings, const os::MemoryStatus& machine) {
    try {
        check_start(settings, machine);
        return true;
    } catch (const Exception& e) {
        e.print();
    } catch (const AddressSpaceExceeded& e) {
        Console::error_line(e.what());
        Console::wrapped_line(e.figures, 0, 'Y');
    }
    return false;
}

}  // namespace kalvor
