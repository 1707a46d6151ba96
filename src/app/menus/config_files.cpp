#include "app/menus/config_files.h"

#include "base/command_line/shown_text.h"
#include "base/config/section.h"
#include "base/console/console.h"
#include "base/console/error_output.h"
#include "base/errors/exceptions.h"
#include "base/errors/expected_exceptions.h"
#include "base/prompt/prompt.h"
#include "platform/fileio/settings_file.h"

namespace kalvor {

using Config::Object;

namespace {

bool report_failure(const std::function<void()>& work) {
    try {
        work();
        return true;
    } catch (const Exception& e) {
        e.print();
    } catch (const ExpectedException& e) {
        Console::print_problem(e.what());
    }
    return false;
}

}  // namespace

bool load_from_menu(const std::string& action, const std::function<void(const Object& settings)>& take) {
    Console::print_line("Enter path of configuration file. (the .cfg extension can be omitted)");
    const std::string path = FileIO::with_config_extension(Prompt::read_text("Path", 'T'));
    return report_failure([&] {
        const auto root = FileIO::load_config_file(path);
        const Object& object = root->as<Object>();
        const std::string& name = object.get_string("Action");
        if (name != action) {
            throw InvalidParametersException("load_from_menu()",
                                             "Invalid Action: " + CommandLine::shown(name));
        }
        take(Config::Section(object, "", {}).section(action).object());
    });
}

bool save_from_menu(const std::string& action, std::unique_ptr<Object> settings) {
    Console::print_line("Enter path to save configuration file. (the .cfg extension can be omitted)");
    const std::string path = FileIO::with_config_extension(Prompt::read_text("Path", 'T'));
    return report_failure([&] {
        FileIO::write_config_file(path, action, std::move(settings));
        Console::labelled_line("Written", CommandLine::shown_path(path), 'G');
    });
}

}  // namespace kalvor
