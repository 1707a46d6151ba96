#include "app/entry/config_action.h"

#include <map>
#include <memory>
#include <string>

#include "app/menus/not_available.h"
#include "app/session/custom_settings_object.h"
#include "app/session/normal_float_session.h"
#include "base/console/console.h"
#include "base/errors/exceptions.h"
#include "base/errors/expected_exceptions.h"
#include "platform/fileio/settings_file.h"

namespace kalvor {

using trel::InvalidParametersException;
using trel::CommandLine::ParameterList;
using trel::Config::Object;

namespace {

constexpr const char* kFunction = "run_config()";

// What an action of a settings file does: makes its job of the file's root object, to be run once it is known
// to be sound.
struct ConfigAction {
    const char* rejected;  // message when the settings cannot be used
    std::function<ConfigJob(const Object& root)> build;
};

ConfigJob build_custom_compute(const Object& root) {
    auto settings = std::make_shared<CustomSettings>(load_custom_settings(root.get_object("CustomCompute")));
    return [settings] { NormalFloatSessionB(*settings).run(); };
}

// An action whose settings this version does not know how to use.
auto build_missing(const char* key, const char* what) {
    return [key, what](const Object& root) -> ConfigJob {
        (void)root.get_object(key);
        not_available(what);
    };
}

const std::map<std::string, ConfigAction>& config_actions() {
    static const std::map<std::string, ConfigAction> actions = {
        {"CustomCompute", {"Cannot run computation with these parameters.", build_custom_compute}},
        {"BenchIO",
         {"Cannot run benchmark with these parameters.", build_missing("BenchIO", Missing::kIoAnalysis)}},
        {"StressTest",
         {"Cannot run stress test with these parameters.",
          build_missing("StressTest", Missing::kStressTester)}},
    };
    return actions;
}

}  // namespace

ConfigJob build_or_reject(const std::function<ConfigJob()>& build, const char* rejected) {
    try {
        return build();
    } catch (const trel::Exception& e) {
        e.print();
    } catch (const trel::ExpectedException& e) {
        trel::Console::error_line(e.what());
    }
    throw InvalidParametersException(kFunction, rejected);
}

void run_config(ParameterList& parameters) {
    parameters.advance();
    if (!parameters.has_more()) throw InvalidParametersException(kFunction, "Please specify a config file.");
    const std::string path = trel::FileIO::with_config_extension(parameters.current_raw());
    parameters.advance();

    const auto root = trel::FileIO::load_config_file(path);
    const Object& object = root->as<Object>();
    const std::string& name = object.get_string("Action");
    const auto action = config_actions().find(name);
    if (action == config_actions().end()) {
        throw InvalidParametersException(kFunction, "Invalid Action: " + name);
    }
    const auto& [rejected, build] = action->second;
    build_or_reject([&] { return build(object); }, rejected)();
}

}  // namespace kalvor
