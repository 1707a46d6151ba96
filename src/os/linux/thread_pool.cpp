// A pool of the shape that other systems bring along. A submit adds a thread when all are busy; nobody ever
// waits for work that has not started, so the number of threads decides the speed alone: the work gets done
// with any.
#include "os/thread_pool.h"

#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <new>
#include <thread>

#include "os/crash_handler.h"
#include "os/spin_wait.h"

namespace trel::os {

class PoolWork {
  public:
    PoolWork(WorkPool& pool, void (*run)(void*), void* argument)
        : pool_(pool), run_(run), argument_(argument) {}

    WorkPool& pool() const { return pool_; }

  private:
    friend class WorkPool;
    enum State : u32 { idle, queued, running, awaited, finished };

    WorkPool& pool_;
    void (*const run_)(void*);
    void* const argument_;
    PoolWork* before_ = nullptr;
    PoolWork* after_ = nullptr;
    std::atomic<u32> state_{idle};
    std::mutex mutex_;
    std::condition_variable wake_;
};

class WorkPool {
  public:
    explicit WorkPool(u64 most_threads) : most_threads_(most_threads) {}

    void submit(PoolWork& work) {
        bool wake = false;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            work.state_.store(PoolWork::queued, std::memory_order_relaxed);
            append(work);
            if (spinning_ + sleeping_ + starting_ < length_ && threads_ < most_threads_) {
                start_thread();
            } else {
                wake = sleeping_ > 0 && spinning_ + starting_ < length_;
            }
        }
        if (wake) wake_.notify_one();
    }

    void wait(PoolWork& work) {
        bool mine = false;
        if (work.state_.load(std::memory_order_acquire) == PoolWork::queued) {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (work.state_.load(std::memory_order_relaxed) == PoolWork::queued) {
                remove(work);
                mine = true;
            }
        }
        if (mine) {
            work.run_(work.argument_);
            work.state_.store(PoolWork::idle, std::memory_order_relaxed);
            return;
        }
        SpinWait spin;
        u32 state;
        while ((state = work.state_.load(std::memory_order_acquire)) == PoolWork::running) {
            if (spin.once()) continue;
            if (!work.state_.compare_exchange_strong(state, PoolWork::awaited, std::memory_order_acq_rel))
                continue;
            std::unique_lock<std::mutex> lock(work.mutex_);
            work.wake_.wait(
                lock, [&] { return work.state_.load(std::memory_order_acquire) == PoolWork::finished; });
        }
        work.state_.store(PoolWork::idle, std::memory_order_relaxed);
    }

  private:
    void append(PoolWork& work) {
        work.before_ = last_;
        work.after_ = nullptr;
        (last_ ? last_->after_ : first_) = &work;
        last_ = &work;
        length_.store(length_ + 1, std::memory_order_relaxed);
    }

    void remove(PoolWork& work) {
        (work.before_ ? work.before_->after_ : first_) = work.after_;
        (work.after_ ? work.after_->before_ : last_) = work.before_;
        length_.store(length_ - 1, std::memory_order_relaxed);
    }

    void start_thread() {
        try {
            std::thread([this] { run_thread(); }).detach();
        } catch (const std::exception&) {
            return;  // no thread or no memory: the work is taken back by its owner
        }
        threads_++;
        starting_++;
    }

    void run_thread() {
        use_crash_stack();
        std::unique_lock<std::mutex> lock(mutex_);
        starting_--;
        while (true) {
            if (first_ == nullptr) {
                spinning_++;
                lock.unlock();
                SpinWait spin;
                while (length_.load(std::memory_order_relaxed) == 0 && spin.once()) {
                }
                lock.lock();
                spinning_--;
                if (first_ == nullptr) {
                    sleeping_++;
                    wake_.wait(lock, [this] { return first_ != nullptr; });
                    sleeping_--;
                }
            }
            PoolWork& work = *first_;
            remove(work);
            work.state_.store(PoolWork::running, std::memory_order_relaxed);
            lock.unlock();
            work.run_(work.argument_);
            finish(work);
            lock.lock();
        }
    }

    static void finish(PoolWork& work) {
        // An owner that does not sleep leaves when it sees the state; the work may be gone then.
        u32 running = PoolWork::running;
        if (work.state_.compare_exchange_strong(running, PoolWork::finished, std::memory_order_acq_rel))
            return;
        const std::lock_guard<std::mutex> lock(work.mutex_);
        work.state_.store(PoolWork::finished, std::memory_order_release);
        work.wake_.notify_one();
    }

    const u64 most_threads_;
    std::mutex mutex_;
    std::condition_variable wake_;
    PoolWork* first_ = nullptr;
    PoolWork* last_ = nullptr;
    std::atomic<u64> length_{0};  // changed under the mutex
    u64 threads_ = 0;
    u64 starting_ = 0;  // created, not yet in their loop
    u64 spinning_ = 0;
    u64 sleeping_ = 0;
};

namespace {

// More than any machine has use for; what comes on top runs in the threads that wait for it.
constexpr u64 kMostThreads = 512;

WorkPool& pool_of_the_process() {
    static WorkPool& the_pool = make_work_pool(kMostThreads);
    return the_pool;
}

}  // namespace

// Never destroyed: its threads sleep in it until the process ends.
WorkPool& make_work_pool(u64 most_threads) {
    return *new WorkPool(most_threads);
}

PoolWork* create_pool_work(void (*run)(void*), void* argument) noexcept {
    try {
        return create_pool_work(pool_of_the_process(), run, argument);
    } catch (const std::bad_alloc&) {
        return nullptr;  // no memory for the pool itself
    }
}

PoolWork* create_pool_work(WorkPool& pool, void (*run)(void*), void* argument) noexcept {
    return new (std::nothrow) PoolWork(pool, run, argument);
}

void submit_pool_work(PoolWork* work) {
    work->pool().submit(*work);
}

void wait_pool_work(PoolWork* work) {
    work->pool().wait(*work);
}

void close_pool_work(PoolWork* work) noexcept {
    delete work;
}

}  // namespace trel::os
