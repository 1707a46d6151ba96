#include "app/session/event_log.h"

#include "base/clock/date_text.h"
#include "base/command_line/shown_text.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"

namespace kalvor {

void EventLog::open(const std::string& path, const FileIO::FileCalls& calls) {
    const auto opened = [&](FileIO::OpenMode mode) {
        return std::make_unique<FileIO::RawFile>(path, mode, false, false, calls);
    };
    try {
        file_ = opened(FileIO::OpenMode::create_new);
    } catch (const FileIO::FileException&) {
        file_ = opened(FileIO::OpenMode::read_write);
    }
    file_bytes_ = file_->size();
}

void EventLog::add(double seconds_since_start, std::string_view name) {
    std::string line = date_time_text();
    line += '\t';
    line += Console::format_fixed(seconds_since_start, 3);
    line += '\t';
    line += name;
    line += "\r\n";
    text_ += line;
    if (file_) append(line);
}

void EventLog::append(std::string_view line) {
    try {
        file_->store(line.data(), file_bytes_, line.size());
        file_->flush();
        file_bytes_ += line.size();
    } catch (const FileIO::FileException& e) {
        // A computation does not end for want of its log.
        failure_ = "The event log could not be written: " + CommandLine::shown_path(file_->path()) + "\n" +
                   e.message;
        file_.reset();
    }
}

}  // namespace kalvor
