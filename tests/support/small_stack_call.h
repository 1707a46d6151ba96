// What both systems' run_on_small_stack() have in common.
#pragma once

#include <cstddef>
#include <exception>
#include <functional>

namespace kalvor_test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr std::size_t kSmallStack = std::size_t(4) << 20;
#else
inline constexpr std::size_t kSmallStack = std::size_t(1) << 20;
#endif

struct StackCall {
    const std::function<void()>& function;
    std::exception_ptr failure;

    void run() noexcept {
        try {
            function();
        } catch (...) {
            failure = std::current_exception();
        }
    }
};

}  // namespace kalvor_test
