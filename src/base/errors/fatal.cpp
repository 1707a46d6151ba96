#include "base/errors/fatal.h"

#include <exception>
#include <string>

#include "base/console/console.h"
#include "base/console/error_output.h"
#include "base/errors/exceptions.h"
#include "base/errors/plain_words.h"

namespace trel {

void assertion_failure(std::string_view text, std::string_view function, std::string_view detail) {
    std::string out = "\n\nFATAL ERROR: Assertion Failure\n\n";
    out += text;
    out += function;
    out += "\n\n";
    out += detail;
    out +=
        "\n\n\n"
        "If this error shows up consistantly with the current options,\n"
        "please report it as a bug.\n\n"
        "If this error comes and goes with the current options,\n"
        "please check your hardware for reliability issues.\n"
        "Are you overclocking?\n\n"
        "Terminating Program...\n";
    {
        const Console::ErrorOutput errors;
        Console::print(out, 'R');
    }
    Console::fatal_exit(1);
}

bool report_current_exception() {
    try {
        throw;
    } catch (const Exception& e) {
        if (const std::string words = plain_words(e); !words.empty()) Console::error_line(words);
        e.print();
        return true;
    } catch (const std::exception& e) {
        Console::error_line(e.what());
        return true;
    } catch (...) {
        return false;
    }
}

void fatal_thread_exception(std::string_view error_line, std::string_view unknown_line) noexcept {
    {
        const Console::ErrorOutput errors;
        const bool reported = report_current_exception();
        Console::error_line(reported || unknown_line.empty() ? error_line : unknown_line);
    }
    Console::fatal_exit(1);
}

}  // namespace trel
