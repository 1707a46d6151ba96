#include "app/custom/compute_options.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

#include "app/settings/compute_settings_object.h"
#include "base/command_line/refusal.h"
#include "base/errors/exceptions.h"
#include "constants/catalog/catalog.h"
#include "platform/fileio/settings_file.h"
#include "support/authorized.h"
#include "support/capture_console.h"
#include "support/temporary_folder.h"

using namespace kalvor;
using trel::CommandLine::ParameterList;

namespace {

ComputeSettings parse(std::vector<std::string> words) {
    words.insert(words.begin(), {"kalvor", "pi"});
    ParameterList parameters(words);
    return parse_custom_options(parameters).settings;
}

std::string summary(std::vector<std::string> words) {
    const CaptureConsole console;
    const ComputeSettings settings = parse(std::move(words));
    const trel::ParallelismSettings& p = settings.parallelism;
    return p.framework->name() + " " + std::to_string(p.task_decomposition) + " / " +
           std::to_string(p.framework->worker_threads());
}

}  // namespace

TEST(CustomOptionsTest, InAnyOrder) {
    CaptureConsole console;
    const ComputeSettings s = parse({"-verify:off", "-hex", "-o", "a b", "-dec:1,234", "-od:no", "-TD:3",
                                     "-PF:spawn", "-MA:malloc", "-algorithm:1", "-mode:ram", "-C:0"});
    EXPECT_EQ(console.take(), "");
    EXPECT_EQ(s.size.decimal_digits, 1234u);
    EXPECT_TRUE(s.enable_hex);
    EXPECT_EQ(s.path, "a b");
    EXPECT_FALSE(s.output_enable);
    EXPECT_FALSE(s.output_verify);
    EXPECT_EQ(s.parallelism.task_decomposition, 3u);
    EXPECT_EQ(s.parallelism.framework->name(), "spawn");
    EXPECT_EQ(s.allocator->name(), "malloc");
    EXPECT_EQ(s.constant->algorithm_token(), "ramanujan");
    EXPECT_EQ(parse({"-algorithm:chudnovsky-reduced", "-dec:100"}).constant->algorithm_token(),
              "chudnovsky-reduced");
}

// How many there are follows from the decimal digits.
TEST(CustomOptionsTest, HexadecimalDigitsAreACountOrASwitch) {
    const CaptureConsole console;
    for (const char* on : {"-hex", "-hex:1", "-hex:500", "-hex:1m", "-hex:on"}) {
        const ComputeSettings s = parse({"-dec:1000", on});
        EXPECT_TRUE(s.enable_hex) << on;
        EXPECT_EQ(s.size.hexadecimal_digits, 831u) << on;
    }
    for (const char* off : {"-hex:0", "-hex:off"}) EXPECT_FALSE(parse({"-dec:1000", off}).enable_hex) << off;
    for (const char* slip : {"-hex:x", "-hex:-1", "-hex:", "-hex:0.5"})
        EXPECT_THROW(parse({"-dec:1000", slip}), trel::CommandLine::RefusedException) << slip;
}

TEST(CustomOptionsTest, WhatMayBeRefusedMayBeChosen) {
    const CaptureConsole console;
    const ComputeSettings none = parse({"-dec:100"});
    EXPECT_FALSE(none.overwrite);
    EXPECT_FALSE(none.minimum_space.has_value());
    EXPECT_FALSE(none.force);
    const ComputeSettings on = parse({"-dec:100", "-overwrite:1", "-minspace", "-force:yes"});
    EXPECT_TRUE(on.overwrite);
    EXPECT_EQ(on.minimum_space, std::optional<bool>(true));
    EXPECT_TRUE(on.force);
    EXPECT_EQ(parse({"-dec:100", "-minspace:0"}).minimum_space, std::optional<bool>(false));
}

