#include "base/errors/run_error.h"

#include "base/console/console.h"
#include "base/console/error_output.h"

namespace trel {

void RunError::print() const {
    const Console::ErrorOutput errors;
    for (const Console::ColoredText& text : report_) Console::print(text.text, text.color);
}

}  // namespace trel
