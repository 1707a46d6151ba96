// Parts of the program that are chosen by name and have settings of their own: frameworks, allocators.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/command_line/shown_text.h"
#include "base/errors/exceptions.h"
#include "base/registry/named.h"
#include "base/settings/setting.h"
#include "base/settings/setting_lines.h"

namespace trel {

// One kind of such a part; a stateless object of static lifetime. Chosen is the base of its settings.
template <class Chosen>
class ChoiceType {
  public:
    virtual ~ChoiceType() = default;
    virtual std::string display_name() const = 0;
    // Reads the part's own keys; other keys of the object are not looked at. Throws what the settings throw.
    virtual std::unique_ptr<Chosen> make_config(const Config::Object& object) const = 0;
    virtual std::unique_ptr<Chosen> make_default_config() const = 0;
};

// The kind whose settings are the class Settings.
template <class Settings, class Chosen>
class ChoiceTypeOf : public ChoiceType<Chosen> {
  public:
    std::string display_name() const override { return Settings::kDisplayName; }
    std::unique_ptr<Chosen> make_config(const Config::Object& object) const override {
        std::unique_ptr<Chosen> config = make_default_config();
        config->load(object);
        return config;
    }
    std::unique_ptr<Chosen> make_default_config() const override { return std::make_unique<Settings>(); }
};

// What the settings of a part are derived from: its names come from kName and kDisplayName of Settings.
template <class Settings, class Chosen>
class ChosenAs : public Chosen {
  public:
    std::string name() const override { return Settings::kName; }
    std::string display_name() const override { return Settings::kDisplayName; }
    std::unique_ptr<Chosen> clone() const override {
        return std::make_unique<Settings>(static_cast<const Settings&>(*this));
    }
};

// The kinds by name.
template <class Chosen>
class Choices {
  public:
    using Type = ChoiceType<Chosen>;

    // The line for a duplicate, the message for an unknown name (the name follows), the title of the menu,
    // and its order.
    Choices(std::string duplicate, std::string unknown, std::string title, std::span<const char* const> order)
        : types_(std::move(duplicate), order), unknown_(std::move(unknown)), title_(std::move(title)) {}

    void add(const std::string& name, const Type& type) { types_.add(name, &type); }

    // A kind that this build lacks, and why. It is not listed; find() tells the reason.
    void leave_out(const std::string& name, const std::string& reason) { left_out_.emplace(name, reason); }
    // Empty when no kind of that name was left out.
    std::string left_out_reason(std::string_view name) const {
        const auto found = left_out_.find(name);
        return found == left_out_.end() ? std::string() : found->second;
    }

    // Throws InvalidParametersException: the message for an unknown name, with the reason in brackets if it
    // was left out.
    const Type& find(std::string_view name) const {
        if (const Type* const* type = types_.find(name)) return **type;
        const std::string reason = left_out_reason(name);
        throw InvalidParametersException(
            "", unknown_ + CommandLine::shown(name) + (reason.empty() ? "" : " (" + reason + ")"));
    }

    std::vector<std::string> names() const { return types_.names(); }

    // The part whose name stands under the key, with the settings that stand beside it. The inverse is
    // write(). Throws type errors, with the context, and what find() and the settings throw.
    std::unique_ptr<Chosen> read(const Config::Object& object, std::string_view key,
                                 std::string_view context) const {
        return find(object.get_string(key, context)).make_config(object);
    }
    static void write(Config::Object& object, const char* key, const Chosen& chosen) {
        object.add_string(key, chosen.name());
        chosen.save(object);
    }

    // Lists the kinds, asks for one and returns its defaults.
    std::unique_ptr<Chosen> select() const {
        std::vector<std::string> display_names;
        for (const std::string& name : names()) display_names.push_back(find(name).display_name());
        return find(names()[select_from_list(title_, display_names)]).make_default_config();
    }

  private:
    Named<const Type*> types_;
    std::map<std::string, std::string, std::less<>> left_out_;
    const std::string unknown_, title_;
};

// The part that is chosen, as a setting: its name under the key, and its own settings beside it in the same
// object. Copies are deep.
template <class Chosen>
class ChoiceSetting final : public Setting {
  public:
    ChoiceSetting(const char* key, const char* label, const Choices<Chosen>& choices, std::string_view name)
        : Setting(key, label), choices_(&choices) {
        choose(name);
    }
    ChoiceSetting(const ChoiceSetting& other)
        : Setting(other), choices_(other.choices_), chosen_(other.chosen_->clone()) {}
    ChoiceSetting& operator=(const ChoiceSetting& other) { return *this = other.chosen_->clone(); }
    // Not null.
    ChoiceSetting& operator=(std::unique_ptr<Chosen> chosen) {
        chosen_ = std::move(chosen);
        return *this;
    }

    Chosen& operator*() const { return *chosen_; }
    Chosen* operator->() const { return chosen_.get(); }
    // The defaults of another part. Throws what Choices::find() throws.
    void choose(std::string_view name) { chosen_ = choices_->find(name).make_default_config(); }

    void load(const Config::Object& object, std::string_view context) override {
        chosen_ = choices_->read(object, key(), context);
    }
    void save(Config::Object& object) const override { Choices<Chosen>::write(object, key(), *chosen_); }
    // The members of the part's own selector.
    void add_selector(Config::Object& object) const override { object.add_members(chosen_->to_selector()); }
    void edit() override { chosen_ = choices_->select(); }
    std::string display_text() const override { return chosen_->display_name(); }
    Console::ColorLetter color() const override { return 'T'; }

  protected:
    std::unique_ptr<Config::Node> value_node() const override {
        return std::make_unique<Config::String>(chosen_->name());
    }

  private:
    const Choices<Chosen>* choices_;
    std::unique_ptr<Chosen> chosen_;
};

}  // namespace trel