// The sentence before the exception shows what may stand behind the constant's name.
TEST(CustomOptionsTest, ArgumentsOfConstants) {
    const auto said = [](const char* word) {
        CaptureConsole console;
        ParameterList parameters({"kalvor", word});
        EXPECT_THROW((void)parse_custom_options(parameters), trel::InvalidParametersException) << word;
        return console.take();
    };
    EXPECT_EQ(said("sqrt"),
              "\ncustom: \"sqrt\" cannot be used. Its argument stands behind a colon: custom "
              "sqrt:<argument>.\nSee \"kalvor help custom\".\n");
    EXPECT_EQ(said("e:5"),
              "\ncustom: \"e:5\" cannot be used. Write \"custom e\".\nSee \"kalvor help custom\".\n");
    EXPECT_EQ(said("sqrt:x"), "\ncustom: \"sqrt:x\" cannot be used.\nSee \"kalvor help custom\".\n");
}

// A framework that this build lacks: the sentence says why, and what to do.
TEST(CustomOptionsTest, WhatTheBuildLacksIsNamedWithItsReason) {
    const trel::LeftOutFramework left_out("manual", "built without its library; install it and run again");
    CaptureConsole console;
    EXPECT_THROW(parse({"-PF:manual"}), trel::InvalidParametersException);
    EXPECT_EQ(
        console.take().find("\n-PF: \"manual\" cannot be used: built without its library; install it and "
                            "run again. Known: none, "),
        0U);
}

// A word that is not an option is shown without the characters that move a cursor.
TEST(CustomOptionsTest, UnknownNamesAreShownAndNotObeyed) {
    const CaptureConsole console;
    const auto message = [](const char* word) {
        try {
            parse({word});
        } catch (const trel::InvalidParametersException& e) {
            return e.message;
        }
        return std::string("accepted");
    };
    EXPECT_EQ(message("-PF:\x1b]0;x"), "Invalid Parallel Framework: \\x1b]0;x");
    EXPECT_EQ(message("-MA:\x1b]0;x"), "Invalid Memory Allocator: \\x1b]0;x");
}

TEST(CustomOptionsTest, TheDefaultIsSaid) {
    CaptureConsole console;
    EXPECT_EQ(parse({}).size.decimal_digits, 50000000u);
    EXPECT_EQ(console.take(), "Note: No -dec is given: the default of 50,000,000 decimal digits is taken.\n");
    EXPECT_EQ(parse({"-dec:5"}).size.decimal_digits, 100u);
    EXPECT_EQ(console.take(),
              "Warning: Precision below minimum. Adjusting to minimum. That is 100 decimal digits.\n");
    // The last one counts, and only it.
    EXPECT_EQ(parse({"-dec:5", "-dec:200"}).size.decimal_digits, 200u);
    EXPECT_EQ(console.take(), "");
    EXPECT_EQ(parse({"-dec:1e30"}).size.decimal_digits, 1000000000000000u);
    EXPECT_EQ(console.take(),
              "Warning: Precision above maximum: Clipping to maximum. That is 1,000,000,000,000,000 decimal "
              "digits.\n");
}

TEST(CustomOptionsTest, ThreadsInOneOption) {
    EXPECT_EQ(summary({"-dec:100", "-threads:1"}), "none 1 / 1");
    EXPECT_EQ(summary({"-dec:100", "-threads:1", "-PF:spawn"}), "none 1 / 1");
    EXPECT_EQ(summary({"-threads:4", "-dec:100"}), "cilk 8 / 4");
    EXPECT_EQ(summary({"-threads:5", "-dec:100"}), "cilk 16 / 5");
    EXPECT_EQ(summary({"-threads:4", "-PF:pushpool", "-dec:100"}), "pushpool 8 / 4");
    EXPECT_EQ(summary({"-PF:taskqueue", "-threads:3", "-dec:100"}), "taskqueue 8 / 2");
    EXPECT_EQ(summary({"-TD:32", "-threads:4", "-dec:100"}), "cilk 32 / 4");
    EXPECT_EQ(summary({"-threads:1", "-TD:32", "-dec:100"}), "none 32 / 1");
    // Without a limit of its own a framework gets as many tasks.
    EXPECT_EQ(summary({"-threads:4", "-PF:spawn", "-dec:100"}), "spawn 4 / 0");
    EXPECT_EQ(summary({"-threads:4", "-PF:tbb", "-TD:9", "-dec:100"}), "tbb 9 / 0");
    CaptureConsole console;
    parse({"-threads:4", "-PF:spawn", "-dec:100"});
    EXPECT_EQ(console.take(), "Note: \"spawn\" has no limit of threads. The work is split into 4 tasks.\n");
    EXPECT_THROW(parse({"-threads:2", "-PF:none", "-dec:100"}), trel::CommandLine::RefusedException);
    EXPECT_THROW(parse({"-threads:65537"}), trel::InvalidParametersException);
}

