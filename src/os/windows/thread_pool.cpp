#include "os/thread_pool.h"

#include <windows.h>

#include <atomic>
#include <memory>
#include <new>

namespace trel::os {

class WorkPool {
  public:
    explicit WorkPool(DWORD most_threads) : pool_(CreateThreadpool(nullptr)) {
        InitializeThreadpoolEnvironment(&environment_);
        if (!pool_) return;  // the work goes to the pool of the process
        SetThreadpoolThreadMaximum(pool_, most_threads);
        SetThreadpoolCallbackPool(&environment_, pool_);
    }

    PTP_CALLBACK_ENVIRON environment() { return &environment_; }

  private:
    const PTP_POOL pool_;
    TP_CALLBACK_ENVIRON environment_;
};

class PoolWork {
  public:
    // Null: the pool of the process.
    PoolWork(WorkPool* pool, void (*run)(void*), void* argument)
        : run_(run),
          argument_(argument),
          work_(CreateThreadpoolWork(on_pool_thread, this, pool ? pool->environment() : nullptr)) {}
    // Work that is not under way is gone at once.
    ~PoolWork() {
        if (work_) CloseThreadpoolWork(work_);
    }
    PoolWork(const PoolWork&) = delete;
    PoolWork& operator=(const PoolWork&) = delete;

    bool created() const { return work_ != nullptr; }

    void submit() {
        queued_.store(true, std::memory_order_release);
        SubmitThreadpoolWork(work_);
    }

    void wait() {
        run_if_queued();
        // What the system has not begun has nothing left to do.
        constexpr BOOL kCancelPending = TRUE;
        WaitForThreadpoolWorkCallbacks(work_, kCancelPending);
    }

  private:
    static void CALLBACK on_pool_thread(PTP_CALLBACK_INSTANCE, void* self, PTP_WORK) {
        static_cast<PoolWork*>(self)->run_if_queued();
    }

    void run_if_queued() {
        if (queued_.exchange(false, std::memory_order_acq_rel)) run_(argument_);
    }

    void (*const run_)(void*);
    void* const argument_;
    std::atomic<bool> queued_{false};  // submitted and not begun
    PTP_WORK work_;
};

namespace {

PoolWork* create(WorkPool* pool, void (*run)(void*), void* argument) noexcept {
    std::unique_ptr<PoolWork> work(new (std::nothrow) PoolWork(pool, run, argument));
    return work && work->created() ? work.release() : nullptr;
}

}  // namespace

PoolWork* create_pool_work(void (*run)(void*), void* argument) noexcept {
    return create(nullptr, run, argument);
}

PoolWork* create_pool_work(WorkPool& pool, void (*run)(void*), void* argument) noexcept {
    return create(&pool, run, argument);
}

WorkPool& make_work_pool(u64 most_threads) {
    return *new WorkPool(static_cast<DWORD>(most_threads));
}

void submit_pool_work(PoolWork* work) {
    work->submit();
}

void wait_pool_work(PoolWork* work) {
    work->wait();
}

void close_pool_work(PoolWork* work) noexcept {
    delete work;
}

}  // namespace trel::os
