// The page that tells how to call the program knows what there is to choose from.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "app/entry/usage.h"
#include "platform/memory/allocator.h"
#include "platform/parallel/framework_registry.h"
#include "support/capture_console.h"

namespace {

// The words of the line after the one that begins like this.
std::vector<std::string> words_after(const std::string& page, const std::string& option) {
    const size_t at = page.find("\n    " + option);
    EXPECT_NE(at, std::string::npos) << option;
    const size_t begin = page.find('\n', at + 1) + 1;
    std::vector<std::string> words;
    for (const char c : page.substr(begin, page.find('\n', begin) - begin)) {
        if (c == ' ' || c == ',') {
            if (words.empty() || !words.back().empty()) words.emplace_back();
        } else {
            if (words.empty()) words.emplace_back();
            words.back() += c;
        }
    }
    std::erase(words, "");
    return words;
}

}  // namespace

TEST(UsagePage, NamesEveryFrameworkAndAllocator) {
    CaptureConsole console;
    kalvor::print_usage();
    const std::string page = console.take();
    const std::vector<std::string> frameworks = words_after(page, "-PF:<name>");
    EXPECT_EQ(frameworks, trel::framework_names());
    for (const char* name : {"none", "spawn", "pushpool"}) {
        EXPECT_EQ(std::count(frameworks.begin(), frameworks.end(), name), 1) << name;
    }
    EXPECT_EQ(words_after(page, "-MA:<name>"), trel::allocator_names());
}
