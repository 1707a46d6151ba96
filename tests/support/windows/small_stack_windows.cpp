#include "support/small_stack.h"

#include <windows.h>

#include <exception>
#include <stdexcept>

#include "support/small_stack_call.h"

namespace kalvor_test {

namespace {

DWORD WINAPI run(void* data) {
    static_cast<StackCall*>(data)->run();
    return 0;
}

}  // namespace

void run_on_small_stack(const std::function<void()>& function) {
    StackCall call{function, nullptr};
    const HANDLE thread =
        CreateThread(nullptr, kSmallStack, run, &call, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    if (thread == nullptr) throw std::runtime_error("A thread with a small stack cannot be started.");
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    if (call.failure) std::rethrow_exception(call.failure);
}

}  // namespace kalvor_test
