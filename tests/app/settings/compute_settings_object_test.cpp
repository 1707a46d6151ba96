#include "app/settings/compute_settings_object.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

#include "base/config/parser.h"
#include "base/errors/exceptions.h"
#include "support/capture_console.h"
#include "support/changed_members.h"
#include "support/message_of.h"

using namespace kalvor;
using trel::Config::Object;

namespace {

ComputeSettings load(const std::string& text, std::vector<std::string>& warnings) {
    return load_compute_settings(trel::Config::parse_acfg(text)->as<Object>(), warnings);
}

ComputeSettings load(const std::string& text) {
    std::vector<std::string> warnings;
    return load(text, warnings);
}

// Settings with every framework and every allocator once.
std::vector<std::unique_ptr<Object>> every_kind_of_settings() {
    std::vector<std::unique_ptr<Object>> all;
    const auto add = [&](const std::string& framework, const std::string& allocator) {
        ComputeSettings settings;
        settings.parallelism.framework.choose(framework);
        settings.parallelism.task_decomposition = 4;
        settings.allocator.choose(allocator);
        all.push_back(save_compute_settings(settings));
    };
    for (const std::string& name : trel::framework_names()) add(name, "malloc");
    for (const std::string& name : trel::allocator_names()) add("none", name);
    return all;
}

std::string refusal(const std::string& text) {
    return kalvor_test::message_of(kalvor_test::Form::message, [&] { (void)load(text); });
}

}  // namespace

TEST(ComputeSettingsObjectTest, DefaultsInTheOrderOfTheKeys) {
    ComputeSettings settings;
    settings.parallelism = trel::ParallelismSettings(1);
    EXPECT_EQ(save_compute_settings(settings)->to_acfg(),
              "{\r\n"
              "    Constant : {\r\n"
              "        Constant : \"pi\"\r\n"
              "        Algorithm : \"chudnovsky\"\r\n"
              "    }\r\n"
              "    ComputeSize : {\r\n"
              "        DecimalDigits : 50000000\r\n"
              "        EnableHexDigits : \"false\"\r\n"
              "    }\r\n"
              "    Output : {\r\n"
              "        Path : \"\"\r\n"
              "        OutputEnable : \"true\"\r\n"
              "        DigitsPerFile : 0\r\n"
              "    }\r\n"
              "    OutputVerify : \"true\"\r\n"
              "    Mode : \"ram\"\r\n"
              "    Parallelism : {\r\n"
              "        TaskDecomposition : 1\r\n"
              "        Framework : \"none\"\r\n"
              "    }\r\n"
              "    Allocator : {\r\n"
              "        Allocator : \"mmap\"\r\n"
              "        LargePages : \"attempt\"\r\n"
              "        LockedPages : \"attempt\"\r\n"
              "    }\r\n"
              "}\r\n");
}

// Every setting away from its default, through the text and back.
TEST(ComputeSettingsObjectTest, ComesBackAsItWasWritten) {
    const CaptureConsole console;
    for (const char* algorithm : {"chudnovsky", "ramanujan", "chudnovsky-reduced", "ramanujan-reduced"}) {
        ComputeSettings settings;
        settings.constant->select_algorithm(algorithm);
        settings.set_decimal_digits(123456);
        settings.enable_hex = true;
        settings.path = ".";
        settings.output_enable = false;
        settings.output_verify = false;
        settings.parallelism.framework = trel::make_default_framework_config("spawn");
        settings.parallelism.task_decomposition = 7;
        settings.allocator = trel::make_default_allocator_config("malloc");
        const std::string text = save_compute_settings(settings)->to_acfg();
        const ComputeSettings back = load(text);
        EXPECT_EQ(back.constant->token(), "pi");
        EXPECT_EQ(back.constant->algorithm_token(), algorithm);
        EXPECT_EQ(back.size.decimal_digits, 123456u);
        EXPECT_TRUE(back.enable_hex);
        EXPECT_EQ(back.path, ".");
        EXPECT_FALSE(back.output_enable);
        EXPECT_FALSE(back.output_verify);
        EXPECT_EQ(back.digits_per_file, 0);
        EXPECT_EQ(back.parallelism.framework->name(), "spawn");
        EXPECT_EQ(back.parallelism.task_decomposition, 7u);
        EXPECT_EQ(back.allocator->name(), "malloc");
        EXPECT_EQ(save_compute_settings(back)->to_acfg(), text);
    }
}

