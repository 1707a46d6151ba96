// Settings of a computation and the options of the command line. They reach every room, so that libFuzzer's
// program does not have these targets: the tests replay them.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "app/custom/compute_options.h"
#include "app/settings/compute_settings_object.h"
#include "app/stress/stress_options.h"
#include "base/command_line/refusal.h"
#include "base/config/parser.h"
#include "base/errors/exceptions.h"
#include "base/errors/expected_exceptions.h"
#include "digits/bbp/bbp_command.h"
#include "fuzz/require.h"
#include "support/capture_console.h"

namespace fuzz {

// The object "CustomCompute" of a settings file.
inline void custom_settings(std::string_view bytes) {
    using namespace kalvor;
    const CaptureConsole console;
    try {
        const std::unique_ptr<Config::Node> tree = Config::parse_acfg(bytes);
        if (tree->type() != Config::NodeType::object) return;
        std::vector<std::string> warnings;
        const ComputeSettings settings = load_compute_settings(tree->as<Config::Object>(), warnings);
        require(settings.constant != nullptr, "a constant is chosen");
        const u64 digits = settings.size.decimal_digits;
        require(settings.constant->min_decimal_digits() <= digits &&
                    digits <= settings.constant->max_decimal_digits(),
                "sizes are within the constant's bounds");
        require(
            settings.parallelism.task_decomposition >= 1 && settings.parallelism.task_decomposition <= 65536,
            "tasks are within their bounds");
        const std::string text = save_compute_settings(settings)->to_acfg();
        const auto again = Config::parse_acfg(text + "\n");
        std::vector<std::string> none;
        const ComputeSettings back = load_compute_settings(again->as<Config::Object>(), none);
        require(none.empty(), "what was corrected needs no second correction");
        require(save_compute_settings(back)->to_acfg() == text, "what was read is written and read again");
        require(compute_settings_selector(settings) != nullptr, "settings have texts");
    } catch (const trel::Exception&) {
    } catch (const trel::ExpectedException&) {
    }
    require(console.text().size() < (64u << 10), "what is said of a file is short");
}

// Words of a command line, a line each: the first is the action.
inline void options(std::string_view bytes) {
    using namespace kalvor;
    static const CoreNumbers numbers = CoreNumbers::of({{0, 1, 2, 3}});
    std::vector<std::string> words = {"kalvor"};
    std::string text(bytes);
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        words.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    const CaptureConsole console;
    CommandLine::ParameterList parameters(words);
    try {
        const std::string action = parameters.current_raw();
        parameters.advance();
        if (action == "custom" && parameters.has_more()) {
            const ComputeCommand command = parse_custom_options(parameters);
            require(!parameters.has_more(), "every word was read");
            const u64 digits = command.settings.size.decimal_digits;
            require(command.settings.constant->min_decimal_digits() <= digits &&
                        digits <= command.settings.constant->max_decimal_digits(),
                    "sizes are within the constant's bounds");
        } else if (action == "stress") {
            const StressChoices choices =
                parse_stress_options(parameters, StressMachine{&numbers, 1 << 30, 0});
            require(!parameters.has_more(), "every word was read");
            require(!choices.settings.cores.empty() && choices.settings.cores.back() < numbers.count(),
                    "cores exist");
        } else if (action == "bbp") {
            const BBPv2::BBPSettings settings = BBPv2::parse_bbp_options(parameters);
            require(!parameters.has_more(), "every word was read");
            require(settings.formula <= 1 && settings.offset <= BBPv2::kMaxOffset && settings.digits >= 8 &&
                        settings.digits <= 1048576 && settings.threads >= 1 && settings.threads <= 65536,
                    "values are those that a prompt takes");
        }
    } catch (const trel::Exception&) {
    } catch (const trel::ExpectedException&) {
    } catch (const CommandLine::RefusedException& refusal) {
        require(*refusal.what() != '\0', "a refusal says why");
    } catch (const std::exception& e) {
        require(std::string_view(e.what()) == "Expected more parameters.", "the one standard exception");
    }
}

}  // namespace fuzz
