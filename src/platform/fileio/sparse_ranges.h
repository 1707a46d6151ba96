// Which parts of a file have been written.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "os/types.h"

namespace trel::FileIO {

// A set of positions kept as disjoint ranges [s, e) that do not touch. Adding costs O(log ranges), amortised.
class SparseRanges {
  public:
    void add(u64 begin, u64 end);
    bool covers(u64 begin, u64 end) const;
    bool overlaps(u64 begin, u64 end) const;
    // What of [begin, end) is missing, ascending.
    std::vector<std::pair<u64, u64>> gaps(u64 begin, u64 end) const;
    // "Sparse Region:" and a line "    [s, e)" for each range.
    std::vector<std::string> lines() const;

  private:
    std::map<u64, u64> end_of_;  // begin -> end
};

}  // namespace trel::FileIO
