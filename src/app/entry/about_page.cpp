#include "app/entry/about_page.h"

#include "base/console/console.h"
#include "base/names/names.h"
#include "base/version/version.h"

namespace kalvor {

void print_about_page() {
    Console::print_line("Kalvor - Euler's Constant to the eXtReMe", 'T');
    Console::new_line();
    Console::labelled_line("Version", kVersion.text(), 'G');
    Console::new_line();
    Console::print(kMaker.first_word, 't');
    Console::print_line(kMaker.rest, 'w');
    Console::print_line(kMaker.web_address);
    Console::print_line(kMaker.contact_address);
    Console::new_line();
    for (const char* line :
         {"Kalvor is a number-crunching program for mathematical constants. It computes",
          "them to as many digits as time and memory allow and checks what it computes.",
          "It is also a multi-threaded Pi benchmark for overclockers and a stress test of", "the machine."}) {
        Console::print_line(line);
    }
    Console::new_line();
    for (const char* line :
         {"Disclaimer:", "Performing large multi-threaded computations using this program may",
          "subject your computer to extremely high levels of stress for extended",
          "periods of time. To protect your computer, MAKE SURE that your hardware",
          "is stable and fit before performing large computations. I will take",
          "absolutely no responsibility for any damage that may be caused by this", "program."}) {
        Console::print_line(line);
    }
}

}  // namespace kalvor