TEST(ComputeSettingsObjectTest, TokensAreNamesNotNumbers) {
    ComputeSettings settings;
    settings.constant->select_algorithm("3");
    EXPECT_EQ(settings.constant->algorithm_token(), "ramanujan-reduced");
}

// The same shape as the file, with what a user interface shows in place of every value.
TEST(ComputeSettingsObjectTest, SelectorsHaveValueAndText) {
    ComputeSettings settings;
    settings.parallelism = trel::ParallelismSettings(1);
    settings.parallelism.framework.choose("spawn");
    settings.allocator.choose("malloc");
    std::string text;
    for (const char c : compute_settings_selector(settings)->to_json()) {
        if (c != '\r' && c != '\n') text += c;
    }
    while (text.find("  ") != std::string::npos) text.erase(text.find("  "), 1);
    const auto pair = [](const std::string& value, const std::string& shown) {
        return "{ \"Value\": " + value + ", \"DisplayText\": \"" + shown + "\" }";
    };
    EXPECT_EQ(text, "{ \"Constant\": { \"Constant\": " + pair("\"pi\"", "Pi") +
                        ", \"Algorithm\": " + pair("\"chudnovsky\"", "Chudnovsky (1988)") +
                        " }, \"ComputeSize\": { \"DecimalDigits\": " + pair("50000000", "50,000,000") +
                        ", \"EnableHexDigits\": " + pair("\"false\"", "Disabled") +
                        " }, \"Output\": { \"Path\": " + pair("\"\"", "Default Path") +
                        ", \"OutputEnable\": " + pair("\"true\"", "Enabled") +
                        ", \"DigitsPerFile\": " + pair("0", "None - Write digits to a text file.") +
                        " }, \"OutputVerify\": " + pair("\"true\"", "Enabled") +
                        ", \"Mode\": " + pair("\"ram\"", "Ram Only") +
                        ", \"Parallelism\": { \"TaskDecomposition\": " + pair("1", "1") +
                        ", \"Framework\": \"spawn\", \"MaxSequentialDispatch\": " + pair("64", "64") +
                        " }, \"Allocator\": { \"Allocator\": " +
                        pair("\"malloc\"", settings.allocator->display_name()) + " }}");
}

// Whatever can be chosen, byte for byte through the text and back.
TEST(ComputeSettingsObjectTest, EveryFrameworkAndAllocatorComesBack) {
    const CaptureConsole console;
    for (const std::string& framework : trel::framework_names()) {
        for (const std::string& allocator : trel::allocator_names()) {
            ComputeSettings settings;
            settings.parallelism.framework.choose(framework);
            settings.parallelism.task_decomposition = 65536;
            settings.allocator.choose(allocator);
            const std::string text = save_compute_settings(settings)->to_acfg();
            EXPECT_EQ(save_compute_settings(load(text))->to_acfg(), text);
        }
    }
}

// What had to be corrected is told to the caller; settings never print.
TEST(ComputeSettingsObjectTest, CorrectionsAreReturned) {
    const CaptureConsole console;
    std::string text = save_compute_settings(ComputeSettings())->to_acfg();
    std::vector<std::string> warnings;
    (void)load(text, warnings);
    EXPECT_TRUE(warnings.empty());
    text.replace(text.find("50000000"), 8, "1000000000000001");
    EXPECT_EQ(load(text, warnings).size.decimal_digits, 1000000000000000u);
    EXPECT_EQ(warnings, std::vector<std::string>{"Precision above maximum: Clipping to maximum. That is "
                                                 "1,000,000,000,000,000 decimal digits."});
    EXPECT_EQ(console.text(), "");
}

