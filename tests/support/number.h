// Numbers of tests: with words of their own and a canary behind them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <concepts>
#include <initializer_list>
#include <vector>

#include "arith/residue/goldilocks.h"
#include "os/types.h"

namespace kalvor_test {

constexpr trel::Word kCanary = 0x0123456789abcdef;

// T is a number on words of somebody else's: BigFloat, ExactFloat, BasicIntR.
template <class T>
class NumberOf {
  public:
    // Zero, with room for so many words.
    template <std::integral Count>
    explicit NumberOf(Count room)
        : words(static_cast<std::size_t>(room) + 1, kCanary),
          value(words.data(), static_cast<trel::u64>(room)) {}
    // The words from the lowest to the last that is not zero, and room for so many more.
    NumberOf(const std::vector<trel::Word>& w, trel::i64 exp = 0, bool sign = true, trel::u64 room = 0)
        : NumberOf(w.size() + room) {
        std::copy(w.begin(), w.end(), words.begin());
        value.L = w.size();
        while (value.L != 0 && words[value.L - 1] == 0) value.L--;
        if constexpr (requires { value.exp; }) {
            value.exp = exp;
            value.sign = sign;
        }
        if constexpr (requires { value.residue; }) {
            value.residue = trel::goldilocks::of_words(value.T, value.L, exp, sign);
        }
    }
    NumberOf(std::initializer_list<trel::Word> w, trel::i64 exp = 0, bool sign = true)
        : NumberOf(std::vector<trel::Word>(w), exp, sign) {}
    NumberOf(const NumberOf&) = delete;
    NumberOf& operator=(const NumberOf&) = delete;
    ~NumberOf() { EXPECT_EQ(words.back(), kCanary) << "a word beyond the buffer was written"; }

    T* operator->() { return &value; }
    operator T&() { return value; }

    std::vector<trel::Word> words;
    T value;
};

}  // namespace kalvor_test
