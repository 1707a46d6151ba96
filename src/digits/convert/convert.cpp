#include "digits/convert/convert.h"

#include <algorithm>
#include <optional>

#include "arith/kernels/word_array.h"
#include "arith/multiply/dispatch.h"
#include "base/errors/exceptions.h"
#include "base/status/silent_status.h"
#include "base/status/status_scope.h"
#include "digits/convert/convert_work.h"
#include "digits/convert/direct_convert.h"
#include "digits/convert/overlap.h"
#include "digits/convert/remainder.h"
#include "platform/parallel/fork_join_catching.h"

namespace kalvor::CBRv2 {

namespace {

// Ranges below this many radix words do not show in the progress line.
constexpr u64 kStatusWords = 1 << 14;

class Converter {
  public:
    Converter(const ConvertPlanP& plan, const ReadyTableB& table, ConvertObserver* observer)
        : plan_(plan), table_(table), observer_(observer) {}

    // Writes the first n <= b 2^k radix words of f to out[n - 1] .. out[0] and returns the overlap word.
    // context.scratch: split_needs(k - 1, tds).
    Word convert_range(u64 k, const MultiplyContext& context, Status& status, Word* out, u64 n,
                       RadixFraction f, bool correction) const;
    // An output longer than the table reaches.
    Word peel(const MultiplyContext& context, Status& status, Word* out, u64 n, RadixFraction f,
              bool correction) const;

  private:
    struct Halves {
        Word lower_overlap;
        Word upper_overlap;
    };
    Halves convert_L(u64 l, const MultiplyContext& context, Status& status, Word* out, u64 n, u64 H,
                     RadixFraction upper, RadixFraction lower) const;
    Halves convert_T(u64 l, const MultiplyContext& context, Status& status, Word* out, u64 n, u64 H,
                     RadixFraction upper, RadixFraction lower) const;
    RadixFraction lower_fraction(u64 l, const MultiplyContext& context, RadixFraction f, u64 words,
                                 Word* g) const;
    RadixFraction advance(const MultiplyContext& context, RadixFraction f, u64 words, Word* g) const;
    void join(const ParallelContext& parallel, Word* upper, u64 n, Word expected, Word next, Word overlap,
              bool correction, const char* function) const;

