#include "base/status/progress_line.h"

#include <mutex>
#include <string>

#include "os/cpu.h"

namespace trel {

void ProgressLine::pop() {
    segments_.pop_back();
    shrink();
}

void ProgressLine::pop_count() {
    count_.reset();
    shrink();
}

void ProgressLine::shrink() {
    if (segments_.empty() && !count_) {
        erase();
    } else {
        draw(false);
    }
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
    const auto print = [&](std::string_view text, Console::ColorLetter color) {
        length += text.size();
        if (length <= width_) Console::print(text, color);
    };
    for (const Console::ColoredText& segment : segments_) print(segment.text, segment.color);
    if (count_) print(iteration_text(count_->mode, count_->completed, count_->total), 'w');
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