// Reading changes nothing outside: the folder is made by the run.
TEST(ComputeSettingsObjectTest, ReadingMakesNoFolder) {
    const CaptureConsole console;
    ComputeSettings settings;
    settings.path = "/nonexistent/for/sure";
    EXPECT_EQ(load(save_compute_settings(settings)->to_acfg()).path, "/nonexistent/for/sure");
}

TEST(ComputeSettingsObjectTest, NoMemberMayBeMissing) {
    const CaptureConsole console;
    for (const auto& object : every_kind_of_settings()) {
        for (const std::string& path : kalvor_test::member_paths(*object)) {
            EXPECT_THROW((void)load(kalvor_test::without_member(*object, path)), trel::KeyNotFoundException)
                << path;
            EXPECT_EQ(refusal(kalvor_test::without_member(*object, path)), path.substr(path.rfind('.') + 1));
        }
    }
}

// What is said names the part of the settings, where it has a name.
TEST(ComputeSettingsObjectTest, NoMemberMayHaveAnotherType) {
    const std::map<std::string, std::string> contexts = {
        {"Constant", "Custom Compute: "},
        {"Constant.Constant", "Custom Compute: "},
        {"Constant.Algorithm", "Custom Compute: "},
        {"ComputeSize", "Computation Size: "},
        {"ComputeSize.DecimalDigits", "Computation Size: "},
        {"ComputeSize.EnableHexDigits", "Computation Size: "},
        {"Output", "Output Format: "},
        {"Output.Path", "Output Format: "},
        {"Output.OutputEnable", "Output Format: "},
        {"Output.DigitsPerFile", "Output Format: "},
        {"OutputVerify", "Custom Compute: "},
        {"Parallelism", "Parallel Framework: "},  // and all members of frameworks
        {"Allocator", "Memory Allocator: "},
    };
    const CaptureConsole console;
    for (const auto& object : every_kind_of_settings()) {
        for (const std::string& path : kalvor_test::member_paths(*object)) {
            const kalvor_test::WrongType wrong =
                kalvor_test::wrong_type_for(kalvor_test::member_at(*object, path));
            const auto context = contexts.find(path.starts_with("Parallelism.") ? "Parallelism" : path);
            EXPECT_EQ(refusal(kalvor_test::with_member(*object, path, wrong.value)),
                      (context == contexts.end() ? "" : context->second) + wrong.message)
                << path;
        }
    }
}

TEST(ComputeSettingsObjectTest, NoMemberMayStandThereTwice) {
    const CaptureConsole console;
    for (const auto& object : every_kind_of_settings()) {
        for (const std::string& path : kalvor_test::member_paths(*object)) {
            const std::string said = refusal(kalvor_test::with_member_twice(*object, path));
            EXPECT_TRUE(said.starts_with("Line ") && said.ends_with(": Duplicate key in object."))
                << path << ": " << said;
        }
    }
}

