#include "app/stress/stress_command.h"

#include <memory>

#include "app/stress/stress_console_run.h"
#include "app/stress/stress_menu.h"
#include "app/stress/stress_options.h"
#include "base/command_line/shown_text.h"
#include "base/config/section.h"
#include "base/console/console.h"
#include "platform/fileio/settings_file.h"

namespace kalvor {

bool run_stress_action(CommandLine::ParameterList& parameters) {
    parameters.advance();
    if (!parameters.has_more()) return run_stress_menu();
    const StressChoices choices = parse_stress_options(parameters, StressMachine::of_this_machine());
    if (choices.save_path.empty()) {
        return run_stress_on_console(choices.settings, StressCalls::of_this_machine());
    }
    const std::string path = FileIO::with_config_extension(choices.save_path);
    FileIO::write_config_file(path, StressSettings::kAction, stress_settings_to_config(choices.settings));
    Console::labelled_line("Written", CommandLine::shown_path(path), 'G');
    return true;
}

std::function<bool()> build_stress_test(const Config::Object& root) {
    const Config::Section section = Config::Section(root, "", {}).section(StressSettings::kAction);
    const StressMachine machine = StressMachine::of_this_machine();
    const auto settings = std::make_shared<StressSettings>(
        section.read([&](const Config::Object& object) { return load_stress_settings(object, machine); }));
    return [settings] { return run_stress_on_console(*settings, StressCalls::of_this_machine()); };
}

}  // namespace kalvor
