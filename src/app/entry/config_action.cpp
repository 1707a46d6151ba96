#include "app/entry/config_action.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "app/menus/config_files.h"
#include "app/menus/not_available.h"
#include "app/session/console_run.h"
#include "app/settings/compute_settings_object.h"
#include "app/stress/stress_command.h"
#include "base/command_line/refusal.h"
#include "base/command_line/shown_text.h"
#include "base/config/section.h"
#include "base/console/console.h"
#include "base/console/error_output.h"
#include "base/errors/exceptions.h"
#include "base/errors/expected_exceptions.h"
#include "base/errors/plain_words.h"
#include "base/status/linear_console_node.h"
#include "platform/fileio/output_folder.h"
#include "platform/fileio/settings_file.h"

namespace kalvor {

using CommandLine::ParameterList;
using CommandLine::quoted;
using Config::Object;
using Config::Section;

namespace {

constexpr const char* kFunction = "run_config()";
constexpr const char* kSeeHelp = "See \"kalvor help config\".";

// What an action of a settings file does: makes its job of the file's root object, to be run once, when it is
// known to be sound.
struct ConfigAction {
    const char* rejected;  // message when the settings cannot be used
    bool available;
    std::function<ConfigJob(const Object& root, const AuthorizationToken& token)> build;
};

ConfigJob build_custom_compute(const Object& root, const AuthorizationToken& token) {
    const Section section = Section(root, "", {}).section("CustomCompute");
    std::vector<std::string> warnings;
    auto settings = std::make_shared<ComputeSettings>(load_compute_settings(section.object(), warnings));
    for (const std::string& warning : warnings) Console::labelled_line("Warning", warning, 'Y');
    // Last, and only to see whether it can be done: settings that are refused leave no folder behind, and
    // neither does a run that is refused. The run makes its folder itself.
    {
        constexpr u64 kLineWidth = 79;
        LinearConsoleNode console(kLineWidth, 1.0);
        FileIO::try_output_folder(settings->path, FileIO::FileCalls::of_this_machine(),
                                  FileIO::ask_again_through(console, &console));
    }
    return [settings, token] {
        run_on_console(std::move(*settings), token);
        return true;
    };
}

// An action whose settings this version does not know how to use.
auto build_missing(const char* key, const char* what) {
    return [key, what](const Object& root, const AuthorizationToken&) -> ConfigJob {
        (void)Section(root, "", {}).section(key);
        not_available(what);
    };
}

const std::map<std::string, ConfigAction>& config_actions() {
    static const std::map<std::string, ConfigAction> actions = {
        {"CustomCompute", {"Cannot run computation with these parameters.", true, build_custom_compute}},
        {"BenchIO",
         {"Cannot run benchmark with these parameters.", false,
          build_missing("BenchIO", Missing::kIoAnalysis)}},
        {"StressTest",
         {"Cannot run stress test with these parameters.", true,
          [](const Object& root, const AuthorizationToken&) { return build_stress_test(root); }}},
    };
    return actions;
}

std::vector<std::string> action_names() {
    std::vector<std::string> names;
    for (const auto& [name, action] : config_actions()) {
        if (action.available) names.push_back(name);
    }
    return names;
}

}  // namespace

ConfigJob build_or_reject(const std::function<ConfigJob()>& build, const char* rejected) {
    try {
        return build();
    } catch (const Exception& e) {
        const Console::ErrorOutput errors;
        const std::string words = plain_words(e);
        if (!words.empty()) Console::error_line(words);
        e.print();
    } catch (const ExpectedException& e) {
        Console::print_problem(e.what());
    }
    throw InvalidParametersException(kFunction, rejected);
}

std::vector<std::string> config_help_page() {
    return {"Usage:  kalvor [console options] config <file>",
            "",
            "Runs what the settings file describes. \".cfg\" may be left out.",
            "docs/sample.cfg of the sources is a file that works; docs/formats.md tells the",
            "form.",
            ""};
}

bool run_config(ParameterList& parameters, const AuthorizationToken& token) {
    parameters.advance();
    if (!parameters.has_more()) {
        Console::print_problem(std::string("config needs the path of a settings file: config <file>.\n") +
                               kSeeHelp);
        throw InvalidParametersException(kFunction, "Please specify a config file.");
    }
    const std::string path = FileIO::with_config_extension(parameters.current_raw());
    parameters.advance();
    if (parameters.has_more()) {
        throw CommandLine::RefusedException("config: " + quoted(parameters.current_raw()) +
                                            " stands behind the file. The settings are all in the file.\n" +
                                            kSeeHelp);
    }

    const auto root = load_settings_file(path);
    const Section section(root->as<Object>(), "", [](const std::string& key) {
        return key == "Action" ? action_names() : std::vector<std::string>();
    });
    const ConfigAction action = section.read([](const Object& object) -> const ConfigAction& {
        const std::string& name = object.get_string("Action");
        const auto found = config_actions().find(name);
        if (found == config_actions().end()) {
            throw InvalidParametersException(kFunction, "Invalid Action: " + CommandLine::shown(name));
        }
        return found->second;
    });
    return build_or_reject([&] { return action.build(section.object(), token); }, action.rejected)();
}

}  // namespace kalvor
