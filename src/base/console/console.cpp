#include "base/console/console.h"

#include <atomic>

#include "base/command_line/console_settings.h"
#include "base/console/error_output.h"
#include "base/console/late_line.h"
#include "os/console.h"
#include "os/environment.h"
#include "os/error_console.h"
#include "os/process.h"

namespace trel::Console {
namespace {

class StandardOutput final : public Sink {
  public:
    StandardOutput() : terminal_(os::stdout_is_terminal()), colors_(standard_output_shows_colors()) {}

    void write(std::string_view text) override { os::write_stdout(text); }
    void set_color(ColorLetter color) override {
        if (colors_) os::set_stdout_color(color);
    }
    bool is_terminal() const override { return terminal_; }
    u64 columns() const override { return os::terminal_columns(); }
    void erase_line(u64 width) override { os::erase_terminal_line(width); }
    void flush() override { os::flush_stdout(); }
    os::OsError failure() const override { return os::stdout_failure(); }
    bool wait_for_key() override { return os::wait_for_key(); }
    bool read_line(std::string& line) override { return os::read_line(line); }

  private:
    bool terminal_;
    bool colors_;
};

// Keys and lines come from the standard input as ever.
class StandardError final : public Sink {
  public:
    StandardError()
        : terminal_(os::stderr_is_terminal()),
          colors_(terminal_ && os::environment_variable("NO_COLOR").value_or("").empty()) {}

    void write(std::string_view text) override { os::write_stderr(text); }
    void set_color(ColorLetter color) override {
        if (colors_) os::set_stderr_color(color);
    }
    bool is_terminal() const override { return terminal_; }
    bool wait_for_key() override { return os::wait_for_key(); }
    bool read_line(std::string& line) override { return os::read_line(line); }

  private:
    bool terminal_;
    bool colors_;
};

std::atomic<Sink*> installed{nullptr};
std::atomic<u64> pauses{0};
thread_local int error_outputs = 0;  // how many ErrorOutputs of this thread live

Sink& sink() {
    Sink* const own = installed.load(std::memory_order_acquire);
    static StandardOutput standard_output;
    static StandardError standard_error;
    if (own == nullptr && error_outputs != 0) return standard_error;
    if (LateLine* const line = LateLine::open()) return *line;
    return own != nullptr ? *own : standard_output;
}

}  // namespace

Sink& current_sink() {
    return sink();
}

Sink::~Sink() = default;

ErrorOutput::ErrorOutput() {
    LateLine::wait_for_open();
    flush();
    error_outputs++;
}
ErrorOutput::~ErrorOutput() {
    error_outputs--;
}

void print_problem(std::string_view sentence) {
    const ErrorOutput errors;
    error_line(sentence);
}

Sink* set_sink(Sink* sink) {
    return installed.exchange(sink, std::memory_order_acq_rel);
}
bool is_terminal() {
    return sink().is_terminal();
}
u64 columns() {
    return sink().columns();
}
void erase_line(u64 width) {
    sink().erase_line(width);
}
void flush() {
    sink().flush();
}
os::OsError output_failed() {
    return sink().failure();
}
bool standard_output_shows_colors() {
    return os::stdout_shows_colors() && os::environment_variable("NO_COLOR").value_or("").empty();
}

void set_colors_enabled(bool enabled) {
    CommandLine::console_settings().colors_enabled = enabled;
}

void set_color(ColorLetter color) {
    if (color == ' ' || !CommandLine::console_settings().colors_enabled) return;
    Sink& s = sink();
    if (s.is_terminal()) s.set_color(color);
}

void print(std::string_view text, ColorLetter color) {
    set_color(color);
    if (!text.empty()) sink().write(text);
}

void print_line(std::string_view text, ColorLetter color) {
    set_color(color);
    std::string line(text);
    line += '\n';
    sink().write(line);
}

void new_line() {
    sink().write("\n");
}

void error_line(std::string_view text, bool keep_red) {
    new_line();
    print_line(text, 'R');
    if (!keep_red) set_color('w');
}

void labelled(std::string_view label, std::string_view value, ColorLetter color) {
    std::string head(label);
    head += ": ";
    print(head, color == ' ' ? ' ' : 'w');
    print(value, color);
    if (color != ' ') set_color('w');
}

void labelled_line(std::string_view label, std::string_view value, ColorLetter color) {
    labelled(label, value, color);
    new_line();
}

void aligned_line(std::string_view label, u64 width, std::string_view value, ColorLetter color) {
    std::string head(label.substr(0, width));
    head.resize(width, ' ');
    if (width > 0) head.back() = ' ';
    print(head, color == ' ' ? ' ' : 'w');
    print(value, color);
    if (color != ' ') set_color('w');
    new_line();
}

bool pause(ColorLetter color) {
    pauses++;
    LateLine::wait_for_open();
    print("Press any key to continue . . . ", color);
    flush();
    const bool key = sink().wait_for_key();
    new_line();
    return key;
}

u64 pause_count() {
    return pauses;
}

bool read_line(std::string& line) {
    LateLine::wait_for_open();
    flush();
    return sink().read_line(line);
}

std::recursive_mutex& console_lock() {
    // Never destroyed: the crash handler may need it while the process ends.
    static std::recursive_mutex& mutex = *new std::recursive_mutex;
    return mutex;
}

void fatal_exit(int code) {
    LateLine::wait_for_open();
    set_color('w');
    if (CommandLine::console_settings().pause_before_fatal_exit) pause('w');
    flush();
    os::exit_process(code);
}

void set_pause_before_fatal_exit(bool pause) {
    CommandLine::console_settings().pause_before_fatal_exit = pause;
}

}  // namespace trel::Console
