#include "base/settings/setting.h"

#include "base/settings/setting_lines.h"

namespace trel {

void Setting::save(Config::Object& object) const {
    object.add_node(key_, value_node());
}

void Setting::add_selector(Config::Object& object) const {
    trel::add_selector(object, key_, value_node(), selector_text());
}

void Setting::print(u64 line_number, u64 label_width, u64 number_width) const {
    print_setting_line(line_number, label_, label_width, display_text(), color(), number_width);
}

// One list serves reading and writing; the loops of const operations only read what it points to.
SettingsObject& SettingsObject::listing() const {
    return const_cast<SettingsObject&>(*this);
}

void SettingsObject::load(const Config::Object& object) {
    for (Setting* setting : settings()) setting->load(object, context_);
    for (Setting* setting : file_only()) {
        if (object.contains(setting->key())) setting->load(object, context_);
    }
}

void SettingsObject::save(Config::Object& object) const {
    for (const Setting* setting : listing().settings()) setting->save(object);
    for (const Setting* setting : listing().file_only()) {
        if (!setting->is_default()) setting->save(object);
    }
}

Config::Object SettingsObject::to_config() const {
    Config::Object object;
    save(object);
    return object;
}

void SettingsObject::add_selectors(Config::Object& object) const {
    for (const Setting* setting : listing().settings()) setting->add_selector(object);
}

u64 SettingsObject::print(u64 first_line_number) const {
    print_heading();
    for (const Setting* setting : listing().menu()) setting->print(first_line_number++, label_width_);
    return first_line_number;
}

void SettingsObject::edit(u64 line) {
    const SettingList lines = menu();
    if (line < lines.size()) lines[line]->edit();
}

}  // namespace trel
