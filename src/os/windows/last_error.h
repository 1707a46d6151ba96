// System error numbers -> OsError; private to this back end.
#pragma once

#include <windows.h>

#include "os/error.h"

namespace trel::os {

OsError error_of(DWORD system_error);

// The same category with the number that the C library gives to such an error, for the calls whose numbers
// the user knows as the C library's.
OsError c_error_of(DWORD system_error);

}  // namespace trel::os
