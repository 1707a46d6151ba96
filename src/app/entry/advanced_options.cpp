#include "app/entry/advanced_options.h"

#include "app/entry/compilation_options_page.h"
#include "platform/sysinfo/feature_check.h"
#include "platform/sysinfo/processor_features.h"

namespace kalvor {

ActionMenu advanced_options_menu() {
    return {"Advanced Options",
            {{"Hardware Features", 'T',
              [] {
                  trel::print_hardware_features(trel::detect_features());
                  return true;
              }},
             {"Compilation Options", 'T', [] {
                  print_compilation_options();
                  return true;
              }}}};
}

}  // namespace kalvor
