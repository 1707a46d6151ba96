#include "base/status/progress_line.h"

#include <mutex>
#include <string>

#include "os/cpu.h"

namespace trel {

void ProgressLine::pop() {
    segments_.pop_back();
    if (segments_.empty()) {
        erase();
    } else {
        draw(false);
    }
}

bool ProgressLine::due() const {
    return !drawn_ || os::read_tsc() - last_drawn_ >= interval_;
}

void ProgressLine::draw(bool force) {
    const u64 now = os::read_tsc();
    if (!force && drawn_ && now - last_drawn_ < interval_) return;
    if (suspended_) return;
    last_drawn_ = now;
    drawn_ = true;
    if (!Console::is_terminal()) return;

    std::lock_guard<std::recursive_mutex> lock(Console::console_lock());
    write_blanks();
    u64 length = 0;
    for (const Console::ColoredText& segment : segments_) {
        length += segment.text.size();
        if (length > width_) break;
        Console::print(segment.text, segment.color);
    }
    Console::set_color('w');
    Console::flush();
    visible_ = true;
}

void ProgressLine::erase() {
    if (!visible_) return;
    std::lock_guard<std::recursive_mutex> lock(Console::console_lock());
    write_blanks();
    visible_ = false;
}

void ProgressLine::write_blanks() {
    Console::print("\r" + std::string(width_, ' ') + "\r");
}

}  // namespace trel
