#include "app/session/custom_settings_object.h"

#include <string>

#include "base/errors/exceptions.h"
#include "platform/fileio/output_folder.h"
#include "platform/memory/allocator.h"

namespace kalvor {

using trel::i64;
using trel::InvalidParametersException;
using trel::u64;
using trel::Config::Object;

namespace {

void load_constant(CustomSettings& settings, const Object& object) {
    constexpr const char* kContext = "Custom Compute";
    settings.constant = make_constant(object.get_string("Constant", kContext));
    settings.constant->select_algorithm(object.get_string("Algorithm", kContext));
}

void load_size(CustomSettings& settings, const Object& object) {
    constexpr const char* kContext = "Computation Size";
    settings.set_decimal_digits(object.get_integer("DecimalDigits", kContext));
    settings.enable_hex = object.get_bool("EnableHexDigits", kContext);
}

void load_output(CustomSettings& settings, const Object& object) {
    constexpr const char* kContext = "Output Format";
    settings.path = object.get_string("Path", kContext);
    settings.output_enable = object.get_bool("OutputEnable", kContext);
    settings.digits_per_file = object.get_integer("DigitsPerFile", kContext);
    trel::FileIO::prepare_output_folder(settings.path);
    settings.check_compression();
    if (settings.digits_per_file != 0) {
        throw InvalidParametersException(
            "", "Compressed digit files are not available in this version. Use \"DigitsPerFile : 0\".");
    }
}

void check_mode(const std::string& mode) {
    if (mode == "ram") return;
    if (mode == "swap") {
        throw InvalidParametersException(
            "", "Swap mode is not available in this version. Use \"Mode : \"ram\"\".");
    }
    throw InvalidParametersException("", "Invalid Mode: " + mode);
}

void load_parallelism(trel::ParallelismSettings& settings, const Object& object) {
    constexpr const char* kContext = "Parallel Framework";
    const i64 tasks = object.get_integer("TaskDecomposition", kContext);
    trel::ParallelismSettings::check_task_decomposition(static_cast<u64>(tasks));
    settings.task_decomposition = static_cast<u64>(tasks);
    settings.framework =
        trel::make_default_framework_config(object.get_string("Framework", kContext))->name();
    if (settings.framework == "spawn") {
        settings.max_sequential_dispatch =
            static_cast<u64>(object.get_integer("MaxSequentialDispatch", kContext));
    }
    settings.make_config();  // checks the framework's own settings
}

}  // namespace

CustomSettings load_custom_settings(const Object& object) {
    object.check_keys({"Constant", "ComputeSize", "Output", "OutputVerify", "Mode", "Parallelism", "Allocator",
                       "Memory", "Checkpointing", "FarMemoryTuning", "FarMemoryConfig"});
    CustomSettings settings;
    load_constant(settings, object.get_object("Constant", "Custom Compute"));
    load_size(settings, object.get_object("ComputeSize", "Computation Size"));
    load_output(settings, object.get_object("Output", "Output Format"));
    settings.output_verify = object.get_bool("OutputVerify", "Custom Compute");
    check_mode(object.get_string("Mode"));
    load_parallelism(settings.parallelism, object.get_object("Parallelism", "Parallel Framework"));
    settings.allocator = trel::make_allocator_config(object.get("Allocator"));
    return settings;
}

}  // namespace kalvor
