// What a signal handler receives.
#pragma once

#include <signal.h>
#include <ucontext.h>

namespace trel::os {

struct CrashRecord {
    int signal;
    const siginfo_t* info;
    const ucontext_t* context;
};

}  // namespace trel::os
