#include "platform/cilk/work_stealing_pool.h"

#include <exception>
#include <new>

#include "os/cpu.h"
#include "os/crash_handler.h"
#include "os/spin_wait.h"

namespace trel {

// A range put aside, in the frame of the thread that put it there.
struct WorkStealingPool::Piece {
    Body body;
    void* data;
    u64 low;
    u64 high;
    u64 grain;
    Worker* owner = nullptr;
    Piece* older = nullptr;
    Piece* newer = nullptr;
    std::atomic<bool> finished{false};  // set by the thief
};

struct alignas(64) WorkStealingPool::Worker {
    explicit Worker(WorkStealingPool& pool) : pool(pool), random(reinterpret_cast<u64>(this) >> 6 | 1) {}

    void push(Piece& piece) {
        const std::lock_guard<os::Mutex> lock(deque);
        piece.owner = this;
        piece.older = newest;
        (newest ? newest->newer : oldest) = &piece;
        newest = &piece;
        length.store(length + 1);
    }
    // Takes the piece back; it is the newest one unless it was stolen.
    bool pop(Piece& piece) {
        const std::lock_guard<os::Mutex> lock(deque);
        if (newest != &piece) return false;
        newest = piece.older;
        (newest ? newest->newer : oldest) = nullptr;
        length.store(length - 1);
        return true;
    }
    Piece* take_oldest() {
        if (length.load() == 0) return nullptr;
        const std::lock_guard<os::Mutex> lock(deque);
        Piece* const piece = oldest;
        if (!piece) return nullptr;
        oldest = piece->newer;
        (oldest ? oldest->older : newest) = nullptr;
        length.store(length - 1);
        return piece;
    }
    // False when it is not asleep.
    bool wake() {
        if (!asleep.exchange(false)) return false;
        const std::lock_guard<os::Mutex> lock(bed);
        woken = true;
        wake_up.notify_one();
        return true;
    }
    u64 next_random() {
        random ^= random << 13;
        random ^= random >> 7;
        random ^= random << 17;
        return random;
    }

