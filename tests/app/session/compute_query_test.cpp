// The answer to a remote user interface that asks what settings would need.
#include "app/session/compute_query.h"

#include <gtest/gtest.h>

#include "app/session/memory_plan.h"
#include "app/settings/compute_settings_object.h"
#include "base/config/parser.h"
#include "base/console/format.h"
#include "support/capture_console.h"

namespace kalvor {
namespace {

using trel::u64;
using trel::Config::Object;
using trel::Config::String;

std::string texts(const Object& answer, const char* key) {
    std::string text;
    for (const auto& element : answer.get_array(key).elements) text += element->as<String>().value + ";";
    return text;
}

TEST(ComputeQueryTest, SelectorsAndNeeds) {
    const CaptureConsole console;
    ComputeSettings settings;
    settings.set_decimal_digits(1000000);
    const u64 bytes = RunPlan::make(settings, settings.size).memory.total();
    const auto answer = query_compute_settings(settings, {bytes, bytes, bytes, 0});
    const auto selector = compute_settings_selector(settings);
    for (const auto& entry : selector->entries()) {
        EXPECT_EQ(answer->get(entry->key).to_json(), entry->value->to_json()) << entry->key;
    }
    EXPECT_EQ(answer->size(), selector->size() + 3);
    const Object& ram = answer->get_object("RequiredRam");
    EXPECT_EQ(ram.get_integer("Value"), static_cast<trel::i64>(bytes));
    const std::string size = trel::Console::format_bytes(bytes);
    EXPECT_EQ(ram.get_string("DisplayText"), size.substr(size.find_first_not_of(' ')));
    EXPECT_EQ(texts(*answer, "Warnings") + texts(*answer, "Errors"), "");
}

TEST(ComputeQueryTest, WarningsAndErrors) {
    const CaptureConsole console;
    ComputeSettings settings;
    settings.set_decimal_digits(1000000);
    const u64 bytes = RunPlan::make(settings, settings.size).memory.total();
    auto answer = query_compute_settings(settings, {bytes, bytes - 1, bytes, 0});
    EXPECT_EQ(texts(*answer, "Warnings"), "There is insufficient available physical memory.;");
    EXPECT_EQ(texts(*answer, "Errors"), "");
    answer = query_compute_settings(settings, {bytes - 1, bytes - 1, bytes - 1, 0});
    EXPECT_EQ(texts(*answer, "Warnings"), "There is insufficient physical memory.;");
    EXPECT_EQ(texts(*answer, "Errors"), "Insufficient Address Space;");
    // A size that the machine does not tell is ignored.
    answer = query_compute_settings(settings, {});
    EXPECT_EQ(texts(*answer, "Warnings") + texts(*answer, "Errors"), "");
}

// What loading had to correct is among the warnings, and nothing is printed.
TEST(ComputeQueryTest, CorrectedSettings) {
    const CaptureConsole console;
    std::string text = save_compute_settings(ComputeSettings())->to_acfg();
    text.replace(text.find("50000000"), 8, "7");
    text.replace(text.find("DigitsPerFile : 0"), 17, "DigitsPerFile : 5");
    std::vector<std::string> warnings;
    const ComputeSettings settings =
        load_compute_settings(trel::Config::parse_acfg(text)->as<Object>(), warnings);
    EXPECT_EQ(texts(*query_compute_settings(settings, {}, warnings), "Warnings"),
              "Precision below minimum. Adjusting to minimum. That is 100 decimal digits.;"
              "Digits per file below minimum: Disabling compression.;");
    EXPECT_EQ(console.text(), "");
}

}  // namespace
}  // namespace kalvor
