#include "app/session/custom_options.h"

#include <functional>
#include <map>

#include "base/console/console.h"
#include "base/errors/exceptions.h"

namespace kalvor {

using trel::i64;
using trel::InvalidParametersException;
using trel::u64;
using trel::CommandLine::ParameterList;
using trel::CommandLine::parse_scaled_integer;

namespace {

// What an option does. The cursor stands on the option; handlers that take the next argument advance it.
using Handler = std::function<void(CustomSettings&, ParameterList&)>;

[[noreturn]] void not_supported(const char* option) {
    throw InvalidParametersException("",
                                     std::string("Option ") + option + " is not supported for this mode.");
}

void set_mode(const std::string& mode) {
    if (mode == "ram") return;
    if (mode == "swap")
        throw InvalidParametersException("", "Swap mode is not available in this version. Use -mode:ram.");
    throw InvalidParametersException("", "Invalid Mode: " + mode);
}

void set_compression(CustomSettings& settings, ParameterList& parameters) {
    settings.digits_per_file = parse_scaled_integer(parameters.current_value());
}

const std::map<std::string, Handler>& option_table() {
    static const std::map<std::string, Handler> table = {
        {"-algorithm",
         [](CustomSettings& s, ParameterList& p) { s.constant->select_algorithm(p.current_value()); }},
        {"-dec", [](CustomSettings& s,
                    ParameterList& p) { s.set_decimal_digits(parse_scaled_integer(p.current_value())); }},
        {"-hex", [](CustomSettings& s,
                    ParameterList& p) { s.enable_hex = parse_scaled_integer(p.current_value()) != 0; }},
        {"-o",
         [](CustomSettings& s, ParameterList& p) {
             p.advance();
             s.path = p.current_raw();
         }},
        {"-od", [](CustomSettings& s,
                   ParameterList& p) { s.output_enable = parse_scaled_integer(p.current_value()) != 0; }},
        {"-C", set_compression},
        {"-compress", set_compression},
        {"-verify", [](CustomSettings& s,
                       ParameterList& p) { s.output_verify = parse_scaled_integer(p.current_value()) != 0; }},
        {"-mode", [](CustomSettings&, ParameterList& p) { set_mode(p.current_value()); }},
        {"-TD",
         [](CustomSettings& s, ParameterList& p) {
             const trel::i64 tasks = parse_scaled_integer(p.current_value());
             trel::ParallelismSettings::check_task_decomposition(tasks);
             s.parallelism.task_decomposition = static_cast<u64>(tasks);
         }},
        {"-PF",
         [](CustomSettings& s, ParameterList& p) {
             s.parallelism.framework = trel::make_default_framework_config(p.current_value());
         }},
        {"-MA",
         [](CustomSettings& s, ParameterList& p) {
             s.allocator = trel::make_default_allocator_config(p.current_value());
         }},
        {"-force", [](CustomSettings& s,
                      ParameterList& p) { s.force = parse_scaled_integer(p.current_value()) != 0; }},
        {"-M", [](CustomSettings&, ParameterList&) { not_supported("-M"); }},
        {"-minIO", [](CustomSettings&, ParameterList&) { not_supported("-minIO"); }},
        {"-swap", [](CustomSettings&, ParameterList&) { not_supported("-swap"); }},
    };
    return table;
}

}  // namespace

CustomSettings parse_custom_options(ParameterList& parameters) {
    CustomSettings settings;
    settings.constant = make_constant(parameters.current().first);
    settings.set_decimal_digits(static_cast<i64>(settings.size.decimal_digits));
    parameters.advance();
    while (parameters.has_more()) {
        const auto option = option_table().find(parameters.current().first);
        if (option == option_table().end()) {
            trel::Console::error_line("Invalid Parameter: " + parameters.current_raw());
            trel::Console::fatal_exit(1);
        }
        option->second(settings, parameters);
        parameters.advance();
    }
    // Only now: the options may stand in any order.
    settings.check_compression();
    if (settings.digits_per_file != 0) {
        throw InvalidParametersException(
            "", "Compressed digit files are not available in this version. Use -C:0.");
    }
    return settings;
}

}  // namespace kalvor
