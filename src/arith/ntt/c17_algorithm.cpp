#include "arith/ntt/c17_algorithm.h"

#include <algorithm>
#include <vector>

#include "arith/ntt/c17_plan.h"
#include "arith/ntt/c17_transform.h"
#include "platform/memory/aligned_buffer.h"

namespace trel {
namespace {

u32 max_log_radix(Isa isa) {
    return (isa == Isa::avx512 ? avx512::c17_pass_kernels : avx2::c17_pass_kernels).max_log_radix;
}

// The largest sizes of a list's records up to each of them: a product may meet smaller ones on its way.
std::vector<MultiplySizes> growing_sizes(std::span<const NttRecord> list, MultiplySizes largest) {
    std::vector<MultiplySizes> all;
    for (const NttRecord& record : list) {
        const C17Sizes sizes = c17_sizes(make_c17_plan(record, max_log_radix(active_isa())));
        MultiplySizes s;
        s.transform_data = sizes.data_bytes;
        s.transform_scratch = sizes.scratch_bytes;
        s.scratch = sizes.plain_bytes();
        largest.take_maximum(s);
        all.push_back(largest);
    }
    return all;
}

}  // namespace

MultiplySizes C17Algorithm::sizes(u64 words) const {
    const auto tuned_list = ntt_tuned_records(NttFamily::c17), list = ntt_general_records(NttFamily::c17);
    static const std::vector<MultiplySizes> tuned = growing_sizes(tuned_list, {});
    static const std::vector<MultiplySizes> general = growing_sizes(list, tuned.back());
    const NttRecord* const record = &find_ntt_record_for_words(NttFamily::c17, words);
    const bool is_tuned = tuned_list.data() <= record && record < tuned_list.data() + tuned_list.size();
    MultiplySizes s = is_tuned ? tuned[static_cast<u64>(record - tuned_list.data())]
                               : general[static_cast<u64>(record - list.data())];
    s.output = round_up_64(8 * words);
    return s;
}

void C17Algorithm::make_transform(TransformHolder& holder, u64 words) const {
    holder.emplace<C17Transform>(c17_setup(active_isa(), find_ntt_record_for_words(NttFamily::c17, words)));
}
void C17Algorithm::make_transform(TransformHolder& holder, u64 words, const MultiplyContext&) const {
    make_transform(holder, words);
}

const MultiplyAlgorithm& c17_algorithm() {
    static const C17Algorithm algorithm;
    return algorithm;
}

}  // namespace trel