// What would be right is said with its bounds, and where names have numbers, with these.
TEST(CustomOptionsTest, RefusalsSayTheBounds) {
    const auto refused = [](const char* word) {
        CaptureConsole console;
        try {
            parse({word});
        } catch (const trel::CommandLine::RefusedException& e) {
            return std::string(e.what());
        } catch (const trel::InvalidParametersException&) {
        }
        return console.take();
    };
    const std::string tasks =
        " is not a number. Write a number from 1 to 65,536.\nSee \"kalvor help custom\".";
    EXPECT_EQ(refused("-threads:abc"), "-threads: \"abc\"" + tasks);
    EXPECT_EQ(refused("-TD:abc"), "-TD: \"abc\"" + tasks);
    EXPECT_EQ(refused("-dec:abc"),
              "-dec: \"abc\" is not a number. Write 1000000, 1m or 1,000,000.\nSee \"kalvor help custom\".");
    EXPECT_EQ(refused("-algorithm:9"),
              "\n-algorithm: \"9\" cannot be used. Known: chudnovsky, ramanujan, chudnovsky-reduced, "
              "ramanujan-reduced, or their numbers 0 to 3.\nSee \"kalvor help custom\".\n");
}

// Every name that a refusal lists is one that the option takes.
TEST(CustomOptionsTest, ListedNamesAreTaken) {
    const ComputeChoices defaults;
    int with_names = 0;
    for (const auto& row : option_table(compute_settings_table())) {
        if (!row.names) continue;
        with_names++;
        const std::vector<std::string> names = row.names(defaults);
        EXPECT_FALSE(names.empty()) << row.text.name;
        for (const std::string& name : names) {
            EXPECT_NO_THROW(parse({"-dec:100", row.text.name + ":" + name})) << name;
        }
    }
    EXPECT_EQ(with_names, 4);
    const std::string example = KALVOR_SOURCE_FOLDER "/Custom Formulas/Silver ratio.cfg";
    for (const std::string& token : constant_tokens()) {
        const bool wants_number = token == "sqrt" || token == "log" || token == "brent";
        const std::string argument = wants_number ? "2" : token == "custom" ? example : "";
        EXPECT_EQ(make_constant(token, argument)->token(), catalog().find(token)->tokens.front()) << token;
    }
}

namespace {

ComputeCommand command_of(const std::string& constant, std::vector<std::string> words) {
    words.insert(words.begin(), {"kalvor", constant});
    ParameterList parameters(words);
    return parse_custom_options(parameters);
}

// What refuses the words; empty when nothing does.
std::string refusal(const std::string& constant, const std::vector<std::string>& words) {
    const CaptureConsole console;
    try {
        command_of(constant, words);
    } catch (const trel::CommandLine::RefusedException& e) {
        return e.what();
    } catch (const trel::InvalidParametersException& e) {
        return "(" + e.function + ") " + e.message;
    }
    return "";
}

}  // namespace

TEST(CustomOptionsTest, LastHexadecimalDigits) {
    const CaptureConsole console;
    EXPECT_EQ(command_of("pi", {"-dec:1000"}).settings.bbp_digits, 0u);
    EXPECT_EQ(command_of("pi", {"-bbp:8", "-dec:1000"}).settings.bbp_digits, 8u);
    EXPECT_EQ(command_of("pi", {"-bbp:1048576", "-dec:2m"}).settings.bbp_digits, 1048576u);
    EXPECT_EQ(command_of("pi", {"-dec:1000", "-bbp:831"}).settings.bbp_digits, 831u);
    // They may stand in any order.
    EXPECT_EQ(refusal("pi", {"-bbp:832", "-dec:1000"}),
              "-bbp: the run has only 831 hexadecimal digits.\nSee \"kalvor help custom\".");
    EXPECT_EQ(refusal("pi", {"-bbp:7", "-dec:1000"}),
              "-bbp: \"7\" is below 8. Write a number from 8 to 1,048,576.\nSee \"kalvor help custom\".");
    EXPECT_EQ(refusal("pi", {"-bbp:1048577", "-dec:2m"}),
              "() The number of digits to be computed a second time must be between 8 and 1,048,576.");
    EXPECT_EQ(refusal("sqrt:2", {"-bbp:8", "-dec:1000"}), "() Option -bbp is only for Pi.");
    EXPECT_EQ(refusal("goldenratio", {"-dec:1000", "-bbp:8"}), "() Option -bbp is only for Pi.");
}

