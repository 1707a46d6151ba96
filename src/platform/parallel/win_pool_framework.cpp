#include "platform/parallel/win_pool_framework.h"

#include <memory>

#include "base/errors/exceptions.h"
#include "platform/parallel/callers_share.h"

namespace trel {
namespace {

constexpr u64 kItemsInFrame = 15;

struct Item {
    os::PoolWork* work = nullptr;
    CallersShare* share = nullptr;
    BasicAction* action = nullptr;
    u64 index = 0;

    static void run(void* self) {
        Item& item = *static_cast<Item*>(self);
        item.share->run(*item.action, item.index);
    }
};

// Waits for the submitted items, last first, also when the next one cannot be created.
class Submitted {
  public:
    explicit Submitted(Item* items) : items_(items) {}
    ~Submitted() { wait(); }
    Submitted(const Submitted&) = delete;
    Submitted& operator=(const Submitted&) = delete;

    void submit(WinPoolFramework::CreateWork create, CallersShare& share, BasicAction& action, u64 index) {
        Item& item = items_[n_];
        item = {nullptr, &share, &action, index};
        item.work = create(Item::run, &item);
        if (!item.work) {
            throw ResourceAcquisitionFailedException("CreateThreadpoolWork()",
                                                     "Unable to create thread pool work.");
        }
        os::submit_pool_work(item.work);
        n_++;
    }
    void wait() {
        while (n_ > 0) {
            Item& item = items_[--n_];
            os::wait_pool_work(item.work);
            os::close_pool_work(item.work);
        }
    }

  private:
    Item* const items_;
    u64 n_ = 0;
};

}  // namespace

void WinPoolFramework::run_flat(BasicAction& action, u64 begin, u64 end) {
    const u64 n_started = end - begin - 1;
    CallersShare share;
    Item in_frame[kItemsInFrame];
    std::unique_ptr<Item[]> on_heap;
    if (n_started > kItemsInFrame) on_heap = std::make_unique<Item[]>(n_started);
    Submitted submitted(on_heap ? on_heap.get() : in_frame);
    for (u64 i = begin; i < end - 1; i++) submitted.submit(create_, share, action, i);
    share.run_here(action, end - 1);
    submitted.wait();
    share.rethrow();
}

void WinPoolFramework::run_in_parallel(BasicAction& a, BasicAction& b) {
    CallersShare share;
    Item item;
    Submitted submitted(&item);
    submitted.submit(create_, share, b, 0);
    share.run_here(a, 0);
    submitted.wait();
    share.rethrow();
}

std::unique_ptr<BasicParallelizer> WinPoolConfig::make_framework() const {
    return std::make_unique<WinPoolFramework>(max_sequential_dispatch.value());
}

namespace {

const FrameworkRegistration<WinPoolConfig> g_registration;

}  // namespace
}  // namespace trel
