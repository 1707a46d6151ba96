// Captures what is printed to the console. Colours are recorded between braces ("{R}text{w}") when asked for,
// and only reach a sink that says it is a terminal.
#pragma once

#include <cstdio>
#include <deque>
#include <initializer_list>
#include <string>
#include <string_view>

#include "base/console/console.h"

namespace kalvor_test {

// Installed for its life; restores the sink that was there before.
class CaptureConsole final : public trel::Console::Sink {
  public:
    enum Mode { redirected, terminal };

    explicit CaptureConsole(Mode mode = redirected, bool record_colors = false)
        : mode_(mode), record_colors_(record_colors), before_(trel::Console::set_sink(this)) {}
    ~CaptureConsole() override { trel::Console::set_sink(before_); }
    CaptureConsole(const CaptureConsole&) = delete;
    CaptureConsole& operator=(const CaptureConsole&) = delete;

    void write(std::string_view text) override { text_ += text; }
    void set_color(trel::Console::ColorLetter color) override {
        color_changes_++;
        if (record_colors_) text_ += std::string("{") + color + "}";
    }
    bool is_terminal() const override { return mode_ == terminal; }
    bool read_line(std::string& line) override {
        line.clear();
        if (input_.empty()) return false;
        line = input_.front();
        input_.pop_front();
        return true;
    }

    // Lines that prompts get, one each; then the input ends.
    void type(std::initializer_list<std::string> lines) { input_.insert(input_.end(), lines); }
    trel::u64 lines_left() const { return input_.size(); }

    const std::string& text() const { return text_; }
    int color_changes() const { return color_changes_; }
    // Returns the text so far and begins anew.
    std::string take() {
        std::string out;
        out.swap(text_);
        return out;
    }

  private:
    Mode mode_;
    bool record_colors_;
    trel::Console::Sink* before_;
    std::string text_;
    std::deque<std::string> input_;
    int color_changes_ = 0;
};

// From here on the console prints to the standard error, where a death test sees it; as a terminal, with its
// colours in braces, when they are asked for.
inline void print_to_stderr(bool record_colors = false) {
    class ErrorOutput final : public trel::Console::Sink {
      public:
        void write(std::string_view text) override { std::fwrite(text.data(), 1, text.size(), stderr); }
        void set_color(trel::Console::ColorLetter color) override {
            if (record_colors) std::fprintf(stderr, "{%c}", color);
        }
        bool is_terminal() const override { return record_colors; }
        bool record_colors = false;
    };
    static ErrorOutput sink;
    sink.record_colors = record_colors;
    trel::Console::set_sink(&sink);
}

// What an exception's report is, as a regular expression that every system's test framework understands.
template <class Exception>
std::string report_pattern(const Exception& exception) {
    CaptureConsole console;
    exception.print();
    std::string pattern;
    for (const char c : console.text()) {
        if (std::string_view("\\^$.|?*+()[]{}").find(c) != std::string_view::npos) pattern += '\\';
        pattern += c;
    }
    return pattern;
}

}  // namespace kalvor_test

// Tests use the names alone.
using kalvor_test::CaptureConsole;
using kalvor_test::print_to_stderr;
using kalvor_test::report_pattern;
