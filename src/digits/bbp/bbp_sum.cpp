#include "digits/bbp/bbp_sum.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

#include "base/clock/timer.h"
#include "base/errors/exceptions.h"
#include "digits/bbp/range_sum.h"

namespace kalvor::BBPv2 {

namespace {

constexpr u64 kSmallestChunk = 10000;
constexpr u64 kLargestChunk = 100000000;  // for each thread
constexpr auto kProgressInterval = std::chrono::milliseconds(100);
constexpr double kProgressSeconds = 0.1;

// What the workers of one sub-sum share.
class Sum {
  public:
    Sum(const SubSum& sub_sum, u64 n_terms, u64 n_limbs, const Workers& workers, RunMonitor& monitor)
        : sub_sum_(sub_sum), n_terms_(n_terms), workers_(workers), monitor_(monitor), total_(n_limbs) {}

    FractionFloat run(const std::function<void(u64)>& progress) {
        std::vector<std::thread> threads;
        try {
            if (workers_.caller_works) n_running_++;
            for (u64 i = n_running_; i < workers_.threads; i++) {
                {
                    const std::lock_guard<std::mutex> lock(mutex_);
                    n_running_++;
                }
                threads.emplace_back([this, i] { work(i, nullptr); });
            }
        } catch (...) {
            const std::lock_guard<std::mutex> lock(mutex_);
            n_running_--;
            fail(std::current_exception());
        }
        if (workers_.caller_works) work(0, &progress);
        try {
            show(progress);
        } catch (...) {
            const std::lock_guard<std::mutex> lock(mutex_);
            fail(std::current_exception());
        }
        for (std::thread& thread : threads) thread.join();
        if (monitor_.stop.requested()) throw RunStopped();
        if (failure_) std::rethrow_exception(failure_);
        return std::move(total_);
    }

  private:
    void show(const std::function<void(u64)>& progress) {
        std::unique_lock<std::mutex> lock(mutex_);
        for (bool running = true; running;) {
            running = !all_ended_.wait_for(lock, kProgressInterval, [this] { return n_running_ == 0; });
            lock.unlock();
            progress(n_done_);
            lock.lock();
        }
    }

    // With the mutex held. The first failure is the one that is reported.
    void fail(std::exception_ptr failure) {
        if (!failure_) failure_ = std::move(failure);
        stopped_ = true;
        n_left_begin_ = n_terms_;
    }

    void work(u64 index, const std::function<void(u64)>* progress) {
        std::exception_ptr failure;
        try {
            if (!workers_.processors.empty()) pin(index);
            sum_chunks(progress);
        } catch (const RunStopped&) {
        } catch (const Exception&) {
            failure = told();
        } catch (const std::exception&) {
            failure = told();
        } catch (...) {
            failure = std::make_exception_ptr(StringException(
                "BBPv2::sum_terms()", "An unknown exception was thrown from a worker thread."));
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        if (failure) fail(failure);
        if (--n_running_ == 0) all_ended_.notify_one();
    }
    // Inside a handler: what it has caught, and a warning of where that comes from.
    std::exception_ptr told() {
        if (!failure_told_.exchange(true)) {
            monitor_.warnings.add({{"An exception was thrown from a worker thread.", ' ', true}});
        }
        return std::current_exception();
    }

    void pin(u64 index) {
        const u32 processor = workers_.processors[index % workers_.processors.size()];
        if (!workers_.set_affinity({processor})) return;
        if (workers_.pinning_refused->exchange(true)) return;
        monitor_.warnings.add({{"Failed to set thread affinity.", ' ', true}});
    }

    void sum_chunks(const std::function<void(u64)>* progress) {
        WallTimer shown;
        const BbpKernels& kernels = workers_.kernels != nullptr ? *workers_.kernels : bbp_kernels();
        RangeSum sum(total_.limbs().size(), kernels);
        for (;;) {
            u64 begin, end;
            {
                const std::lock_guard<std::mutex> lock(mutex_);
                begin = n_left_begin_;
                if (begin == n_terms_) return;
                end = begin + chunk_size(n_terms_ - begin, workers_.threads);
                n_left_begin_ = end;
            }
            for (const RangePiece& piece : SummableRange(workers_.modes, sub_sum_, begin, end)) {
                warn_of_large_divisors(sub_sum_, piece, monitor_.warnings);
                sum.add(sub_sum_, piece.mode, piece.begin, piece.end, [&](u64 n) {
                    n_done_.fetch_add(n, std::memory_order_relaxed);
                    if (stopped_.load(std::memory_order_relaxed) || monitor_.stop.requested()) {
                        throw RunStopped();
                    }
                    if (progress == nullptr || shown.seconds() < kProgressSeconds) return;
                    (*progress)(n_done_);
                    shown.restart();
                });
            }
            const FractionFloat local = sum.take();
            const std::lock_guard<std::mutex> lock(mutex_);
            total_.add(local);
        }
    }

    const SubSum sub_sum_;
    const u64 n_terms_;
    const Workers& workers_;
    RunMonitor& monitor_;

    std::atomic<u64> n_done_{0};
    std::atomic<bool> stopped_{false};
    std::atomic<bool> failure_told_{false};
    std::mutex mutex_;  // of what follows
    std::condition_variable all_ended_;
    FractionFloat total_;
    u64 n_left_begin_ = 0;
    u64 n_running_ = 0;
    std::exception_ptr failure_;
};

}  // namespace

u64 chunk_size(u64 n_left, u64 n_threads) {
    if (n_left < kSmallestChunk) return n_left;
    const u64 share = std::max(n_left / (2 * n_threads) + 1, kSmallestChunk);
    return std::min(kLargestChunk * n_threads, std::min(n_left, share));
}

void warn_of_large_divisors(const SubSum& sub_sum, const RangePiece& piece, Warnings& warnings) {
    const ModeRow& mode = mode_row(piece.mode);
    if (sub_sum.divisor(piece.end - 1) > mode.limit) warnings.add({{mode.warning, ' ', true}});
}

FractionFloat sum_terms(const SubSum& sub_sum, u64 n_terms, u64 n_limbs, const Workers& workers,
                        RunMonitor& monitor, const std::function<void(u64)>& progress) {
    return Sum(sub_sum, n_terms, n_limbs, workers, monitor).run(progress);
}

}  // namespace kalvor::BBPv2
