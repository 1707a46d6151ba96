#include "os/crash_handler.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>

#include "os/cpu.h"
#include "os/linux/crash_clock.h"
#include "os/linux/crash_record.h"
#include "os/linux/minidump.h"
#include "os/linux/text_color.h"

namespace trel::os {
namespace {

constexpr int kSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};

CrashReporter reporter = nullptr;

void on_signal(int signal, siginfo_t* info, void* context) {
    const int saved_errno = errno;
    const CrashRecord record{signal, info, static_cast<const ucontext_t*>(context)};
    reporter(&record);
    // What the system does with a crash comes next: the signal waits until this handler has returned.
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigaction(signal, &action, nullptr);
    syscall(SYS_tgkill, getpid(), syscall(SYS_gettid), signal);
    errno = saved_errno;
}

[[noreturn]] void on_terminate() {
    std::abort();
}

// ---- stacks for the handler

class CrashStack {
  public:
    ~CrashStack() {
        if (memory_ == nullptr) return;
        stack_t none{};
        none.ss_flags = SS_DISABLE;
        if (sigaltstack(&none, nullptr) == 0) munmap(memory_, bytes_);
    }
    void use() {
        if (memory_ != nullptr) return;
        // The system's part of a signal frame grows with the processor's registers.
        bytes_ = 65536 + getauxval(AT_MINSIGSTKSZ);
        bytes_ = (bytes_ + 4095) & ~size_t(4095);
        void* memory =
            mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
        if (memory == MAP_FAILED) return;
        stack_t stack{};
        stack.ss_sp = memory;
        stack.ss_size = bytes_;
        if (sigaltstack(&stack, nullptr) == 0) {
            memory_ = memory;
        } else {
            munmap(memory, bytes_);
        }
    }

  private:
    void* memory_ = nullptr;
    size_t bytes_ = 0;
};

thread_local CrashStack crash_stack;
CrashClock clock_at_crash;

}  // namespace

void install_crash_handler(CrashReporter new_reporter) {
    reporter = new_reporter;
    clock_at_crash.learn(unix_time());
    (void)active_processor_count();  // counted now, so that the dump only reads it
    use_crash_stack();
    struct sigaction action {};
    action.sa_sigaction = on_signal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    // A second fault on a thread that is reporting its first one ends the process without another report.
    sigfillset(&action.sa_mask);
    for (const int signal : kSignals) sigaction(signal, &action, nullptr);
    std::set_terminate(on_terminate);
}

void use_crash_stack() {
    crash_stack.use();
}

void crash_print(std::string_view text) noexcept {
    const auto write_all = [](const char* data, size_t size) {
        while (size > 0) {
            const ssize_t written = write(STDOUT_FILENO, data, size);
            if (written < 0 && errno == EINTR) continue;
            if (written <= 0) return;
            data += written;
            size -= static_cast<size_t>(written);
        }
    };
    // What the stream still holds is taken out without its lock: its owner may be the thread that crashed.
    char* const begin = stdout->_IO_write_base;
    char* const end = stdout->_IO_write_ptr;
    if (begin != nullptr && end > begin) {
        write_all(begin, static_cast<size_t>(end - begin));
        stdout->_IO_write_ptr = begin;
    }
    write_all(text.data(), text.size());
}

void crash_color(char letter) noexcept {
    crash_print(color_escape(letter));
}

LocalTime crash_local_time() noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return clock_at_crash.local_time(now.tv_sec);
}

DumpFile create_dump_file(const char* path) noexcept {
    const int handle = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (handle < 0) return {-1, static_cast<u32>(errno)};
    return {handle, 0};
}

u32 write_minidump(i64 handle, const CrashRecord* record) noexcept {
    if (record != nullptr) return write_minidump_file(static_cast<int>(handle), record, *record->context);
    // This frame stays while the dump is written, so its registers are as good as a crash's.
    static ucontext_t here;
    getcontext(&here);
    return write_minidump_file(static_cast<int>(handle), nullptr, here);
}

void close_dump_file(i64 handle) noexcept {
    close(static_cast<int>(handle));
}

void discard_dump_file(i64 handle, const char* path) noexcept {
    close_dump_file(handle);
    unlink(path);
}

}  // namespace trel::os
