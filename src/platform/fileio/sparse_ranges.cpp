#include "platform/fileio/sparse_ranges.h"

#include <algorithm>
#include <iterator>

namespace trel::FileIO {

void SparseRanges::add(u64 begin, u64 end) {
    if (begin >= end) return;
    auto next = end_of_.upper_bound(begin);
    if (next != end_of_.begin() && std::prev(next)->second >= begin) {
        --next;
        begin = next->first;
    }
    while (next != end_of_.end() && next->first <= end) {
        end = std::max(end, next->second);
        next = end_of_.erase(next);
    }
    end_of_.emplace(begin, end);
}

bool SparseRanges::covers(u64 begin, u64 end) const {
    if (begin >= end) return true;
    auto next = end_of_.upper_bound(begin);
    return next != end_of_.begin() && std::prev(next)->second >= end;
}

bool SparseRanges::overlaps(u64 begin, u64 end) const {
    if (begin >= end) return false;
    const auto next = end_of_.lower_bound(begin);
    if (next != end_of_.end() && next->first < end) return true;
    return next != end_of_.begin() && std::prev(next)->second > begin;
}

std::vector<std::pair<u64, u64>> SparseRanges::gaps(u64 begin, u64 end) const {
    std::vector<std::pair<u64, u64>> gaps;
    for (const auto& [from, to] : end_of_) {
        if (begin >= end) break;
        if (from > begin) gaps.emplace_back(begin, std::min(from, end));
        begin = std::max(begin, to);
    }
    if (begin < end) gaps.emplace_back(begin, end);
    return gaps;
}

std::vector<std::string> SparseRanges::lines() const {
    std::vector<std::string> lines{"Sparse Region:"};
    for (const auto& [begin, end] : end_of_) {
        lines.push_back("    [" + std::to_string(begin) + ", " + std::to_string(end) + ")");
    }
    return lines;
}

}  // namespace trel::FileIO
