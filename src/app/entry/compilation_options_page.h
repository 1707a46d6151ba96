// The page of the choices that this build was compiled with.
#pragma once

namespace kalvor {

void print_compilation_options();

}  // namespace kalvor
