#include "base/status/warnings.h"

#include <gtest/gtest.h>

#include <thread>

#include "base/status/linear_console_node.h"
#include "support/capture_console.h"

using namespace trel;

TEST(WarningsTest, LinesAreReportedOnceInTheirOrder) {
    Warnings warnings;
    warnings.add({{"raised", ' ', true}, {"below it", 'Y'}});
    warnings.add({{"another"}});
    CaptureConsole console;
    LinearConsoleNode status(79, 1.0);
    warnings.report(status);
    EXPECT_EQ(console.text(), "\nraised\nbelow it\nanother\n");
    warnings.report(status);
    EXPECT_EQ(console.text(), "\nraised\nbelow it\nanother\n");
}

TEST(WarningsTest, LinesOfOneCallStayTogether) {
    Warnings warnings;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; i++) {
        threads.emplace_back([&, name = std::string(1, static_cast<char>('a' + i))] {
            for (int j = 0; j < 100; j++) warnings.add({{name}, {name}, {name}});
        });
    }
    for (std::thread& thread : threads) thread.join();
    CaptureConsole console;
    LinearConsoleNode status(79, 1.0);
    warnings.report(status);
    const std::string text = console.text();
    ASSERT_EQ(text.size(), 4u * 100 * 6);
    for (std::size_t i = 0; i < text.size(); i += 6) {
        EXPECT_EQ(text.substr(i, 2), text.substr(i + 2, 2)) << i;
        EXPECT_EQ(text.substr(i, 2), text.substr(i + 4, 2)) << i;
    }
}
