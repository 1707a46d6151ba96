// Work stealing: every thread has a deque of the work that it has put aside. It takes its own newest piece,
// so it runs what a serial program would run next; a thread without work takes the oldest, and largest, piece
// of another thread. (Blumofe and Leiserson, 1999; here the spawned half is what can be stolen, not the
// continuation, so that no stack has to change its thread.)
#pragma once

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "os/sync.h"
#include "os/types.h"

namespace trel {

class WorkStealingPool {
  public:
    using Body = void (*)(void* data, u64 low, u64 high);

    // workers >= 1 counts a thread that starts a loop; the others are created as work asks for them.
    explicit WorkStealingPool(u64 workers);
    ~WorkStealingPool();  // no loop may be running
    WorkStealingPool(const WorkStealingPool&) = delete;
    WorkStealingPool& operator=(const WorkStealingPool&) = delete;

    // Runs body over pieces of [low, high) of at most `grain` indices; returns when all have returned. Any
    // thread, also from inside a body.
    void run_loop(Body body, void* data, u64 low, u64 high, u64 grain);

    u64 workers() const { return workers_; }
    u64 threads_started() const { return started_.load(); }

  private:
    struct Piece;
    struct Worker;

    // Threads from outside that may be in a loop at the same time; further ones run their loops alone.
    static constexpr u64 kGuests = 256;
    // How deep a waiting thread piles up stolen pieces on its stack.
    static constexpr u64 kMostNested = 32;

    void run(Worker& worker, Piece& piece);
    void wait_for(Worker& worker, const Piece& piece);
    Piece* steal(Worker& thief);
    void run_stolen(Worker& worker, Piece& piece);
    void call_for_help();
    void start_thread();
    void run_thread(Worker& worker);
    // Sleeps until `awaited` (may be null) has finished, there may be work, or the pool ends.
    void sleep(Worker& worker, const Piece* awaited);
    bool any_work() const;
    Worker* bind_guest();  // null: the thread runs its loop alone
    void unbind_guest(Worker& guest);

    const u64 workers_;
    // Slots of threads: guests first, then the pool's own. Filled from both beginnings, never emptied before
    // the end.
    const u64 slot_count_;
    const std::unique_ptr<std::atomic<Worker*>[]> slots_;
    std::vector<std::unique_ptr<Worker>> owned_;
    std::vector<Worker*> free_guests_;
    std::vector<std::thread> threads_;
    os::Mutex growth_;
    std::atomic<u64> guests_{0};     // slots in use
    std::atomic<u64> started_{0};    // threads of the pool
    std::atomic<u64> searching_{0};  // awake and without work, or just created
    std::atomic<u64> sleeping_{0};
    std::atomic<bool> ending_{false};
};

}  // namespace trel
