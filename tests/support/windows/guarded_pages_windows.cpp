#include <windows.h>

#include <stdexcept>

#include "os/memory.h"
#include "support/guarded_pages.h"

using trel::u64;
namespace os = trel::os;

namespace kalvor_test {

GuardedPages::GuardedPages(u64 bytes) {
    const u64 page = os::page_size();
    bytes_ = (bytes + page - 1) / page * page;
    // Addresses that are reserved only cannot be touched.
    void* const all = VirtualAlloc(nullptr, bytes_ + 2 * page, MEM_RESERVE, PAGE_NOACCESS);
    if (!all) throw std::runtime_error("GuardedPages: VirtualAlloc(MEM_RESERVE)");
    begin_ = static_cast<char*>(all) + page;
    if (bytes_ != 0 && !VirtualAlloc(begin_, bytes_, MEM_COMMIT, PAGE_READWRITE)) {
        VirtualFree(all, 0, MEM_RELEASE);
        throw std::runtime_error("GuardedPages: VirtualAlloc(MEM_COMMIT)");
    }
}

GuardedPages::~GuardedPages() {
    VirtualFree(begin_ - os::page_size(), 0, MEM_RELEASE);
}

}  // namespace kalvor_test
