#include "support/small_stack.h"

#include <pthread.h>

#include <cstddef>
#include <exception>
#include <stdexcept>

#include "support/small_stack_call.h"

namespace kalvor_test {

void run_on_small_stack(const std::function<void()>& function) {
    StackCall call{function, nullptr};
    pthread_attr_t attributes;
    pthread_t thread;
    pthread_attr_init(&attributes);
    const bool started = pthread_attr_setstacksize(&attributes, kSmallStack) == 0 &&
                         pthread_create(
                             &thread, &attributes,
                             [](void* data) -> void* {
                                 static_cast<StackCall*>(data)->run();
                                 return nullptr;
                             },
                             &call) == 0;
    pthread_attr_destroy(&attributes);
    if (!started) throw std::runtime_error("A thread with a small stack cannot be started.");
    pthread_join(thread, nullptr);
    if (call.failure) std::rethrow_exception(call.failure);
}

}  // namespace kalvor_test
