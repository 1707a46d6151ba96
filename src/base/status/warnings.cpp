#include "base/status/warnings.h"

#include <utility>

namespace trel {

void Warnings::add(std::vector<Line> lines) {
    if (lines.empty()) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    for (Line& line : lines) lines_.push_back(std::move(line));
}

void Warnings::report(Status& status) {
    std::vector<Line> lines;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        lines.swap(lines_);
    }
    for (const Line& line : lines) {
        if (line.raised) {
            status.Warning(line.text);
        } else {
            status.Status_ColoredLine({{line.color, line.text}});
        }
    }
}

}  // namespace trel
