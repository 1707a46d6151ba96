// The form of the event log's lines.
#include "app/session/event_log.h"

#include <gtest/gtest.h>

namespace kalvor {
namespace {

TEST(EventLogTest, DateSecondsAndNameSeparatedByTabs) {
    EventLog log;
    EXPECT_EQ(log.text(), "");
    log.add(0.0004, "Working Memory");
    log.add(12.3456, "Begin Computation");
    std::string text = log.text();

    // The date is asctime's: 24 characters, "Sun Mar  1 09:05:07 2026".
    for (const char* rest : {"\t0.000\tWorking Memory\r\n", "\t12.346\tBegin Computation\r\n"}) {
        ASSERT_GT(text.size(), 24U);
        EXPECT_EQ(text[3], ' ');
        EXPECT_EQ(text[13], ':');
        EXPECT_EQ(text[16], ':');
        text.erase(0, 24);
        const std::size_t end = text.find('\n') + 1;
        EXPECT_EQ(text.substr(0, end), rest);
        text.erase(0, end);
    }
    EXPECT_EQ(text, "");
}

}  // namespace
}  // namespace kalvor
