// Memory of whole pages between two that cannot be touched: a read or write beside it ends the test program.
#pragma once

#include "os/types.h"

namespace kalvor_test {

class GuardedPages {
  public:
    // At least `bytes` zeroed bytes, rounded up to whole pages. Throws std::runtime_error when the system
    // refuses.
    explicit GuardedPages(trel::u64 bytes);
    ~GuardedPages();
    GuardedPages(const GuardedPages&) = delete;
    GuardedPages& operator=(const GuardedPages&) = delete;

    trel::u64 size() const { return bytes_; }
    // The first bytes, behind the lower guard.
    char* begin() const { return begin_; }
    // Where the upper guard starts.
    char* end() const { return begin_ + bytes_; }

  private:
    trel::u64 bytes_;  // a multiple of the page
    char* begin_;
};

}  // namespace kalvor_test

// Tests use the name alone.
using kalvor_test::GuardedPages;
