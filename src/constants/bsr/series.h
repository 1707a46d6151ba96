// What binary splitting knows of a series: its length, its sizes, its signs, and where to split a range of
// it.
//
// Terms are numbered from 1; the range [a, b) of the machinery sums the terms a + 1 .. b. Sizes are natural
// logarithms (nats); 64 ln 2 nats are a word. Read-only after construction, any thread.
#pragma once

#include <optional>

#include "arith/estimate/double_double.h"
#include "base/names/names.h"
#include "os/types.h"

namespace kalvor::BinarySplitting {

class Series {
  public:
    struct Parameters {
        u64 terms;               // N: the sum is over [first, N)
        u64 precision_words;     // of the sum
        u64 leaf_threshold;      // ranges of fewer terms are leaves; at least 2
        u64 growth_words;        // scratch words that a leaf takes per term
        bool alternating;        // terms are magnitudes, every second one is subtracted
        u64 first = 0;           // below N
        bool one_block = false;  // summed as one exact block; the needs of its tail are not asked for
    };

    explicit Series(const Parameters& parameters) : parameters_(parameters) {}
    virtual ~Series();

    u64 first() const { return parameters_.first; }
    u64 terms() const { return parameters_.terms; }
    u64 precision() const { return parameters_.precision_words; }
    u64 leaf_threshold() const { return parameters_.leaf_threshold; }
    u64 growth_words() const { return parameters_.growth_words; }
    bool alternating() const { return parameters_.alternating; }
    bool one_block() const { return parameters_.one_block; }
    // Words that a leaf takes beside its results, whichever it is.
    virtual u64 most_leaf_words() const { return 4 * growth_words() * leaf_threshold(); }

    // F(k): cumulative size of the largest result over the first k terms, increasing. It tells where blocks
    // end and ranges are split, and what the sum is announced with; memory is planned by log_largest().
    virtual double log_size_to(u64 k) const = 0;
    virtual DoubleDouble log_size_to_dd(u64 k) const = 0;
    double log_size(u64 a, u64 b) const { return log_size_to(b) - log_size_to(a); }
    DoubleDouble log_size_dd(u64 a, u64 b) const { return log_size_to_dd(b) - log_size_to_dd(a); }

    // The same as log_size(), from what resolves it.
    double log_size_resolved(u64 a, u64 b) const;

    // Size of the largest number of a range, never below the truth. By default F.
    virtual double log_largest(u64 a, u64 b) const { return log_size_resolved(a, b); }

    // Nats of precision that the sum's tail from index k on still needs: decreasing, within [0, full
    // precision]. InvalidParametersException "Not Implemented" where a series does not know.
    virtual DoubleDouble log_remaining(u64 k) const;
    // For series whose terms have signs of their own, so that they may cancel: ln of a bound of all terms and
    // of their sum. The precision, and with it log_remaining(), is relative to that. None: to the sum itself.
    virtual std::optional<double> log_scale() const { return {}; }
    // log_remaining() rounded up to words.
    u64 precision_words(u64 k) const;

    // An upper bound of the words of a range's largest result.
    u64 plan_words(u64 a, u64 b) const;
    // The words of the range's P, for status lines.
    u64 output_words(u64 a, u64 b) const;

    // The smallest m in (a, b] with F(m) >= (F(a) + F(b)) / 2: halves of equal size. m = b is possible for a
    // few terms.
    u64 split_point(u64 a, u64 b) const;
    // Where a range is split: in the middle up to 100 terms, then at split_point.
    u64 split(u64 a, u64 b) const { return b - a > 100 ? split_point(a, b) : a + (b - a) / 2; }

  private:
    Parameters parameters_;
};

// Nats as words.
double words_of(double nats);
// Words that hold a number of `nats` nats: one for the fraction, one for what doubles lose.
u64 whole_words_of(double nats);

}  // namespace kalvor::BinarySplitting