TEST(CustomOptionsTest, EventLogFile) {
    const CaptureConsole console;
    EXPECT_EQ(command_of("pi", {"-log", "a:b", "-dec:100"}).settings.log_path, "a:b");
    EXPECT_EQ(command_of("pi", {"-dec:100"}).settings.log_path, "");
}

TEST(CustomOptionsTest, SettingsFileInPlaceOfARun) {
    const CaptureConsole console;
    EXPECT_EQ(command_of("pi", {"-dec:100"}).save_path, "");
    EXPECT_EQ(command_of("pi", {"-save", "run", "-dec:100"}).save_path, "run.cfg");
    EXPECT_EQ(command_of("pi", {"-save:./run", "-dec:100"}).save_path, "./run");
    EXPECT_EQ(refusal("pi", {"-save", "run", "-dec:1000", "-log", "x"}),
              "-save: a settings file cannot hold -log.\nSee \"kalvor help custom\".");
    EXPECT_EQ(refusal("pi", {"-bbp:8", "-save", "run", "-dec:1000"}),
              "-save: a settings file cannot hold -bbp.\nSee \"kalvor help custom\".");
}

TEST(CustomOptionsTest, ASavedFileMakesTheSameSettings) {
    const kalvor_test::TemporaryFolder folder;
    CaptureConsole console;
    ComputeCommand command = command_of(
        "sqrt:7", {"-dec:2m", "-hex", "-o", folder.file("out"), "-C:1m", "-save", folder.file("run.cfg")});
    const std::string want = save_compute_settings(command.settings)->to_acfg();
    EXPECT_FALSE(run_or_save(std::move(command), kalvor_test::authorized()));
    EXPECT_EQ(console.take(), "Written: " + folder.file("run.cfg") + "\n");
    // Nothing was run, and nothing was made for it.
    EXPECT_EQ(folder.files(), std::vector<std::string>{"run.cfg"});
    EXPECT_FALSE(std::filesystem::exists(folder.file("out")));
    const auto root = trel::FileIO::load_config_file(folder.file("run.cfg"));
    const auto& object = root->as<trel::Config::Object>();
    EXPECT_EQ(object.get_string("Action"), "CustomCompute");
    std::vector<std::string> warnings;
    const ComputeSettings loaded = load_compute_settings(object.get_object("CustomCompute"), warnings);
    EXPECT_EQ(save_compute_settings(loaded)->to_acfg(), want);
    EXPECT_TRUE(warnings.empty());
}

TEST(CustomOptionsTest, AnotherActionTakesSomeOfTheOptions) {
    const std::string_view names[] = {"-o", "-TD", "-compress"};
    const ComputeOptions options = options_named(compute_settings_table(), names);
    EXPECT_EQ(trel::CommandLine::names_of(options), (std::vector<std::string>{"-o", "-TD", "-compress"}));
    ComputeChoices choices;
    ParameterList parameters({"kalvor", "-TD:4", "-o", "x", "25m"});
    const OptionUse use{"bench", "help bench"};
    EXPECT_TRUE(read_compute_option(choices, parameters, options, use));
    EXPECT_TRUE(read_compute_option(choices, parameters, options, use));
    EXPECT_FALSE(read_compute_option(choices, parameters, options, use));
    EXPECT_EQ(parameters.current_raw(), "25m");
    EXPECT_EQ(choices.settings.path, "x");
    EXPECT_EQ(choices.settings.parallelism.task_decomposition, 4u);
}
