// Settings whose value is one of a few words: on and off, or a list of modes. Editing goes on to the next
// word.
#pragma once

#include <span>

#include "base/settings/setting.h"

namespace trel {

// "true" or "false", wherever that is kept.
class Switch : public Setting {
  public:
    // How one of the two states is shown; a static text.
    struct State {
        const char* text;
        Console::ColorLetter color;
    };

    void load(const Config::Object& object, std::string_view context) override;
    void edit() override { set(!is_on()); }
    std::string display_text() const override { return state().text; }
    Console::ColorLetter color() const override { return state().color; }

  protected:
    Switch(const char* key, const char* label, State on, State off)
        : Setting(key, label), on_(on), off_(off) {}
    Switch(const Switch&) = default;
    Switch& operator=(const Switch&) = default;

    virtual bool is_on() const = 0;
    virtual void set(bool value) = 0;
    std::unique_ptr<Config::Node> value_node() const override;

  private:
    const State& state() const { return is_on() ? on_ : off_; }

    State on_, off_;
};

// Its own value.
class SwitchSetting final : public Switch {
  public:
    SwitchSetting(const char* key, const char* label, State on, State off, bool value)
        : Switch(key, label, on, off), value_(value) {}

    operator bool() const { return value_; }
    SwitchSetting& operator=(bool value) {
        value_ = value;
        return *this;
    }

  private:
    bool is_on() const override { return value_; }
    void set(bool value) override { value_ = value; }

    bool value_;
};

// One of several words, known by its number.
class WordSetting : public Setting {
  public:
    struct Word {
        const char* word;  // as it is saved
        const char* text;  // as it is shown
        Console::ColorLetter color;
    };
    // What is thrown for a word that is not in the list; "{}" stands for the word.
    struct Refusal {
        const char* function;
        const char* message;
    };

    // The words are a static table.
    WordSetting(const char* key, const char* label, std::span<const Word> words, Refusal refusal, u32 mode)
        : Setting(key, label), mode(mode), words_(words), refusal_(refusal), default_mode_(mode) {}

    // Throws InvalidParametersException(key, "Invalid Mode") for a number beyond the list.
    std::string word() const { return at_mode(key()).word; }
    // The inverse. Throws the refusal as an InvalidParametersException.
    void set(std::string_view word);
    std::span<const Word> words() const { return words_; }
    // To the next mode.
    void advance() {
        mode = (mode + 1) % static_cast<u32>(words_.size());
        chosen = true;
    }
    bool is_default() const override { return mode == default_mode_; }

    void load(const Config::Object& object, std::string_view context) override;
    void edit() override { advance(); }
    std::string display_text() const override { return at_mode(key()).text; }
    Console::ColorLetter color() const override { return at_mode(key()).color; }

    u32 mode;
    // By the user's settings or menu, rather than by default.
    bool chosen = false;

  protected:
    std::unique_ptr<Config::Node> value_node() const override;
    // Throws InvalidParametersException(location, "Invalid Mode") for a number beyond the list.
    const Word& at_mode(const char* location) const;

  private:
    std::span<const Word> words_;
    Refusal refusal_;
    u32 default_mode_;
};

}  // namespace trel
