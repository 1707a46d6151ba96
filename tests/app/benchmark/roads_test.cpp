// The roads to a computation: menu, options, settings file and benchmark make the same settings and the same
// digits.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include "app/benchmark/bench_command.h"
#include "app/custom/compute_options.h"
#include "app/custom/custom_menu.h"
#include "app/session/console_run.h"
#include "app/settings/compute_settings_object.h"
#include "base/errors/exceptions.h"
#include "platform/fileio/settings_file.h"
#include "support/authorized.h"
#include "support/capture_console.h"
#include "support/temporary_folder.h"

using kalvor_test::authorized;
using kalvor_test::TemporaryFolder;

namespace kalvor {
namespace {

constexpr BenchmarkSize kPresets[] = {{"5k", 5000, 1}};
constexpr BenchmarkSize kPowers[] = {{"4K", 4096, 12}, {"8K", 8192, 13}};
constexpr BenchmarkSizes kSizes{kPresets, kPowers};

class RoadsTest : public testing::Test {
  protected:
    void options(const std::vector<std::string>& more) {
        std::vector<std::string> words = {"kalvor", "pi", "-dec:4096", "-o", out_};
        words.insert(words.end(), more.begin(), more.end());
        CommandLine::ParameterList parameters(words);
        (void)run_or_save(parse_custom_options(parameters), authorized());
    }
    void bench(const std::vector<std::string>& more) {
        std::vector<std::string> words = {"kalvor", "bench", "4K", "-o", out_};
        words.insert(words.end(), more.begin(), more.end());
        CommandLine::ParameterList parameters(words);
        EXPECT_TRUE(run_bench(parameters, authorized(), kSizes));
    }
    // The answers end the input unless they start the run.
    void menu(std::initializer_list<std::string> answers, bool starts) {
        CaptureConsole console;
        console.type(answers);
        if (starts) {
            EXPECT_TRUE(run_custom_menu(authorized()));
        } else {
            EXPECT_THROW(run_custom_menu(authorized()), EndOfStreamException);
        }
        EXPECT_EQ(console.lines_left(), 0U);
    }
    void file(const char* name) {
        const auto root = FileIO::load_config_file(folder_.file(name));
        SettingWarnings warnings;
        ComputeSettings settings = load_compute_settings(
            root->as<Config::Object>().get_object("CustomCompute"), warnings, compute_settings_table());
        EXPECT_TRUE(warnings.empty());
        run_on_console(std::move(settings), authorized());
    }

    const CaptureConsole console_;
    const TemporaryFolder folder_;
    const std::string out_ = folder_.file("out/");
};

TEST_F(RoadsTest, MakeTheSameSettings) {
    options({"-save", folder_.file("options.cfg")});
    bench({"-save", folder_.file("bench.cfg")});
    menu({"3", "4096", "5", out_, "21", folder_.file("menu.cfg")}, false);
    menu({"20", folder_.file("options.cfg"), "21", folder_.file("again.cfg")}, false);
    const std::string text = folder_.read("options.cfg");
    EXPECT_NE(text.find("DecimalDigits : 4096\r\n"), std::string::npos) << text;
    for (const char* name : {"bench.cfg", "menu.cfg", "again.cfg"})
        EXPECT_EQ(folder_.read(name), text) << name;
}

TEST_F(RoadsTest, MakeTheSameDigits) {
    options({"-save", folder_.file("options.cfg")});
    menu({"3", "4096", "5", out_, "21", folder_.file("menu.cfg")}, false);
    const std::function<void()> roads[] = {
        [&] { options({}); },
        [&] { bench({}); },
        [&] {
            menu({"3", "4096", "5", out_, "0"}, true);
        },
        [&] {
            menu({"20", folder_.file("options.cfg"), "0"}, true);
        },
        [&] { file("options.cfg"); },
        [&] { file("menu.cfg"); },
    };
    std::string digits;
    for (const auto& road : roads) {
        std::filesystem::remove_all(out_);
        road();
        const std::string here = folder_.read("out/Pi - Dec - Chudnovsky.txt");
        EXPECT_EQ(here.size(), 4098U);
        if (digits.empty()) digits = here;
        EXPECT_EQ(here, digits);
    }
}

}  // namespace
}  // namespace kalvor
