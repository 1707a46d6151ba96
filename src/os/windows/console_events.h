// The handler of console events that an InterruptWatch installs.
#pragma once

#include <windows.h>

namespace trel::os {

// The system calls it on a thread of its own. After Ctrl-C and Ctrl-Break it returns TRUE; after the others
// never, because the system ends the process when a handler of them returns.
BOOL WINAPI on_console_event(DWORD event);

}  // namespace trel::os
