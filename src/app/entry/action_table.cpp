#include "app/entry/action_table.h"

#include <functional>
#include <map>
#include <string>

#include "app/entry/about_page.h"
#include "app/entry/config_action.h"
#include "app/entry/usage.h"
#include "app/menus/not_available.h"
#include "app/session/custom_options.h"
#include "app/session/normal_float_session.h"
#include "base/console/console.h"

namespace kalvor {

using trel::CommandLine::ParameterList;

namespace {

using Handler = std::function<void(ParameterList&)>;

void run_custom(ParameterList& parameters) {
    parameters.advance();
    if (!parameters.has_more()) {
        print_usage();
        return;
    }
    const CustomSettings settings = parse_custom_options(parameters);
    NormalFloatSessionB session(settings);
    session.run();
}

void run_about(ParameterList& parameters) {
    parameters.advance();
    print_about_page();
}

Handler missing(const char* what) {
    return [what](ParameterList&) { not_available(what); };
}

}  // namespace

void run_action(ParameterList& parameters) {
    static const std::map<std::string, Handler> table = {{"bench", missing(Missing::kBenchmarkPi)},
                                                         {"stress", missing(Missing::kStressTester)},
                                                         {"benchio", missing(Missing::kIoAnalysis)},
                                                         {"custom", run_custom},
                                                         {"bbp", missing(Missing::kBbpExtractor)},
                                                         {"digitviewer", missing(Missing::kDigitViewer)},
                                                         {"about", run_about},
                                                         {"validate", missing(Missing::kBenchmarkValidator)},
                                                         {"config", run_config},
                                                         {"slave", missing(Missing::kSlaveMode)}};
    const auto action = table.find(parameters.current().first);
    if (action == table.end()) {
        trel::Console::error_line("Invalid Parameter: " + parameters.current_raw());
        trel::Console::fatal_exit(1);
    }
    action->second(parameters);
}

}  // namespace kalvor
