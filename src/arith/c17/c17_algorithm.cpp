#include "arith/c17/c17_algorithm.h"

#include <algorithm>
#include <vector>

#include "arith/c17/c17_plan.h"
#include "arith/c17/c17_transform.h"
#include "arith/ntt/ntt_check.h"
#include "platform/memory/aligned_buffer.h"

namespace trel {
namespace {

u32 max_log_radix(Isa isa) {
    return TREL_TABLE(isa, c17_pass_kernels).max_log_radix;
}

// Sizes for each record of a family's lists: the largest of those up to it, for a product may meet smaller
// ones on its way.
class ListSizes {
  public:
    explicit ListSizes(NttFamily family)
        : family_(family),
          tuned_(growing(ntt_tuned_records(family), {})),
          general_(growing(ntt_general_records(family), tuned_.back())) {}

    const MultiplySizes& of(const NttRecord& record) const {
        const std::span<const NttRecord> tuned = ntt_tuned_records(family_);
        const bool is_tuned = tuned.data() <= &record && &record < tuned.data() + tuned.size();
        return is_tuned ? tuned_[static_cast<u64>(&record - tuned.data())]
                        : general_[static_cast<u64>(&record - ntt_general_records(family_).data())];
    }

  private:
    static std::vector<MultiplySizes> growing(std::span<const NttRecord> list, MultiplySizes largest) {
        std::vector<MultiplySizes> all;
        for (const NttRecord& record : list) {
            const C17Sizes sizes = c17_sizes(make_c17_plan(record, max_log_radix(active_isa())));
            MultiplySizes s;
            s.transform_data = sizes.data_bytes + Transform::kLabelBytes;
            s.transform_scratch = sizes.scratch_bytes;
            s.scratch = sizes.plain_bytes() + Transform::kLabelBytes;
            largest.take_maximum(s);
            all.push_back(largest);
        }
        return all;
    }

    NttFamily family_;
    std::vector<MultiplySizes> tuned_, general_;
};

const ListSizes& list_sizes(NttFamily family) {
    static const ListSizes c17(NttFamily::c17), vst(NttFamily::vst);
    return family == NttFamily::c17 ? c17 : vst;
}

}  // namespace

C17Algorithm::C17Algorithm(NttFamily family) : family_(family) {
    check_vector_family("C17Algorithm::C17Algorithm()", family);
}

MultiplySizes C17Algorithm::sizes(u64 words) const {
    MultiplySizes s = list_sizes(family_).of(find_ntt_record_for_words(family_, words));
    s.output = round_up_64(8 * words);
    return s;
}

void C17Algorithm::make_transform(TransformHolder& holder, u64 words, const MultiplyContext&) const {
    holder.emplace<C17Transform>(c17_setup(active_isa(), find_ntt_record_for_words(family_, words)), family_);
}

const MultiplyAlgorithm& c17_algorithm() {
    static const C17Algorithm algorithm(NttFamily::c17);
    return algorithm;
}
const MultiplyAlgorithm& vst_algorithm() {
    static const C17Algorithm algorithm(NttFamily::vst);
    return algorithm;
}

}  // namespace trel
