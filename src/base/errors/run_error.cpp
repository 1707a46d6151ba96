#include "base/errors/run_error.h"

#include <optional>

#include "base/console/console.h"
#include "base/console/error_output.h"

namespace trel {

void RunError::print() const {
    std::optional<Console::ErrorOutput> errors;
    if (stream_ == Stream::error) errors.emplace();
    for (const Console::ColoredText& text : report_) Console::print(text.text, text.color);
}

}  // namespace trel
