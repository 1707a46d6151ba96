// Runs a function on a thread with a stack of one MiB, the smallest that the program accepts. Under the
// sanitizers, whose frames are several times as large, it has four.
#pragma once

#include <functional>

namespace kalvor_test {

// What the function throws is thrown again.
void run_on_small_stack(const std::function<void()>& function);

}  // namespace kalvor_test
