// A value that the user chooses, and the object that holds several of them. A setting knows how it is loaded,
// saved, shown to a remote user interface, printed in a menu and edited; the loops over a list of settings
// are written here and nowhere else.
//
// Main thread.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/config/node.h"
#include "base/console/colors.h"

namespace trel {

// load() and edit() change what the setting works on; the const members only read it. A list of a const
// object's settings is used for those alone.
class Setting {
  public:
    virtual ~Setting() = default;

    // Reads the setting's member. Throws the errors of the object's getters, with the context, and
    // InvalidParametersException for a value that is not allowed.
    virtual void load(const Config::Object& object, std::string_view context) = 0;
    // Adds the member key : value.
    virtual void save(Config::Object& object) const;
    // Adds the member key : {"Value" : value, "DisplayText" : text}.
    virtual void add_selector(Config::Object& object) const;
    // "   4    Worker Threads:             Unlimited": the number takes four columns or as many as are asked
    // for; the label is padded to the width, unless it ends in a blank.
    void print(u64 line_number, u64 label_width, u64 number_width = 4) const;
    // Asks for a value, or goes on to the next one where there are few.
    virtual void edit() = 0;

    const char* key() const { return key_; }
    virtual std::string display_text() const = 0;
    virtual Console::ColorLetter color() const = 0;
    virtual std::string selector_text() const { return display_text(); }
    virtual bool is_default() const { return false; }

  protected:
    // Static texts. The label begins with the blanks that stand behind the number.
    Setting(const char* key, const char* label) : key_(key), label_(label) {}
    Setting(const Setting&) = default;
    Setting& operator=(const Setting&) = default;

    // The value as it is saved.
    virtual std::unique_ptr<Config::Node> value_node() const = 0;

  private:
    const char* key_;
    const char* label_;
};

// In the order of the file. The settings are members of the object that lists them.
using SettingList = std::vector<Setting*>;

// An object of settings. A class of settings has them as members and lists them in settings().
class SettingsObject {
  public:
    virtual ~SettingsObject() = default;

    // All settings in turn; other members of the object are not looked at.
    void load(const Config::Object& object);
    void save(Config::Object& object) const;
    Config::Object to_config() const;
    void add_selectors(Config::Object& object) const;
    // The heading and the numbered lines of a menu; returns the number after the last one.
    u64 print(u64 first_line_number) const;
    // Edits the setting of one of these lines; the first is 0. Others are ignored.
    void edit(u64 line);

  protected:
    // `context` names the object in type errors and may be empty; labels are padded to the width.
    SettingsObject(const char* context, u64 label_width) : context_(context), label_width_(label_width) {}
    SettingsObject(const SettingsObject&) = default;
    SettingsObject& operator=(const SettingsObject&) = default;

    virtual SettingList settings() { return {}; }
    // The same settings in the order of the menu, where that is another.
    virtual SettingList menu() { return settings(); }
    // Settings of the file alone: neither menus nor selectors show them, and files without them mean the
    // default.
    virtual SettingList file_only() { return {}; }
    // What stands above the lines of the menu.
    virtual void print_heading() const {}

  private:
    SettingsObject& listing() const;

    const char* context_;
    u64 label_width_;
};

}  // namespace trel