// The largest and the smallest number that can be read: each count takes what it can of them, or refuses. One
// beyond is not a number.
TEST(ComputeSettingsObjectTest, CountsAtBothEndsOf64Bits) {
    const CaptureConsole console;
    const auto count_of = [](const std::string& text, const std::string& path) {
        return std::to_string(kalvor_test::member_at(*save_compute_settings(load(text)), path)
                                  .as<trel::Config::Integer>()
                                  .value);
    };
    const std::string most = "9223372036854775807", least = "-9223372036854775807";
    const std::string tasks = "Task decomposition must be between 1 and 65,536.";
    const std::map<std::string, std::pair<std::string, std::string>> known = {
        {"ComputeSize.DecimalDigits", {"1000000000000000", "100"}},
        {"Output.DigitsPerFile", {"50000000", "50000000"}},  // of the 50,000,000 that there are
        {"Parallelism.TaskDecomposition", {tasks, tasks}},
    };
    u64 counts = 0;
    for (const auto& object : every_kind_of_settings()) {
        for (const std::string& path : kalvor_test::member_paths(*object)) {
            if (kalvor_test::member_at(*object, path).type() != trel::Config::NodeType::integer) continue;
            counts++;
            for (const char* beyond : {"9223372036854775808", "-9223372036854775808"}) {
                const std::string said = refusal(kalvor_test::with_member(*object, path, beyond));
                EXPECT_TRUE(said.starts_with("Line ") && said.ends_with(": Integer literal is too large."))
                    << path << ": " << said;
            }
            for (const std::string& end : {most, least}) {
                const std::string text = kalvor_test::with_member(*object, path, end);
                std::string outcome = refusal(text);
                if (outcome == "nothing thrown") {
                    outcome = count_of(text, path);
                    const std::string again = save_compute_settings(load(text))->to_acfg();
                    EXPECT_EQ(save_compute_settings(load(again))->to_acfg(), again) << path;
                }
                const auto expected = known.find(path);
                if (expected == known.end()) continue;
                EXPECT_EQ(outcome, end == most ? expected->second.first : expected->second.second) << path;
            }
        }
    }
    EXPECT_GT(counts, 3 * trel::framework_names().size());
}

// Whatever bytes a path has, it comes back; what a user interface shows of it is one line.
TEST(ComputeSettingsObjectTest, PathsOfAnyBytesComeBack) {
    const CaptureConsole console;
    for (const std::string path : {"a \"quoted\" b", "back\\slash\\", "line\nfeed\r\n", "tab\t and \x1b[2J",
                                   "J\xc3\xb6rg \xe6\x95\xb0/\xf0\x9f\x98\x80", "{ Path : \"x\" }",
                                   "// no comment", "C:\\temp\\", "\"", "\\\"", "\n"}) {
        ComputeSettings settings;
        settings.path = path;
        const std::string text = save_compute_settings(settings)->to_acfg();
        EXPECT_EQ(load(text).path, path);
        EXPECT_EQ(save_compute_settings(load(text))->to_acfg(), text);
        const std::string shown =
            compute_settings_selector(settings)->get_object("Output").get_object("Path").get_string(
                "DisplayText");
        EXPECT_EQ(shown.find_first_of("\n\r\x1b"), std::string::npos) << shown;
    }
}

// Files that are wrong in one or two places are refused in one of the ways that are allowed, or mean settings
// that come back as they were written.
TEST(ComputeSettingsObjectTest, MutatedFilesAreRefusedOrComeBack) {
    CaptureConsole console;
    std::mt19937_64 random(20261122);
    const auto pick = [&](size_t n) { return static_cast<size_t>(random() % n); };
    const std::string marks = "\"{}[]:- 09azT";
    int accepted = 0, refused = 0;
    for (const std::string& framework : trel::framework_names()) {
        ComputeSettings settings;
        settings.parallelism.framework.choose(framework);
        const std::string text = save_compute_settings(settings)->to_acfg();
        for (int i = 0; i < 400; i++) {
            std::string changed = text;
            for (size_t changes = 1 + pick(2); changes > 0; changes--) {
                const size_t at = pick(changed.size());
                if (pick(3) == 0) {
                    changed.erase(at, 1 + pick(20));
                } else {
                    changed[at] = marks[pick(marks.size())];
                }
            }
            console.take();
            try {
                const std::string again = save_compute_settings(load(changed))->to_acfg();
                EXPECT_EQ(save_compute_settings(load(again))->to_acfg(), again);
                accepted++;
            } catch (const trel::Exception&) {
                refused++;
            }
        }
    }
    EXPECT_GT(accepted, 50);
    EXPECT_GT(refused, 500);
}
