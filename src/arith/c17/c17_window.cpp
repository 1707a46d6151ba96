#include "arith/c17/c17_window.h"

#include <algorithm>
#include <cstring>

namespace trel {

C17Window::C17Window(u32 a, Word* T, u64 skip, u64 total)
    : a_(a),
      group_words_(c17_group_words(a)),
      T_(T),
      skip_(skip),
      total_(total),
      first_(0),
      end_(0),
      below_{} {
    if (total <= skip) return;
    first_ = skip / group_words_;
    if (first_ != 0) first_--;
    end_ = (total + group_words_ - 1) / group_words_;
}

u64 C17Window::inside(u64 group, u64 n, Word** out) const {
    const u64 word = group * group_words_;
    if (word < skip_ || word >= total_) return 0;
    *out = T_ + (word - skip_);
    return std::min(n, (total_ - word) / group_words_);
}

void C17Window::put(u64 group, const Word* words, RingResidue& lost) {
    const u64 word = group * group_words_;
    u64 i = 0;
    for (; i < group_words_ && word + i < total_; i++) *place(word + i) = words[i];
    lost.add(words + i, group_words_ - i, i);
}

void C17Window::add(u64 group, const Word* words, RingResidue& lost) {
    u64 word = group * group_words_;
    Word carry = 0;
    for (u64 i = 0; (i < group_words_ || carry != 0) && word < total_; i++, word++) {
        const Word addend = i < group_words_ ? words[i] : 0;
        Word* const p = place(word);
        const Word partial = *p + carry;
        const Word sum = partial + addend;
        carry = (partial < carry) + (sum < addend);
        *p = sum;
    }
    const u64 i = word - group * group_words_;
    if (i < group_words_) lost.add(words + i, group_words_ - i, i);
    lost.add(u128(carry), i);
}

bool C17Window::decided() const {
    return first_ == 0 || c17_carry_is_decided(a_, below_);
}

bool C17Window::carry_runs_through() const {
    return std::all_of(below_, below_ + group_words_, [](Word w) { return w == ~Word(0); });
}

}  // namespace trel
