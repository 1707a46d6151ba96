#include "base/settings/optional_flag.h"

#include <gtest/gtest.h>

#include <string>

#include "base/errors/exceptions.h"
#include "support/message_of.h"

using namespace trel;
using kalvor_test::message_of;

TEST(OptionalFlagTest, WordsTextsAndColors) {
    const char* words[] = {"disabled", "attempt", "forced"};
    const char* texts[] = {"Disabled", "Attempt", "Forced"};
    const char colors[] = {'R', 'Y', 'G'};
    OptionalFlag flag{"LargePages"};
    EXPECT_EQ(flag.mode, 1U);
    for (u32 mode = 0; mode < 3; mode++) {
        flag.set(words[mode]);
        EXPECT_EQ(flag.mode, mode);
        EXPECT_EQ(flag.word(), words[mode]);
        EXPECT_EQ(flag.display_text(), texts[mode]);
        EXPECT_EQ(flag.color(), colors[mode]);
    }
    EXPECT_EQ(message_of<InvalidParametersException>([&] { flag.set("sometimes"); }),
              "LargePages|Invalid Mode: sometimes");
    EXPECT_EQ(message_of<InvalidParametersException>([&] { flag.set(""); }), "LargePages|Invalid Mode: ");
    EXPECT_EQ(message_of<InvalidParametersException>([&] { flag.set("Forced"); }),
              "LargePages|Invalid Mode: Forced");
    EXPECT_EQ(flag.mode, 2U);
    flag.mode = 3;
    EXPECT_EQ(message_of<InvalidParametersException>([&] { (void)flag.word(); }), "LargePages|Invalid Mode");
    EXPECT_EQ(message_of<InvalidParametersException>([&] { (void)flag.display_text(); }),
              "OptionalFlagConfig|Invalid Mode");
    EXPECT_EQ(message_of<InvalidParametersException>([&] { (void)flag.color(); }),
              "OptionalFlagConfig|Invalid Mode");
    EXPECT_EQ(message_of<InvalidParametersException>([&] { (void)flag.selector_text(); }),
              "OptionalFlagSelector|Invalid Mode");
    flag.mode = 0;
    for (const u32 mode : {1, 2, 0, 1}) {
        flag.advance();
        EXPECT_EQ(flag.mode, mode);
        EXPECT_EQ(flag.selector_text(), texts[mode]);
    }
}
