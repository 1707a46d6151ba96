#include "os/text_filter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <set>
#include <string>

using namespace trel;

namespace {

std::string bytes_of(const std::u16string& units) {
    return {reinterpret_cast<const char*>(units.data()), 2 * units.size()};
}

// What the filter promises, by looking for each run of 8.
std::string plainly_cleared(const std::string& texts, const std::u16string& wide_texts,
                            const std::string& data) {
    std::set<std::string> runs;
    for (size_t i = 0; i + 8 <= texts.size(); i++) {
        const std::string run = texts.substr(i, 8);
        if (std::count(run.begin(), run.end(), '\0') <= 2) runs.insert(run);
    }
    for (size_t i = 0; i + 4 <= wide_texts.size(); i++) {
        const std::u16string run = wide_texts.substr(i, 4);
        if (run.find(u'\0') == std::u16string::npos) runs.insert(bytes_of(run));
    }
    std::string out = data;
    for (size_t i = 0; i + 8 <= data.size(); i++) {
        if (runs.count(data.substr(i, 8)) != 0) std::fill_n(out.begin() + static_cast<long>(i), 8, '\0');
    }
    return out;
}

class TextFilterTest : public testing::Test {
  protected:
    TextFilterTest() { filter_->forget(); }
    void learn_only(const std::string& texts) {
        filter_->forget();
        filter_->learn(texts);
    }
    std::string cleared(std::string data) {
        filter_->clear_known(data.data(), data.size());
        return data;
    }

    std::unique_ptr<os::TextFilter> filter_{new os::TextFilter};
};

}  // namespace

TEST_F(TextFilterTest, TakesOutPiecesOfTheTexts) {
    using namespace std::string_literals;
    learn_only("program\0--password=swordfish\0HOME=/root\0TOKEN=0123456789abcdef\0"s);
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

// Four characters are a run, wherever they lie.
TEST_F(TextFilterTest, TakesOutPiecesOfUtf16) {
    using namespace std::string_literals;
    filter_->learn(u"TOKEN=sw\u00f6rdfish\0X=12\0\u03c0\u03c1\u03c2\u03c3"s);
    EXPECT_EQ(cleared(bytes_of(u"xx w\u00f6rdfish yy")),
              bytes_of(u"xx "s + std::u16string(8, u'\0') + u" yy"));
    EXPECT_EQ(cleared(bytes_of(u"rdfi")), std::string(8, '\0'));
    EXPECT_EQ(cleared("." + bytes_of(u"rdfi") + "."), "." + std::string(8, '\0') + ".");
    EXPECT_EQ(cleared(bytes_of(u"rdf_")), bytes_of(u"rdf_"));  // 3 are too few
    EXPECT_EQ(cleared(bytes_of(u"ish\0X=1"s)),
              bytes_of(u"ish\0X=1"s));  // as they are across the end of a word
    EXPECT_EQ(cleared(bytes_of(u"\u03c0\u03c1\u03c2\u03c3")), std::string(8, '\0'));
    EXPECT_EQ(cleared("TOKEN=swordfish"), "TOKEN=swordfish");  // another form
    filter_->learn("TOKEN=swordfish");
    EXPECT_EQ(cleared("TOKEN=swordfish" + bytes_of(u"TOKEN")), std::string(25, '\0'));
}

TEST_F(TextFilterTest, RunsOfZerosAreNoText) {
    using namespace std::string_literals;
    learn_only("a\0\0\0\0\0\0\0\0\0b"s + "abcde\0\0\0"s);
    EXPECT_EQ(cleared("a\0\0\0\0\0\0\0"s + "abcde\0\0\0"s), "a\0\0\0\0\0\0\0"s + "abcde\0\0\0"s);
}

TEST_F(TextFilterTest, ForgetsWhatItKnew) {
    learn_only("swordfish");
    learn_only("something else");
    EXPECT_EQ(cleared("swordfish"), "swordfish");
    filter_->forget();
    EXPECT_EQ(cleared("something else"), "something else");
}

TEST_F(TextFilterTest, IsWhatALookForEachRunGives) {
    std::mt19937_64 random(7);
    for (int round = 0; round < 200; round++) {
        // Few letters, so that runs meet by chance too.
        const int letters = 2 + static_cast<int>(random() % 20);
        const auto letter = [&] { return static_cast<char>(random() % static_cast<u64>(letters)); };
        std::string texts, data;
        std::u16string wide_texts;
        for (u64 n = random() % 300; n > 0; n--) texts += letter();
        for (u64 n = random() % 300; n > 0; n--) wide_texts += static_cast<char16_t>(letter() * 0x0101);
        for (u64 n = random() % 1000; n > 0; n--) {
            if (random() % 40 == 0 && !texts.empty()) {
                data += texts.substr(random() % texts.size(), random() % 30);
            }
            if (random() % 40 == 0 && !wide_texts.empty()) {
                data += bytes_of(wide_texts.substr(random() % wide_texts.size(), random() % 15));
            }
            data += letter();
        }
        learn_only(texts);
        filter_->learn(wide_texts);
        EXPECT_EQ(cleared(data), plainly_cleared(texts, wide_texts, data)) << "round " << round;
    }
}
