// Which parts of a file have been written.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "os/types.h"

namespace kalvor {

// A set of positions kept as disjoint ranges [s, e) that do not touch. Adding costs O(log ranges), amortised.
class WrittenRanges {
  public:
    void add(trel::u64 begin, trel::u64 end);
    bool covers(trel::u64 begin, trel::u64 end) const;
    // "Sparse Region:" and a line "    [s, e)" for each range.
    std::vector<std::string> lines() const;

  private:
    std::map<trel::u64, trel::u64> end_of_;  // begin -> end
};

}  // namespace kalvor
