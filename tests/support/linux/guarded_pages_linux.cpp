#include <sys/mman.h>

#include <stdexcept>

#include "os/memory.h"
#include "support/guarded_pages.h"

using trel::u64;
namespace os = trel::os;

namespace kalvor_test {

GuardedPages::GuardedPages(u64 bytes) {
    const u64 page = os::page_size();
    bytes_ = (bytes + page - 1) / page * page;
    void* const all = mmap(nullptr, bytes_ + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (all == MAP_FAILED) throw std::runtime_error("GuardedPages: mmap()");
    begin_ = static_cast<char*>(all) + page;
    if (bytes_ != 0 && mprotect(begin_, bytes_, PROT_READ | PROT_WRITE) != 0) {
        munmap(all, bytes_ + 2 * page);
        throw std::runtime_error("GuardedPages: mprotect()");
    }
}

GuardedPages::~GuardedPages() {
    const u64 page = os::page_size();
    munmap(begin_ - page, bytes_ + 2 * page);
}

}  // namespace kalvor_test
