#include "platform/parallel/framework_settings.h"

#include "base/console/console.h"
#include "base/prompt/prompt.h"
#include "base/settings/setting_lines.h"

namespace trel {

MaxSequentialDispatch::MaxSequentialDispatch(const Config::Object& object) {
    const i64 value = object.get_integer(kKey, "Parallel Framework");
    *this = MaxSequentialDispatch(value < 0 ? 0 : static_cast<u64>(value));
}

void MaxSequentialDispatch::add_to_config(Config::Object& object) const {
    object.add_integer(kKey, static_cast<i64>(value_));
}

void MaxSequentialDispatch::add_to_selector(Config::Object& object) const {
    add_selector(object, kKey, static_cast<i64>(value_), std::to_string(value_));
}

void MaxSequentialDispatch::print(u64 line_number) const {
    print_setting_line(line_number, "    Max Sequential Dispatch:    ", kFrameworkLabelWidth,
                       std::to_string(value_), 'Y');
}

void MaxSequentialDispatch::edit() {
    Console::print_line("Max Sequential Dispatch", 'P');
    Console::new_line();
    Console::print_line("    This parameter puts a limit on the maximum number of tasks that can be", 'w');
    Console::print_line("issued sequentially before a recursive fan-out is required. This controls the");
    Console::print_line("exponential fan-out of tasks onto threads.");
    Console::new_line();
    Console::print_line("Smaller values have shorter critical paths, but require more recursive dispatch");
    Console::print_line("generations to reach full utilization.");
    Console::new_line();
    Console::print_line("Larger values have longer critical paths in each generation, but require fewer");
    Console::print_line("recursive dispatch generations.");
    Console::new_line();
    *this = MaxSequentialDispatch(Prompt::read_unsigned_in_range("Value = ", kLeast, ~u64(0) >> 1, 'T'));
}

WorkerThreads::WorkerThreads(const Config::Object& object) {
    const i64 value = object.get_integer(kKey, "Parallel Framework");
    value_ = value < 0 ? 0 : static_cast<u64>(value);
}

std::string WorkerThreads::text() const {
    return value_ == 0 ? "Unlimited" : std::to_string(value_);
}

void WorkerThreads::add_to_config(Config::Object& object) const {
    object.add_integer(kKey, static_cast<i64>(value_));
}

void WorkerThreads::add_to_selector(Config::Object& object) const {
    add_selector(object, kKey, static_cast<i64>(value_), text());
}

void WorkerThreads::print(u64 line_number) const {
    print_setting_line(line_number, "    Worker Threads:", kFrameworkLabelWidth, text(), 'Y');
}

void WorkerThreads::edit() {
    value_ = Prompt::read_unsigned_in_range("Threads (0 for unlimited threads): ", 0, ~u64(0) >> 1, 'T');
}

}  // namespace trel
