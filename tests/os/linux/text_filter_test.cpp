#include "os/linux/text_filter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <set>
#include <string>

using namespace trel;

namespace {

// What the filter promises, by looking for each run of 8.
std::string plainly_cleared(const std::string& texts, const std::string& data) {
    std::set<std::string> runs;
    for (size_t i = 0; i + 8 <= texts.size(); i++) {
        const std::string run = texts.substr(i, 8);
        if (std::count(run.begin(), run.end(), '\0') <= 2) runs.insert(run);
    }
    std::string out = data;
    for (size_t i = 0; i + 8 <= data.size(); i++) {
        if (runs.count(data.substr(i, 8)) != 0) std::fill_n(out.begin() + static_cast<long>(i), 8, '\0');
    }
    return out;
}

class TextFilterTest : public testing::Test {
  protected:
    void learn(const std::string& texts) {
        filter_->learn(reinterpret_cast<const u8*>(texts.data()), texts.size());
    }
    std::string cleared(std::string data) {
        filter_->clear_known(reinterpret_cast<u8*>(data.data()), data.size());
        return data;
    }

    std::unique_ptr<os::TextFilter> filter_ = std::make_unique<os::TextFilter>();
};

}  // namespace

TEST_F(TextFilterTest, TakesOutPiecesOfTheTexts) {
    using namespace std::string_literals;
    learn("program\0--password=swordfish\0HOME=/root\0TOKEN=0123456789abcdef\0"s);
    EXPECT_EQ(cleared("xx swordfish yy"), "xx " + std::string(9, '\0') + " yy");
    EXPECT_EQ(cleared("0123456789abcdefgh"), std::string(16, '\0') + "gh");
    EXPECT_EQ(cleared("swordfis"), std::string(8, '\0'));
    EXPECT_EQ(cleared("swordfi_"), "swordfi_");                       // 7 are too few
    EXPECT_EQ(cleared("rdfish\0HOME="s), std::string(12, '\0'));      // across the end of a word
    EXPECT_EQ(cleared("swordfishswordfish"), std::string(18, '\0'));  // one after the other
    EXPECT_EQ(cleared("nothing of it at all"), "nothing of it at all");
    EXPECT_EQ(cleared(""), "");
    EXPECT_EQ(cleared("short"), "short");
}

TEST_F(TextFilterTest, RunsOfZerosAreNoText) {
    using namespace std::string_literals;
    learn("a\0\0\0\0\0\0\0\0\0b"s + "abcde\0\0\0"s);
    EXPECT_EQ(cleared("a\0\0\0\0\0\0\0"s + "abcde\0\0\0"s), "a\0\0\0\0\0\0\0"s + "abcde\0\0\0"s);
}

TEST_F(TextFilterTest, ForgetsWhatItKnew) {
    learn("swordfish");
    learn("something else");
    EXPECT_EQ(cleared("swordfish"), "swordfish");
    filter_->learn(nullptr, 0);
    EXPECT_EQ(cleared("something else"), "something else");
}

TEST_F(TextFilterTest, IsWhatALookForEachRunGives) {
    std::mt19937_64 random(7);
    for (int round = 0; round < 200; round++) {
        // Few letters, so that runs meet by chance too.
        const int letters = 2 + static_cast<int>(random() % 20);
        std::string texts, data;
        for (u64 n = random() % 300; n > 0; n--)
            texts += static_cast<char>(random() % static_cast<u64>(letters));
        for (u64 n = random() % 1000; n > 0; n--) {
            if (random() % 40 == 0 && !texts.empty()) {
                const u64 from = random() % texts.size();
                data += texts.substr(from, random() % 30);
            }
            data += static_cast<char>(random() % static_cast<u64>(letters));
        }
        learn(texts);
        EXPECT_EQ(cleared(data), plainly_cleared(texts, data)) << "round " << round;
    }
}
