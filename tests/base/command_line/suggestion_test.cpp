#include "base/command_line/suggestion.h"

#include <gtest/gtest.h>

using namespace trel;
using namespace trel::CommandLine;

TEST(SuggestionTest, EditDistance) {
    EXPECT_EQ(edit_distance("", ""), 0u);
    EXPECT_EQ(edit_distance("abc", ""), 3u);
    EXPECT_EQ(edit_distance("", "ab"), 2u);
    EXPECT_EQ(edit_distance("spawn", "spawn"), 0u);
    EXPECT_EQ(edit_distance("spwn", "spawn"), 1u);    // a letter is missing
    EXPECT_EQ(edit_distance("spaawn", "spawn"), 1u);  // one too many
    EXPECT_EQ(edit_distance("spown", "spawn"), 1u);   // a wrong one
    EXPECT_EQ(edit_distance("sapwn", "spawn"), 1u);   // two swapped
    EXPECT_EQ(edit_distance("kitten", "sitting"), 3u);
}

TEST(SuggestionTest, NearestName) {
    const std::vector<std::string> names = {"-dec", "-hex",    "-algorithm", "-o",
                                            "-od",  "-verify", "-PF",        "-MA"};
    EXPECT_EQ(nearest_name("-dex", names), "-dec");  // the first of equals
    EXPECT_EQ(nearest_name("dec", names), "-dec");
    EXPECT_EQ(nearest_name("--DEC", names), "-dec");
    EXPECT_EQ(nearest_name("-algoritm", names), "-algorithm");
    EXPECT_EQ(nearest_name("-verfiy", names), "-verify");
    EXPECT_EQ(nearest_name("-pf", names), "-PF");
    EXPECT_EQ(nearest_name("-xy", names), "");
    EXPECT_EQ(nearest_name("-speed", names), "");
    EXPECT_EQ(nearest_name("", names), "");
    EXPECT_EQ(nearest_name("--", names), "");
    EXPECT_EQ(nearest_name(std::string(1000000, 'a'), names), "");
    EXPECT_EQ(nearest_name("dec", {}), "");
}

TEST(SuggestionTest, Texts) {
    EXPECT_EQ(list_of({"a", "b", "c"}), "a, b, c");
    EXPECT_EQ(list_of({}), "");
    EXPECT_EQ(did_you_mean("pi"), " Did you mean \"pi\"?");
    EXPECT_EQ(did_you_mean(""), "");
}
