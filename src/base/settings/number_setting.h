// A setting that is a count.
#pragma once

#include "base/settings/setting.h"

namespace trel {

class NumberSetting : public Setting {
  public:
    // Texts are static.
    struct Rules {
        const char* prompt;
        u64 least = 0;
        u64 most = ~u64(0) >> 1;
        const char* zero_text = nullptr;    // shown instead of 0
        const char* title = nullptr;        // printed in 'P' before the prompt, an empty line behind it,
        const char* explanation = nullptr;  // and this with another
        const char* refusal = nullptr;      // printed for an answer out of range, before asking again
    };

    NumberSetting(const char* key, const char* label, const Rules& rules, u64 value)
        : Setting(key, label), rules_(rules) {
        set(value);
    }

    u64 value() const { return value_; }
    // A number beyond one end of the range is taken as that end.
    void set(u64 value);

    // As set(); negative numbers are taken as 0.
    void load(const Config::Object& object, std::string_view context) override;
    void edit() override;
    std::string display_text() const override;
    Console::ColorLetter color() const override { return 'Y'; }

  protected:
    std::unique_ptr<Config::Node> value_node() const override;

    bool in_range(u64 value) const { return value >= rules_.least && value <= rules_.most; }

  private:
    Rules rules_;
    u64 value_ = 0;
};

}  // namespace trel