    WorkStealingPool& pool;
    os::Mutex deque;
    Piece* oldest = nullptr;
    Piece* newest = nullptr;
    std::atomic<u64> length{0};  // changed under the mutex
    u64 random;
    u64 nested = 0;  // stolen pieces on the stack
    os::Mutex bed;
    os::ConditionVariable wake_up;
    bool woken = false;
    std::atomic<bool> asleep{false};
};

namespace {

// The worker that the thread is at the moment; of the pool whose loop it is in.
thread_local void* t_worker = nullptr;

}  // namespace

WorkStealingPool::WorkStealingPool(u64 workers)
    : workers_(workers),
      slot_count_(kGuests + workers - 1),
      slots_(new std::atomic<Worker*>[slot_count_]()) {}

WorkStealingPool::~WorkStealingPool() {
    ending_.store(true);
    // No loop is running, so nobody starts threads any more.
    for (u64 i = 0; i < started_.load(); i++) slots_[kGuests + i].load()->wake();
    for (std::thread& thread : threads_) thread.join();
}

void WorkStealingPool::run_loop(Body body, void* data, u64 low, u64 high, u64 grain) {
    if (low >= high) return;
    Piece all{body, data, low, high, grain};
    auto* const current = static_cast<Worker*>(t_worker);
    if (current && &current->pool == this) {
        run(*current, all);
        return;
    }
    Worker* const guest = workers_ == 1 ? nullptr : bind_guest();
    if (!guest) {
        for (u64 i = low; i < high; i += grain) body(data, i, high - i < grain ? high : i + grain);
        return;
    }
    void* const before = t_worker;
    t_worker = guest;
    run(*guest, all);
    t_worker = before;
    unbind_guest(*guest);
}

void WorkStealingPool::run(Worker& worker, Piece& piece) {
    const u64 n = piece.high - piece.low;
    if (n <= piece.grain) {
        piece.body(piece.data, piece.low, piece.high);
        return;
    }
    const u64 middle = piece.low + n / 2;
    Piece upper{piece.body, piece.data, middle, piece.high, piece.grain};
    worker.push(upper);
    call_for_help();
    Piece lower{piece.body, piece.data, piece.low, middle, piece.grain};
    run(worker, lower);
    if (worker.pop(upper)) {
        run(worker, upper);
    } else {
        wait_for(worker, upper);
    }
}

void WorkStealingPool::run_stolen(Worker& worker, Piece& piece) {
    worker.nested++;
    run(worker, piece);
    worker.nested--;
    // The piece is gone as soon as its owner sees that it has finished; the owner's worker stays.
    Worker& owner = *piece.owner;
    piece.finished.store(true);
    owner.wake();
}

void WorkStealingPool::wait_for(Worker& worker, const Piece& piece) {
    while (!piece.finished.load()) {
        const bool may_steal = worker.nested < kMostNested;
        if (may_steal) searching_.fetch_add(1);
        Piece* found = nullptr;
        os::SpinWait spin;
        while (!piece.finished.load()) {
            if (may_steal && (found = steal(worker))) break;
            if (!spin.once()) break;
        }
        // A worker that leaves the search with work passes the search on.
        if (may_steal && searching_.fetch_sub(1) == 1 && found && any_work()) call_for_help();
        if (found) {
            run_stolen(worker, *found);
        } else if (!piece.finished.load()) {
            sleep(worker, &piece);
        }
    }
}

WorkStealingPool::Piece* WorkStealingPool::steal(Worker& thief) {
    const u64 guests = guests_.load(std::memory_order_acquire);
    const u64 n = guests + started_.load(std::memory_order_acquire);
    if (n == 0) return nullptr;
    u64 i = thief.next_random() % n;
    for (u64 seen = 0; seen < n; seen++, i = i + 1 == n ? 0 : i + 1) {
        Worker* const victim =
            slots_[i < guests ? i : kGuests + (i - guests)].load(std::memory_order_acquire);
        if (victim == &thief) continue;
        if (Piece* const piece = victim->take_oldest()) return piece;
    }
    return nullptr;
}

bool WorkStealingPool::any_work() const {
    const u64 guests = guests_.load();
    for (u64 i = 0; i < guests; i++) {
        if (slots_[i].load()->length.load() != 0) return true;
    }
    const u64 started = started_.load();
    for (u64 i = 0; i < started; i++) {
        if (slots_[kGuests + i].load()->length.load() != 0) return true;
    }
    return false;
}

// There is work to steal. One searching thread is enough: it calls for the next one when it has found
// something.
void WorkStealingPool::call_for_help() {
    if (searching_.load() != 0) return;
    if (sleeping_.load() != 0) {
        const u64 started = started_.load();
        for (u64 i = 0; i < started; i++) {
            if (slots_[kGuests + i].load()->wake()) return;
        }
        const u64 guests = guests_.load();
        for (u64 i = 0; i < guests; i++) {
            if (slots_[i].load()->wake()) return;
        }
    }
    if (started_.load() < workers_ - 1) start_thread();
}

void WorkStealingPool::start_thread() {
    const std::lock_guard<os::Mutex> lock(growth_);
    const u64 i = started_.load();
    if (i >= workers_ - 1 || searching_.load() != 0) return;
    const size_t owned_before = owned_.size();
    searching_.fetch_add(1);
    try {
        owned_.push_back(std::make_unique<Worker>(*this));
        threads_.emplace_back([this, &its = *owned_.back()] { run_thread(its); });
    } catch (const std::exception&) {
        // No thread or no memory: the owner runs the work itself.
        owned_.resize(owned_before);
        searching_.fetch_sub(1);
        return;
    }
    slots_[kGuests + i].store(owned_.back().get(), std::memory_order_release);
    started_.store(i + 1);
}

void WorkStealingPool::run_thread(Worker& worker) {
    os::use_crash_stack();
    t_worker = &worker;
    // Counted as searching by the thread that created or woke it last.
    while (!ending_.load()) {
        Piece* found = nullptr;
        os::SpinWait spin;
        while (!(found = steal(worker)) && spin.once()) {
        }
        if (searching_.fetch_sub(1) == 1 && found && any_work()) call_for_help();
        if (found) {
            run_stolen(worker, *found);
        } else {
            sleep(worker, nullptr);
        }
        searching_.fetch_add(1);
    }
}

void WorkStealingPool::sleep(Worker& worker, const Piece* awaited) {
    // First announced, then looked around once more: work that is put aside from now on finds the sleeper.
    worker.asleep.store(true);
    sleeping_.fetch_add(1);
    if (!(awaited && awaited->finished.load()) && !ending_.load() &&
        !(worker.nested < kMostNested && any_work())) {
        std::unique_lock<os::Mutex> lock(worker.bed);
        worker.wake_up.wait(lock, [&] { return worker.woken; });
    }
    sleeping_.fetch_sub(1);
    worker.asleep.store(false);
    const std::lock_guard<os::Mutex> lock(worker.bed);
    worker.woken = false;
}

WorkStealingPool::Worker* WorkStealingPool::bind_guest() {
    const std::lock_guard<os::Mutex> lock(growth_);
    if (!free_guests_.empty()) {
        Worker* const guest = free_guests_.back();
        free_guests_.pop_back();
        return guest;
    }
    const u64 i = guests_.load();
    if (i >= kGuests) return nullptr;
    try {
        free_guests_.reserve(kGuests);
        owned_.push_back(std::make_unique<Worker>(*this));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    Worker* const guest = owned_.back().get();
    slots_[i].store(guest, std::memory_order_release);
    guests_.store(i + 1);
    return guest;
}

void WorkStealingPool::unbind_guest(Worker& guest) {
    const std::lock_guard<os::Mutex> lock(growth_);
    free_guests_.push_back(&guest);
}

}  // namespace trel
