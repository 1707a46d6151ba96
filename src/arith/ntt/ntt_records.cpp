#include "arith/ntt/ntt_records.h"

#include <algorithm>
#include <array>
#include <vector>

#include "arith/ntt/ntt_prime_sets.h"
#include "base/errors/exceptions.h"

namespace trel {
namespace {

constexpr NttFamilyConstants kConstants[] = {
    {"N32", 31, 16, 4, 9, 2415919104},
    {"C17", 48, 24, 7, 11, 356241767399424},
    {"N64", 63, 32, 5, 11, 0x3800000000000000},
    {"VST", 48, 24, 7, 11, 356241767399424},
};
// the shortest power of two that a record has
constexpr u32 kMinExponent = 8;

struct Candidate {
    NttRecord record;
    u64 capacity;
    u64 work;  // residues of a transform
};

// Records are measured by the residues they transform: a record stays unless one of at least its capacity has
// fewer.
std::vector<NttRecord> best_of(std::vector<Candidate> candidates) {
    std::sort(candidates.begin(), candidates.end(), [](const Candidate& x, const Candidate& y) {
        return x.capacity != y.capacity ? x.capacity > y.capacity : x.work < y.work;
    });
    std::vector<NttRecord> records;
    u64 least = ~u64(0);
    for (const Candidate& c : candidates) {
        if (c.work >= least) continue;
        least = c.work;
        records.push_back(c.record);
    }
    std::reverse(records.begin(), records.end());
    return records;
}

// The best of all records of a family with at least `min_points` points and a capacity in a range.
std::vector<NttRecord> best_records(NttFamily family, u64 min_points, u64 min_bits, u64 max_bits) {
    const NttFamilyConstants& constants = ntt_constants(family);
    std::vector<Candidate> candidates;
    for (u32 a = constants.min_a; a <= constants.max_a; a++) {
        for (const u32 b : {1, 3, 5, 7}) {
            const u32 last = ntt_max_exponent(family, a, b);
            for (u32 c = kMinExponent; c <= last; c++) {
                const NttRecord r{static_cast<u8>(a), static_cast<u8>(b), static_cast<u8>(c), 0, 0, 0};
                const u64 capacity = ntt_capacity_bits(family, r);
                if (r.points() >= min_points && capacity >= min_bits && capacity <= max_bits) {
                    candidates.push_back({r, capacity, a * r.points()});
                }
            }
        }
    }
    return best_of(std::move(candidates));
}

// Blocking hints of a tuned record: the lengths alone decide, except for the first record of a length factor
// and the largest of all.
void set_hints(NttRecord& r, u64 capacity) {
    constexpr u8 kHints[][3] = {{5, 3, 6},   {5, 4, 6},   {6, 4, 6},  {6, 5, 6}, {6, 6, 7},
                                {6, 7, 7},   {7, 7, 8},   {7, 8, 8},  {7, 9, 9}, {7, 10, 9},
                                {7, 11, 10}, {8, 11, 10}, {8, 11, 11}};
    const u8* hints = kHints[std::min<u64>(r.c - kMinExponent, std::size(kHints) - 1)];
    constexpr u8 kFirst[] = {6, 4, 8}, kFirst32[] = {7, 4, 8}, kFirst3[] = {5, 8, 8}, kLast[] = {6, 7, 8};
    if (capacity == 131072) hints = kFirst32;
    if (capacity == 147456) hints = kFirst;
    if (capacity == 258048) hints = kFirst3;
    if (capacity == 10066329600) hints = kLast;
    r.d = hints[0];
    r.e = hints[1];
    r.f = hints[2];
}

std::vector<NttRecord> tuned_of(NttFamily family, u64 min_points, u64 min_bits, u64 max_bits, u64 count) {
    std::vector<NttRecord> records;
    for (NttRecord r : best_records(family, min_points, min_bits, max_bits)) {
        if (r.b == 7 || records.size() == count) continue;
        set_hints(r, ntt_capacity_bits(family, r));
        records.push_back(r);
    }
    return records;
}

// VST's tuned list: the one of C17 without the eight records that save least, which are those whose next
// neighbour is nearest.
std::vector<NttRecord> tuned_vst() {
    constexpr u64 kRecords = 137;
    std::vector<NttRecord> records(ntt_tuned_records(NttFamily::c17).begin(),
                                   ntt_tuned_records(NttFamily::c17).end());
    const auto gap = [&](u64 i) {
        return static_cast<double>(ntt_capacity_bits(NttFamily::vst, records[i + 1])) /
               static_cast<double>(ntt_capacity_bits(NttFamily::vst, records[i]));
    };
    while (records.size() > kRecords) {
        u64 least = 0;
        for (u64 i = 1; i + 1 < records.size(); i++) {
            if (gap(i) < gap(least)) least = i;
        }
        records.erase(records.begin() + static_cast<std::ptrdiff_t>(least));
    }
    return records;
}

}  // namespace

const NttFamilyConstants& ntt_constants(NttFamily family) {
    return kConstants[static_cast<u64>(family)];
}

u64 ntt_capacity_bits(NttFamily family, const NttRecord& record) {
    return ntt_point_bits(family, record.a) * record.points();
}

std::span<const NttRecord> ntt_tuned_records(NttFamily family) {
    static const std::vector<NttRecord> n32 = tuned_of(NttFamily::n32, 2048, 131072, ~u64(0), 83);
    static const std::vector<NttRecord> c17 = tuned_of(NttFamily::c17, 1024, 0, 10066329600, ~u64(0));
    switch (family) {
        case NttFamily::n32:
            return n32;
        case NttFamily::c17:
            return c17;
        case NttFamily::n64:
            return {};
        case NttFamily::vst:
            break;
    }
    static const std::vector<NttRecord> vst = tuned_vst();
    return vst;
}

std::span<const NttRecord> ntt_general_records(NttFamily family) {
    if (family == NttFamily::n32) {
        static const std::vector<NttRecord> n32 = best_records(family, 8192, 524288, 2415919104);
        return n32;
    }
    if (family == NttFamily::n64) {
        static const std::vector<NttRecord> n64 = best_records(family, 4096, 0, 0x3800000000000000);
        return n64;
    }
    static const std::vector<NttRecord> c17 = [] {
        std::vector<NttRecord> records = best_records(NttFamily::c17, 4096, 0, ~u64(0));
        std::erase(records, NttRecord{7, 5, 10, 0, 0, 0});
        return records;
    }();
    return c17;
}

const NttRecord& find_ntt_record(NttFamily family, u64 bits) {
    for (const std::span<const NttRecord> list : {ntt_tuned_records(family), ntt_general_records(family)}) {
        const auto found = std::lower_bound(list.begin(), list.end(), bits, [&](const NttRecord& r, u64 n) {
            return ntt_capacity_bits(family, r) < n;
        });
        if (found != list.end()) return *found;
    }
    const NttFamilyConstants& constants = ntt_constants(family);
    throw LimitExceededException(constants.short_name, "Product is too large.", constants.max_bits, bits);
}

const NttRecord& find_ntt_record_for_words(NttFamily family, u64 words) {
    const NttFamilyConstants& constants = ntt_constants(family);
    const u64 limit = constants.max_bits / 64;
    if (words > limit) {
        throw LimitExceededException(constants.short_name, "Product is too large.", limit, words);
    }
    return find_ntt_record(family, 64 * words);
}

u64 ntt_largest_residues(NttFamily family, u64 words) {
    const NttRecord& last = find_ntt_record_for_words(family, words);
    const u64 capacity = ntt_capacity_bits(family, last);
    u64 residues = 0, below = 0;  // records up to `below` bits do not serve: an earlier list does
    for (const std::span<const NttRecord> list : {ntt_tuned_records(family), ntt_general_records(family)}) {
        for (const NttRecord& r : list) {
            const u64 bits = ntt_capacity_bits(family, r);
            if (bits > below && bits <= capacity) residues = std::max(residues, r.a * r.points());
        }
        if (!list.empty()) below = ntt_capacity_bits(family, list.back());
    }
    return residues;
}

}  // namespace trel
