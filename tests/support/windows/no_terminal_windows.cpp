#include <windows.h>

#include <cstdio>

#include "support/no_terminal.h"

namespace kalvor_test {

void leave_the_terminal() {
    DWORD mode = 0;
    if (!GetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), &mode)) return;
    const HANDLE nothing = CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                       OPEN_EXISTING, 0, nullptr);
    if (nothing == INVALID_HANDLE_VALUE) return;
    SetStdHandle(STD_INPUT_HANDLE, nothing);
    std::freopen("NUL", "r", stdin);
}

}  // namespace kalvor_test