    const ConvertPlanP& plan_;
    const ReadyTableB& table_;
    ConvertObserver* observer_;
};

// frac(f R^H), H = b 2^l, truncated to `words` words, in g[0 .. words].
RadixFraction Converter::lower_fraction(u64 l, const MultiplyContext& context, RadixFraction f, u64 words,
                                        Word* g) const {
    const ConvertPlanP::Level& level = plan_.level[l];
    if (f.L <= static_cast<u64>(level.power_exp)) return {};
    context.parallel.poll();
    const ReadyTableB::Entry& entry = table_[l];
    const RadixFraction r = RemainderFloatB::set_inverse_fmul(
        context, level, {entry.words, entry.n, *entry.transform, entry.data, entry.carried}, f, words, g);
    if (observer_ != nullptr && r.stored > 0) {
        observer_->product_done(l, g + (r.words - g), r.stored);
    }
    return r;
}

Converter::Halves Converter::convert_L(u64 l, const MultiplyContext& context, Status& status, Word* out,
                                       u64 n, u64 H, RadixFraction upper, RadixFraction lower) const {
    Halves r{};
    r.lower_overlap = convert_range(l, context, status, out, n - H, lower, false);
    r.upper_overlap = convert_range(l, context, status, out + (n - H), H, upper, false);
    return r;
}

// The halves write disjoint ranges and share only the input fraction, which neither writes.
Converter::Halves Converter::convert_T(u64 l, const MultiplyContext& context, Status& status, Word* out,
                                       u64 n, u64 H, RadixFraction upper, RadixFraction lower) const {
    Halves r{};
    const MemoryHalves memory(context.scratch);
    const u64 tds = context.parallel.tds;
    const MultiplyContext low = context.with_scratch(memory.first).with_tds((tds + 1) / 2);
    const MultiplyContext high = context.with_scratch(memory.second).with_tds(tds / 2);
    fork_join_catching(
        context.parallel,
        [&] {
            SilentStatus silent(status.work());
            r.lower_overlap = convert_range(l, low, silent, out, n - H, lower, false);
        },
        [&] {
            SilentStatus silent(status.work());
            r.upper_overlap = convert_range(l, high, silent, out + (n - H), H, upper, false);
        });
    return r;
}

Word Converter::convert_range(u64 k, const MultiplyContext& context, Status& status, Word* out, u64 n,
                              RadixFraction f, bool correction) const {
    // The largest level whose power splits the range.
    while (k > 0 && plan_.b << (k - 1) >= n) k--;
    if (k == 0) return convert_leaf(plan_.radix, out, n, f);
    const u64 l = k - 1;
    const u64 H = plan_.b << l;
    const u64 tds = context.parallel.tds;
    plan_.check_tds(tds);
    const u64 needed = plan_.split_needs(l, tds).bytes;
    if (context.scratch.size() < needed) {
        throw BufferTooSmallException("convertL()", context.scratch.size(), needed);
    }

    const bool parallel = plan_.forks(l, tds);
    std::optional<StatusFrame> frame;
    if (n >= kStatusWords) {
        frame.emplace(status, parallel ? " -> 2 x " : " -> 1 x ", H * kDigitsPerWord);
        frame->node().refresh();
    }
    Status& inner_status = frame ? frame->node() : null_status();

    f = f.top(plan_.length(n));
    MultiplyContext inner = context;
    Word* const g = carve_words(inner.scratch, plan_.level[l].lower_words + 1);
    const RadixFraction lower = lower_fraction(l, inner, f, plan_.length(n - H), g);
    const RadixFraction upper = f.top(plan_.level[l].input_words);
    Halves r = parallel ? convert_T(l, inner, status, out, n, H, upper, lower)
                        : convert_L(l, inner, inner_status, out, n, H, upper, lower);

    const char* const function = parallel ? "CBRv2::convert_T()" : "CBRv2::convert_L()";
    if (observer_ != nullptr) observer_->ranges_meet(out[n - H - 1], r.upper_overlap);
    const Word next = n - H >= 2 ? out[n - H - 2] : r.lower_overlap;
    join(context.parallel, out + (n - H), H, out[n - H - 1], next, r.upper_overlap, correction, function);
    if (const Work work = status.work(); work && n >= kStatusWords) {
        // Ranges that show have added their own.
        const auto shown = [](u64 words) { return words >= kStatusWords ? range_work(words) : 0; };
        work.add(range_work(n) - shown(n - H) - shown(H));
    }
    return r.lower_overlap;
}

// The upper range of n words and its overlap word meet the lower range, which begins with `expected` and
// `next`. correction: the overlap word is known to be one too small. It may also be one too small by its
// truncation when nearly nothing follows the expected word; when it is the last of R - 1, the words above are
// too small as well.
void Converter::join(const ParallelContext& parallel, Word* upper, u64 n, Word expected, Word next,
                     Word overlap, bool correction, const char* function) const {
    if (correction && ++overlap == plan_.radix) {
        add1(parallel, plan_.radix, upper, n);
        overlap = 0;
    }
    if (expected == overlap || (expected == overlap + 1 && next < overlap_slack(plan_.radix))) return;
    fixup(parallel, plan_.radix, expected, overlap, upper, n, function);
}

// frac(f R^H) for the top power and a fraction of any length, truncated to `words` words, in g[0 .. f.L): the
// sum of whole products of the power and pieces of f.
RadixFraction Converter::advance(const MultiplyContext& context, RadixFraction f, u64 words, Word* g) const {
    const u64 l = plan_.levels - 1;
    const ConvertPlanP::Level& level = plan_.level[l];
    const u64 e = static_cast<u64>(level.power_exp);
    if (f.L <= e) return {};
    const u64 q = f.L - e;
    const u64 stored = std::min(f.stored, q);
    const ReadyTableB::Entry& entry = table_[l];
    const Transform& transform = *entry.transform;
    AlignedBufferC scratch = context.scratch;
    void* const power = scratch.spawn(transform.data_bytes()).get();
    void* const work = scratch.spawn(transform.data_bytes()).get();
    void* const space = scratch.spawn(transform.scratch_bytes()).get();
    Word* const product = carve_words(scratch, level.held.product_words);
    transform.forward(context.parallel, power, entry.words, entry.n, space, entry.carried, true);

    std::fill_n(g, q, Word(0));
    const u64 block = level.held.product_words - entry.n;
    for (u64 i = 0; i < stored; i += block) {
        context.parallel.poll();
        const u64 length = std::min(block, stored - i);
        const u64 n = std::min(length + entry.n, q - i);
        transform.forward(context.parallel, work, f.words + i, length, space);
        transform.inverse(context.parallel, product, 0, n, work, work, power, space);
        Word carry = add_n(g + i, g + i, product, n);
        if (i + n < q) add_word_ip(g + i + n, q - i - n, carry);
    }
    if (observer_ != nullptr) observer_->product_done(l, g, q);
    return RadixFraction{g, q, q}.top(words);
}

// Takes pieces of H = b 2^(levels - 1) words, the reach of the largest power, off the top until the rest is
// within the reach of one recursion. The overlaps are compared from the end, because a correction of a piece
// can change the first word of it.
Word Converter::peel(const MultiplyContext& context, Status& status, Word* out, u64 n, RadixFraction f,
                     bool correction) const {
    const u64 H = plan_.level[plan_.levels - 1].radix_words;
    MultiplyContext inner = context;
    f = f.top(plan_.length(n));
    Word* buffers[2];
    for (Word*& buffer : buffers) buffer = carve_words(inner.scratch, plan_.length(n));
    Word* const overlaps = carve_words(inner.scratch, n / H + 1);

    u64 pieces = 0;
    u64 left = n;
    while (left > plan_.top_words()) {
        const RadixFraction piece = f.top(plan_.length(H));
        overlaps[pieces] = convert_range(plan_.levels, inner, status, out + (left - H), H, piece, false);
        f = advance(inner, f, plan_.length(left - H), buffers[pieces % 2]);
        left -= H;
        pieces++;
    }
    const Word last = convert_range(plan_.levels, inner, status, out, left, f, false);
    while (pieces-- > 0) {
        if (observer_ != nullptr) observer_->ranges_meet(out[left - 1], overlaps[pieces]);
        join(context.parallel, out + left, H, out[left - 1], out[left - 2], overlaps[pieces],
             correction && pieces == 0, "convertP()");
        left += H;
    }
    return last;
}

// Nothing but nines behind the last word: the value approaches a decimal from below, by its own error or by
// the conversion's. A fraction of nines without an end stays, there is no word above to take the carry.
void round_up(const ParallelContext& parallel, Word radix, Word overlap, Word* words, u64 n) {
    constexpr Word kSmallRadix = 1000000000;  // above it a word of nines is not a coincidence
    if (radix < kSmallRadix || overlap < radix - overlap_slack(radix)) return;
    if (std::all_of(words, words + n, [radix](Word w) { return w == radix - 1; })) return;
    add1(parallel, radix, words, n);
}

}  // namespace

void convert(const ConvertPlanP& plan, const MultiplyContext& context, Status& status, Word* radix_out,
             const BigFloat& x, const ConvertOptions& options) {
    const RadixFraction f = RadixFraction::of(x).top(plan.length(plan.n));
    if (plan.levels == 0) {
        return round_up(context.parallel, plan.radix, DirectConvertB::run(plan, status, radix_out, f),
                        radix_out, plan.n);
    }
    MultiplyContext inner = context.with_tds(std::min(context.parallel.tds, plan.tds));
    const AlignedBufferC memory = inner.scratch.spawn_words(plan.table_words);
    ReadyTableB table(plan);
    table.make_tables(inner, memory, status, options.observer);
    status.work().add(table_work(plan.n));

    const Converter converter(plan, table, options.observer);
    const Word overlap =
        plan.n <= plan.top_words()
            ? converter.convert_range(plan.levels, inner, status, radix_out, plan.n, f, options.correction)
            : converter.peel(inner, status, radix_out, plan.n, f, options.correction);
    round_up(context.parallel, plan.radix, overlap, radix_out, plan.n);
}

}  // namespace kalvor::CBRv2
