// The menus of the settings, as transcripts.
#include <gtest/gtest.h>

#include "app/menus/memory_menu.h"
#include "app/menus/mode_menu.h"
#include "app/menus/parallelism_menu.h"
#include "base/errors/exceptions.h"
#include "constants/catalog/catalog.h"
#include "platform/parallel/framework_registry.h"
#include "support/capture_console.h"
#include "support/columns.h"

namespace kalvor {
namespace {

std::string parallelism(const std::string& tasks, const std::string& framework, const std::string& own) {
    return "\n\nParallelization Settings:\n\nCurrent Settings: (select option # to change setting)\n\n"
           "   1    Restore defaults for 4 logical cores.\n"
           "   2    Task Decomposition:         " +
           tasks + "\n   3    Framework:                  " + framework + "\n" + own +
           "\n   0    Done!\n\noption: ";
}

class ParallelismMenuTest : public testing::Test {
  protected:
    std::string shown(std::initializer_list<std::string> typed) {
        CaptureConsole console;
        console.type(typed);
        parallelism_menu(settings_);
        EXPECT_EQ(console.lines_left(), 0u);
        return console.take();
    }
    ParallelismSettings settings_{4};
};

TEST_F(ParallelismMenuTest, EditsTheNumberOfTasks) {
    settings_.framework.choose("none");
    EXPECT_EQ(shown({"2", "0", "65537", "17", "0"}),
              parallelism("8", "None (No Multi-threading)", "") +
                  "\n\nTarget Task Decomposition\n\n"
                  "In order to parallelize a task, it must be decomposed to smaller tasks.\n"
                  "However, decomposing tasks incurs CPU and memory overhead.\n"
                  "  - With fewer tasks, you have less overhead, but you may not achieve high\n"
                  "    utilization of the processor cores.\n"
                  "  - With more tasks, you have more overhead, but better CPU utilization.\n"
                  "At minimum value, this should be at least the # of logical cores. But it may\n"
                  "be optimal to go even higher. This is known as \"over-decomposition\".\n\n"
                  "Task Decomposition: \nPlease choose a number between 1 and 65,536.\n"
                  "Task Decomposition: \nPlease choose a number between 1 and 65,536.\n"
                  "Task Decomposition: " +
                  parallelism("17", "None (No Multi-threading)", ""));
    EXPECT_EQ(settings_.task_decomposition, 17u);
}

TEST_F(ParallelismMenuTest, RestoresTheDefaultsOfTheMachine) {
    const std::string before = settings_.summary();
    settings_.task_decomposition = 3;
    settings_.framework.choose("none");
    shown({"1", "0"});
    EXPECT_EQ(settings_.summary(), before);
}

// Whatever the framework, its own lines follow and each can be edited; numbers beyond are asked again.
TEST_F(ParallelismMenuTest, EveryFrameworkHasItsLines) {
    const std::vector<std::string> names = framework_names();
    for (u64 i = 0; i < names.size(); i++) {
        CaptureConsole console;
        console.type({"3", std::to_string(i), "99", "0"});
        parallelism_menu(settings_);
        EXPECT_EQ(settings_.framework->name(), names[i]);
        EXPECT_NE(
            console.text().find("   3    Framework:                  " + settings_.framework->display_name()),
            std::string::npos);
        CaptureConsole lines;
        const u64 own = settings_.framework->print(4) - 4;
        for (u64 line = 0; line < own; line++) {
            CaptureConsole edit;
            edit.type({std::to_string(4 + line), "100000", "1", "0", "0"});
            EXPECT_NO_THROW(parallelism_menu(settings_)) << names[i] << " " << line;
        }
    }
}

TEST_F(ParallelismMenuTest, NobodyThere) {
    const CaptureConsole console;
    EXPECT_THROW(parallelism_menu(settings_), EndOfStreamException);
}

std::string memory(const std::string& allocator, const std::string& own) {
    return "\n\nMemory Settings\n\n"
           "    Working Memory               512 MiB\n"
           "    Twiddle Factor Tables       1.00 MiB\n"
           "  ----------------------------------------\n"
           "    Total Memory                 513 MiB\n\n"
           "Options:\n\n"
           "   1    Adjust Total Memory (not available in this mode)\n"
           "   2    Memory Allocator:       " +
           allocator + "\n" + own + "\n   0    Done!\n\noption: ";
}

TEST(MemoryMenuTest, ShowsWhatTheRunTakesAndEditsTheAllocator) {
    ChoiceSetting<AllocatorConfig> allocator("Allocator", "", allocator_choices(), "malloc");
    CaptureConsole console;
    console.type({"1", "0"});
    memory_menu({512 << 20, 1 << 20}, allocator);
    const std::string own = [&] {
        CaptureConsole lines;
        allocator->print(3);
        return lines.take();
    }();
    const std::string menu = memory(allocator->display_name(), own);
    EXPECT_EQ(console.take(), menu + menu);
    for (u64 i = 0; i < allocator_names().size(); i++) {
        console.type({"2", std::to_string(i), "0"});
        memory_menu({512 << 20, 1 << 20}, allocator);
        EXPECT_EQ(allocator->name(), allocator_names()[i]);
    }
    EXPECT_THROW(memory_menu({1, 1}, allocator), EndOfStreamException);
}

// With the lines of every framework and allocator, and every list.
TEST(SettingsMenusTest, FitEightyColumns) {
    ParallelismSettings settings(65536);
    for (u64 i = 0; i < framework_names().size(); i++) {
        CaptureConsole console;
        console.type({"2", "65536", "3", std::to_string(i), "0"});
        parallelism_menu(settings);
        EXPECT_EQ(settings.framework->name(), framework_names()[i]);
        EXPECT_EQ(kalvor_test::too_wide(console.take()), "");
    }
    ChoiceSetting<AllocatorConfig> allocator("Allocator", "", allocator_choices(), "malloc");
    for (u64 i = 0; i < allocator_names().size(); i++) {
        CaptureConsole console;
        console.type({"2", std::to_string(i), "0"});
        memory_menu({~u64(0) >> 2, ~u64(0) >> 2}, allocator);
        EXPECT_EQ(allocator->name(), allocator_names()[i]);
        EXPECT_EQ(kalvor_test::too_wide(console.take()), "");
    }
    CaptureConsole console;
    console.type({"1"});
    mode_menu(*make_constant("pi", ""), "1,023 PiB");
    EXPECT_EQ(kalvor_test::too_wide(console.take()), "");
}

TEST(ModeMenuTest, ShowsBothModes) {
    CaptureConsole console;
    console.type({"0", "3", "2"});
    mode_menu(*make_constant("pi", ""), "51.0 MiB");
    EXPECT_EQ(console.take(),
              "\n\nSelect a Mode:\n\nOption      Mode            Memory      Disk Memory\n\n"
              " 1      Ram Only            51.0 MiB\n"
              " 2      Swap Mode           Not Supported\n\n"
              "    *Disk usage varies with the amount of memory that is being used.\n"
              "    More memory usually means more disk usage. The value shown here is for\n"
              "    the lowest possible amount of working memory.\n\n"
              "    Memory and disk usage estimates are provable upper-bounds for what they\n"
              "    are measuring. But they do not include unmeasureable overheads such as\n"
              "    run-time libraries, bookkeeping, OS system memory, etc...\n\n"
              "    Disk usage estimates is for the amount of logical data. Overheads such as\n"
              "    redundant RAID will cause the actual disk requirement to be higher than\n"
              "    what is displayed.\n\noption: option: option: ");
    EXPECT_THROW(mode_menu(*make_constant("pi", ""), ""), EndOfStreamException);
}

// Pi, but for no mode.
class ModelessPi final : public Constant {
  public:
    const CatalogRow& row() const override { return pi_->row(); }
    std::string name_short() const override { return pi_->name_short(); }
    std::string name_long() const override { return pi_->name_long(); }
    std::vector<AlgorithmRow> algorithms() const override { return pi_->algorithms(); }
    bool supports(ComputationMode) const override { return false; }
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override {
        return pi_->make_evaluator(request);
    }

  private:
    const std::unique_ptr<Constant> pi_ = make_constant("pi", "");
};

TEST(ModeMenuTest, TheConstantSaysWhichModesItHas) {
    CaptureConsole console;
    console.type({"1"});
    mode_menu(ModelessPi(), "51.0 MiB");
    const std::string text = console.take();
    EXPECT_NE(
        text.find(" 1      Ram Only            Not Supported\n 2      Swap Mode           Not Supported\n"),
        std::string::npos)
        << text;
    EXPECT_EQ(text.find("51.0 MiB"), std::string::npos);
}

}  // namespace
}  // namespace kalvor
