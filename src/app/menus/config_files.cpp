#include "app/menus/config_files.h"

#include <cstdlib>
#include <optional>

#include "base/command_line/shown_text.h"
#include "base/config/section.h"
#include "base/console/console.h"
#include "base/console/error_output.h"
#include "base/errors/exceptions.h"
#include "base/errors/expected_exceptions.h"
#include "base/errors/plain_words.h"
#include "base/prompt/prompt.h"
#include "platform/fileio/settings_file.h"

namespace kalvor {

using Config::Object;

namespace {

// Nothing for an empty answer, which is more likely a second thought than a file named ".cfg".
std::optional<std::string> read_path() {
    const std::string path = Prompt::read_text("Path", 'T');
    if (!path.empty()) return FileIO::with_config_extension(path);
    Console::error_line("No path is given.");
    return std::nullopt;
}

// "line 5" for people, who count from 1; `message` is "Line 4: ...".
std::string place_of(const std::string& message) {
    constexpr std::string_view kLine = "Line ";
    if (!message.starts_with(kLine)) return "its form";
    return "line " + std::to_string(std::strtoull(message.c_str() + kLine.size(), nullptr, 10) + 1);
}

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

std::unique_ptr<Config::Node> load_settings_file(const std::string& path) {
    constexpr const char* kSeeHelp = "See \"kalvor help config\".";
    const std::string file = "The settings file " + CommandLine::quoted(path);
    try {
        auto root = FileIO::load_config_file(path);
        (void)root->as<Object>();
        return root;
    } catch (const FileIO::FileException& e) {
        throw SettingsFileException(e);
    } catch (const EndOfStreamException&) {
        Console::print_problem(file + " ends too early: a quote, bracket or brace is not closed.\n" +
                               kSeeHelp);
        throw;
    } catch (const ParseException& e) {
        Console::print_problem(file + " is wrong in " + place_of(e.message) + ".\n" + kSeeHelp);
        throw;
    }
}

bool load_from_menu(const std::string& action, const std::function<void(const Object& settings)>& take) {
    Console::print_line("Enter path of configuration file. (the .cfg extension can be omitted)");
    const std::optional<std::string> path = read_path();
    if (!path) return false;
    return report_failure([&] {
        const auto root = load_settings_file(*path);
        const Config::Section section(root->as<Object>(), "", [&](const std::string& key) {
            return key == "Action" ? std::vector<std::string>{action} : std::vector<std::string>();
        });
        section.read([&](const Object& object) {
            const std::string& name = object.get_string("Action");
            if (name == action) return;
            throw InvalidParametersException("load_from_menu()",
                                             "Invalid Action: " + CommandLine::shown(name));
        });
        take(section.section(action).object());
    });
}

bool save_from_menu(const std::string& action, std::unique_ptr<Object> settings) {
    Console::print_line("Enter path to save configuration file. (the .cfg extension can be omitted)");
    const std::optional<std::string> path = read_path();
    if (!path) return false;
    return report_failure([&] {
        FileIO::write_config_file(*path, action, std::move(settings));
        Console::labelled_line("Written", CommandLine::shown_path(*path), 'G');
    });
}

}  // namespace kalvor
