// A console whose pauses get a key a number of times, and then the end of the input.
#pragma once

#include <string>
#include <string_view>

#include "base/console/console.h"

namespace kalvor_test {

class KeyConsole final : public trel::Console::Sink {
  public:
    explicit KeyConsole(int keys) : keys_(keys), before_(trel::Console::set_sink(this)) {}
    ~KeyConsole() override { trel::Console::set_sink(before_); }
    void write(std::string_view text) override { text_ += text; }
    void set_color(trel::Console::ColorLetter) override {}
    bool is_terminal() const override { return false; }
    bool wait_for_key() override { return keys_-- > 0; }
    std::string text_;

  private:
    int keys_;
    Sink* before_;
};

}  // namespace kalvor_test
