#include "app/entry/advanced_options.h"

#include "app/entry/compilation_options_page.h"
#include "app/menus/not_available.h"
#include "app/validation/validator.h"
#include "base/names/names.h"
#include "platform/sysinfo/feature_check.h"
#include "platform/sysinfo/processor_features.h"

namespace kalvor {
namespace {

ActionMenuEntry page(const char* name, void (*print)()) {
    return {name, 'T', [print] {
                print();
                return true;
            }};
}

// Keeps its place, so that the numbers of the other entries stay what they are.
ActionMenuEntry missing(const char* name, Console::ColorLetter color, const char* what) {
    return {name, color, [what]() -> bool { not_available(what); }, false};
}

void print_own_hardware_features() {
    print_hardware_features(detect_features());
}

}  // namespace

ActionMenu advanced_options_menu() {
    return {"Advanced Options",
            {{"Benchmark Validator", 'T', run_validator_menu},
             missing("Log(n) Formula Generator", 'T', Missing::kLogFormulaGenerator),
             page("Hardware Features", print_own_hardware_features),
             page("Compilation Options", print_compilation_options),
             missing("Test Swap Multiply", 'Y', Missing::kSwapMultiplyTest)}};
}

}  // namespace kalvor
