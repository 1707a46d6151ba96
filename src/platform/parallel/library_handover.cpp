#include "platform/parallel/library_handover.h"

namespace trel {

#ifdef TREL_THREAD_SANITIZER

LibraryHandover::LibraryHandover() {
    edge_.store(0, std::memory_order_release);
}

void LibraryHandover::task_begins() {
    (void)edge_.load(std::memory_order_acquire);
}

void LibraryHandover::task_ends() {
    edge_.fetch_add(1, std::memory_order_release);
}

void LibraryHandover::all_have_ended() {
    (void)edge_.load(std::memory_order_acquire);
}

#endif

}  // namespace trel
