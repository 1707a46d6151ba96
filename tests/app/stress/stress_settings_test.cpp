// Settings of the stress tester: defaults, their object, the options.
#include "app/stress/stress_settings.h"

#include <gtest/gtest.h>

#include "app/stress/stress_options.h"
#include "app/stress/stress_query.h"
#include "base/command_line/refusal.h"
#include "base/config/parser.h"
#include "base/errors/exceptions.h"
#include "support/capture_console.h"
#include "support/changed_members.h"
#include "support/message_of.h"

namespace kalvor {
namespace {

using CommandLine::ParameterList;
using CommandLine::RefusedException;
using kalvor_test::Form;
using kalvor_test::message_of;

const CoreNumbers& four_cores() {
    static const CoreNumbers numbers = CoreNumbers::of({{0, 2, 4, 6}});
    return numbers;
}
const StressMachine kMachine{&four_cores(), u64(8) << 30, 0};
const std::vector<std::string> kAll = {"BKT", "BBP", "SFT", "FFT", "N32", "N64", "HNT", "VST", "C17"};

TEST(StressSettingsTest, Defaults) {
    const StressSettings s(kMachine);
    EXPECT_EQ(s.cores, (std::vector<u32>{0, 1, 2, 3}));
    EXPECT_TRUE(s.local);
    EXPECT_EQ(s.total_memory, u64(2) << 30);
    EXPECT_EQ(s.memory_per_thread(), u64(512) << 20);
    EXPECT_EQ(s.seconds_per_test, 120u);
    EXPECT_EQ(s.seconds_total, 0u);
    EXPECT_TRUE(s.stop_on_error);
    EXPECT_EQ(s.tests, kAll);
    // Only cores of one group run together.
    const CoreNumbers groups = CoreNumbers::of({{0, 1}, {64, 65, 66}});
    EXPECT_EQ(StressSettings({&groups, 0, 0}).cores, (std::vector<u32>{0, 1}));
}

TEST(StressSettingsTest, TimeTexts) {
    StressSettings s(kMachine);
    EXPECT_EQ(s.time_text(), "120 seconds per test / 0 seconds total");
    s.seconds_per_test = 1;
    s.seconds_total = 1;
    EXPECT_EQ(s.time_text(), "1 second per test / 1 second total");
    s.seconds_total = 1000000;
    EXPECT_EQ(s.time_text(), "1 second per test / 1,000,000 seconds total");
}

const char* const kObject =
    "{\r\n    LogicalCores : [1 3]\r\n    AllocateLocally : \"false\"\r\n    TotalMemory : 1000000\r\n"
    "    SecondsPerTest : 5\r\n    SecondsTotal : 60\r\n    StopOnError : \"false\"\r\n"
    "    Tests : [\r\n        \"BKT\"\r\n        \"C17\"\r\n    ]\r\n}";

StressSettings loaded(const std::string& text, const StressMachine& machine = kMachine) {
    const auto tree = Config::parse_acfg(text);
    return load_stress_settings(tree->as<Config::Object>(), machine);
}
std::string replaced(const std::string& what, const std::string& by) {
    std::string text = kObject;
    const size_t at = text.find(what);
    EXPECT_NE(at, std::string::npos) << what;
    return text.replace(at, what.size(), by);
}
std::string refusal(const std::string& what, const std::string& by) {
    return message_of(Form::message, [&] { loaded(replaced(what, by)); });
}

TEST(StressSettingsTest, TheObjectIsReadAndWritten) {
    const StressSettings s = loaded(kObject);
    EXPECT_EQ(s.cores, (std::vector<u32>{1, 3}));
    EXPECT_FALSE(s.local);
    EXPECT_EQ(s.total_memory, 1000000u);
    EXPECT_EQ(s.seconds_per_test, 5u);
    EXPECT_EQ(s.seconds_total, 60u);
    EXPECT_FALSE(s.stop_on_error);
    EXPECT_EQ(s.tests, (std::vector<std::string>{"BKT", "C17"}));
    EXPECT_EQ(stress_settings_to_config(s)->to_acfg(), std::string(kObject) + "\r\n");
    const StressSettings usual(kMachine);
    EXPECT_EQ(loaded(stress_settings_to_config(usual)->to_acfg()), usual);
}

TEST(StressSettingsTest, WhatFilesMaySay) {
    EXPECT_EQ(loaded(replaced("[1 3]", "[0 0]")).cores, (std::vector<u32>{0}));
    EXPECT_EQ(loaded(replaced("[1 3]", "[3 1 3 0]")).cores, (std::vector<u32>{0, 1, 3}));
    EXPECT_EQ(loaded(replaced("\"BKT\"", "\"C17\"\r\n\"BKT\"")).tests,
              (std::vector<std::string>{"BKT", "C17"}));
    const std::string none = "[\r\n        \"BKT\"\r\n        \"C17\"\r\n    ]";
    EXPECT_TRUE(loaded(replaced(none, "[]")).tests.empty());
    EXPECT_EQ(loaded(replaced("1000000", "0")).total_memory, 0u);
    EXPECT_EQ(loaded(replaced(" 5\r", " 9223372036854775807\r")).seconds_per_test, u64(INT64_MAX));
}

TEST(StressSettingsTest, WhatFilesMayNotSay) {
    EXPECT_EQ(refusal("[1 3]", "[1 4]"), "Invalid core #: 4");
    EXPECT_EQ(refusal("[1 3]", "[-1]"), "Invalid core #: -1");
    EXPECT_EQ(refusal("[1 3]", "[1099511627776]"), "Invalid core #: 1099511627776");
    EXPECT_EQ(refusal("[1 3]", "[]"), "Must have at least one core!");
    EXPECT_EQ(refusal("\"BKT\"", "\"bkt\""), "Unknown Test: bkt");
    EXPECT_EQ(refusal("\"BKT\"", "\"\""), "Unknown Test: ");
    EXPECT_EQ(refusal("1000000", "-1"), "Invalid TotalMemory: -1");
    EXPECT_EQ(refusal("SecondsPerTest : 5", "SecondsPerTest : -5"), "Invalid SecondsPerTest: -5");
    EXPECT_EQ(refusal(" 60", " -60"), "Invalid SecondsTotal: -60");
    EXPECT_EQ(refusal("AllocateLocally : \"false\"", "AllocateLocally : \"no\""), "Expected true or false.");
    EXPECT_EQ(refusal("[1 3]", "\"1\""), "Stress Test: Expected Array, got String.");
    EXPECT_EQ(refusal("[1 3]", "[\"1\"]"), "Stress Test: Expected Integer, got String.");
    EXPECT_EQ(refusal("\"BKT\"", "5"), "Stress Test: Expected String, got Integer.");
    EXPECT_EQ(refusal("1000000", "\"1\""), "Stress Test: Expected Integer, got String.");
    EXPECT_EQ(refusal("    Tests", "    Extra : 1\r\n    Tests"), "Invalid Key: Extra");
    for (const char* key : {"LogicalCores", "AllocateLocally", "TotalMemory", "SecondsPerTest",
                            "SecondsTotal", "StopOnError", "Tests"}) {
        EXPECT_EQ(refusal(std::string(key) + " :", "Another :"), key);
    }
    const auto tree = Config::parse_acfg(kObject);
    const auto& object = tree->as<Config::Object>();
    const auto said = [](const std::string& text) {
        return message_of(Form::message, [&] { loaded(text); });
    };
    for (const std::string& key : kalvor_test::member_paths(object)) {
        const auto wrong = kalvor_test::wrong_type_for(object.get(key));
        EXPECT_EQ(said(kalvor_test::with_member(object, key, wrong.value)), "Stress Test: " + wrong.message)
            << key;
        EXPECT_TRUE(said(kalvor_test::with_member_twice(object, key)).ends_with(": Duplicate key in object."))
            << key;
        if (object.get(key).type() != Config::NodeType::integer) continue;
        EXPECT_EQ(said(kalvor_test::with_member(object, key, "-9223372036854775807")),
                  "Invalid " + key + ": -9223372036854775807");
        EXPECT_EQ(said(kalvor_test::with_member(object, key, "9223372036854775807")), "nothing thrown");
        EXPECT_TRUE(said(kalvor_test::with_member(object, key, "9223372036854775808"))
                        .ends_with(": Integer literal is too large."))
            << key;
    }
    const CoreNumbers groups = CoreNumbers::of({{0, 1}, {64, 65}});
    EXPECT_EQ(message_of(Form::message,
                         [&] {
                             loaded(kObject, {&groups, 0, 0});
                         }),
              "Core 3 is not compatible with processor group 0");
}

TEST(StressSettingsTest, Query) {
    StressSettings s = loaded(kObject);
    s.tests = {"BBP"};
    std::string text = query_stress_settings(s, kMachine)->to_acfg();
    const std::string begin =
        "{\r\n    LogicalCores : {\r\n        Value : [1 3]\r\n        DisplayText : \"1, 3\"\r\n    }\r\n"
        "    AllocateLocally : {\r\n        Value : \"false\"\r\n"
        "        DisplayText : \"Interleaved - Memory interleaved across all nodes.\"\r\n    }\r\n"
        "    TotalMemory : {\r\n        Value : 1000000\r\n        DisplayText : \"1,000,000 ( 977 KiB)\"\r\n"
        "    }\r\n    MemoryPerThread : {\r\n        Value : 500000\r\n"
        "        DisplayText : \"500,000 ( 488 KiB)\"\r\n    }\r\n"
        "    SecondsPerTest : {\r\n        Value : 5\r\n        DisplayText : \"5 seconds\"\r\n    }\r\n"
        "    SecondsTotal : {\r\n        Value : 60\r\n        DisplayText : \"60 seconds\"\r\n    }\r\n"
        "    StopOnError : {\r\n        Value : \"false\"\r\n        DisplayText : \"Disabled\"\r\n    }\r\n"
        "    Tests : [\r\n        {\r\n            Value : \"false\"\r\n            DisplayText : "
        "\"Disabled\"\r\n"
        "            DisplayTag : \"BKT\"\r\n            DisplayName : \"Basecase + Karatsuba\"\r\n"
        "            DisplayComponent : \"Scalar Integer\"\r\n            Scale : \"512 words\"\r\n        "
        "}\r\n"
        "        {\r\n            Value : \"true\"\r\n            DisplayText : \"Enabled\"\r\n"
        "            DisplayTag : \"BBP\"\r\n            DisplayName : \"BBP Digit Extraction\"\r\n"
        "            DisplayComponent : \"AVX512 Float\"\r\n            Scale : \"65,536 terms\"\r\n        "
        "}\r\n";
    EXPECT_EQ(text.substr(0, begin.size()), begin);
    EXPECT_TRUE(text.ends_with(
        "            DisplayTag : \"C17\"\r\n            DisplayName : \"Code 17 Experiment\"\r\n"
        "            DisplayComponent : \"AVX512 Mixed\"\r\n            Scale : \"13 blocks\"\r\n"
        "        }\r\n    ]\r\n    Warnings : []\r\n    Errors : []\r\n}\r\n"))
        << text;
    s.tests.clear();
    EXPECT_TRUE(query_stress_settings(s, {&four_cores(), 0, 999999})
                    ->to_acfg()
                    .ends_with("    Errors : [\r\n        \"Insufficient Address Space\"\r\n"
                               "        \"Please select at least one test.\"\r\n    ]\r\n}\r\n"));
    s.tests = {"BBP"};
    EXPECT_TRUE(
        query_stress_settings(s, {&four_cores(), 0, 1000000})->to_acfg().ends_with("Errors : []\r\n}\r\n"));
}

StressChoices parsed(std::vector<std::string> words) {
    words.insert(words.begin(), "kalvor");
    ParameterList parameters(words);
    return parse_stress_options(parameters, kMachine);
}

TEST(StressOptionsTest, Options) {
    const StressChoices c = parsed({"-cores:0-1,3", "-local:0", "-M:2.5GB", "-pertest:10", "-total:1k",
                                    "-stop:off", "-save", "my file"});
    EXPECT_EQ(c.settings.cores, (std::vector<u32>{0, 1, 3}));
    EXPECT_FALSE(c.settings.local);
    EXPECT_EQ(c.settings.total_memory, 2684354560u);
    EXPECT_EQ(c.settings.seconds_per_test, 10u);
    EXPECT_EQ(c.settings.seconds_total, 1000u);
    EXPECT_FALSE(c.settings.stop_on_error);
    EXPECT_EQ(c.settings.tests, kAll);
    EXPECT_EQ(c.save_path, "my file");
    EXPECT_EQ(parsed({}).settings, StressSettings(kMachine));
    EXPECT_EQ(parsed({"-pertest:0", "-total:0"}).settings.seconds_per_test, 0u);
}

TEST(StressOptionsTest, TagsEnableOnlyThemselves) {
    EXPECT_EQ(parsed({"C17"}).settings.tests, (std::vector<std::string>{"C17"}));
    EXPECT_EQ(parsed({"VST", "-total:5", "BKT", "VST"}).settings.tests,
              (std::vector<std::string>{"BKT", "VST"}));
}

TEST(StressOptionsTest, ValuesThatARuleRefuses) {
    const CaptureConsole console;
    for (const char* word : {"-cores:",
                             "-cores:4-2",
                             "-cores:0-",
                             "-cores:-1",
                             "-cores:9999999999",
                             "-cores:1-4294967295",
                             "-cores",
                             "-local:maybe",
                             "-M",
                             "-M:",
                             "-M:0",
                             "-M:0.0K",
                             "-M:-1",
                             "-M:1k",
                             "-M:1KK",
                             "-M:1.2.3",
                             "-M:.5G",
                             "-M:5.G",
                             "-M:1,000",
                             "-M:1 G",
                             "-M:G",
                             "-M:1GX",
                             "-M:1mB",
                             "-M:1Gib",
                             "-pertest:-1",
                             "-pertest:x",
                             "-total:-5",
                             "-stop:2"}) {
        EXPECT_THROW(parsed({word}), RefusedException) << word;
    }
    EXPECT_EQ(message_of(Form::message, [] { parsed({"-cores:0-4"}); }), "Invalid core #: 4");
    EXPECT_EQ(message_of(Form::message, [] { parsed({"-cores:65535"}); }), "Invalid core #: 65535");
}

TEST(StressOptionsTest, MemorySizes) {
    EXPECT_EQ(parse_stress_memory("1"), 1u);
    EXPECT_EQ(parse_stress_memory("768MB"), u64(768) << 20);
    EXPECT_EQ(parse_stress_memory("2G"), u64(2) << 30);
    EXPECT_EQ(parse_stress_memory("2.5GiB"), 2684354560u);
    EXPECT_EQ(parse_stress_memory("0.5K"), 512u);
    EXPECT_EQ(parse_stress_memory("3m"), 3000000u);
    EXPECT_EQ(parse_stress_memory("3b"), 3000000000u);
    EXPECT_EQ(parse_stress_memory("3t"), 3000000000000u);
    EXPECT_EQ(parse_stress_memory("6E"), u64(6) << 60);
    EXPECT_EQ(parse_stress_memory("7E"), 8070450532247928825u);
    EXPECT_EQ(parse_stress_memory("99999999999999999999999999999999999999999999P"), 8070450532247928825u);
}

TEST(StressOptionsTest, UnknownWords) {
    CaptureConsole console;
    for (const char* word : {"bkt", "ABC", "-tets:5", "25m", ""}) {
        EXPECT_EQ(message_of<InvalidParametersException>(Form::message, [&] { parsed({word}); }),
                  std::string("Invalid Command: ") + word);
    }
    console.take();
    EXPECT_THROW(parsed({"-prtest:5"}), InvalidParametersException);
    EXPECT_NE(console.text().find("Did you mean \"-pertest:5\"?"), std::string::npos) << console.text();
}

TEST(StressOptionsTest, HelpPage) {
    std::string page;
    for (const std::string& line : stress_help_page()) {
        EXPECT_LE(line.size(), 79u) << line;
        page += line + "\n";
    }
    for (const auto& row : stress_option_table()) {
        EXPECT_NE(page.find("    " + row.text.name + row.text.value_form + " "), std::string::npos)
            << row.text.name << page;
    }
    for (const std::string& tag : kAll) EXPECT_NE(page.find("    " + tag + " "), std::string::npos) << tag;
}

}  // namespace
}  // namespace kalvor
