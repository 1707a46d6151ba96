// The warning about a writer whose destructor could not close its file.
#pragma once

#include <string>

#include "base/command_line/shown_text.h"
#include "base/errors/exceptions.h"
#include "base/names/names.h"
#include "base/status/warnings.h"

namespace kalvor {

// warnings: of the run. nullptr: the failure is not reported.
inline void warn_of_failed_closing(Warnings* warnings, const Exception& error) {
    if (warnings == nullptr) return;
    std::vector<Warnings::Line> lines{{"Warning, unable to close a digit file properly", ' ', true}};
    if (const auto* const file = dynamic_cast<const FileIO::FileException*>(&error)) {
        lines.push_back({file->message, 'R'});
        lines.push_back({CommandLine::shown_path(file->path), 'R'});
    } else if (const auto* const text = dynamic_cast<const StringException*>(&error)) {
        lines.push_back({text->message, 'R'});
    } else {
        lines.push_back({error.get_typename(), 'R'});
    }
    warnings->add(std::move(lines));
}

}  // namespace kalvor
