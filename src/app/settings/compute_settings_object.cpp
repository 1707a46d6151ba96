#include "app/settings/compute_settings_object.h"

#include <string>

#include "base/config/section.h"
#include "base/errors/exceptions.h"
#include "constants/catalog/catalog.h"

namespace kalvor {

using Config::Object;
using Config::Section;

namespace {

// The constant of the file by its first algorithm, if there is one: only it knows the names of the others.
void take_constant(const Object& settings, ComputeChoices& choices) {
    try {
        Object constant;
        for (const auto& entry : settings.get_object("Constant").entries()) {
            if (entry->key != "Algorithm") constant.add_node(entry->key, entry->value->clone());
        }
        constant.add_integer("Algorithm", 0);
        choices.settings.constant = load_constant(constant);
    } catch (const Exception&) {
    }
}

// The names that the value of a key may have; empty where it is not a name.
std::vector<std::string> known_values(const std::string& key, const Object& settings,
                                      const SettingsTable& table) {
    for (const SettingRow& row : table) {
        if (!row.option.names || row.key() != key) continue;
        ComputeChoices choices;
        if (key == "Algorithm") take_constant(settings, choices);
        return row.option.names(choices);
    }
    return {};
}

// What `write(setting, object)` adds for each setting, in the order of the file.
template <class Write>
std::unique_ptr<Object> written(const ComputeSettings& settings, const SettingsTable& table, Write write) {
    auto object = std::make_unique<Object>();
    for (const FileMember& member : compute_file_members()) {
        if (member.kind == FileMember::not_read) continue;
        Object& place =
            member.kind == FileMember::object_of_settings ? object->add_object(member.key) : *object;
        for (const SettingRow& row : table) {
            if (row.of && row.member == std::string_view(member.key)) write(*row.setting(settings), place);
        }
    }
    return object;
}

}  // namespace

ComputeSettings load_compute_settings(const Object& object, std::vector<std::string>& warnings,
                                      const SettingsTable& table) {
    const Section section(object, "CustomCompute",
                          [&](const std::string& key) { return known_values(key, object, table); });
    std::vector<std::string_view> members;
    for (const FileMember& member : compute_file_members()) members.push_back(member.key);
    section.read([&](const Object& o) { o.check_keys(members); });

    ComputeSettings settings;
    for (const FileMember& member : compute_file_members()) {
        if (member.kind == FileMember::not_read) continue;
        const Section place = member.kind == FileMember::object_of_settings
                                  ? section.section(member.key, member.context)
                                  : section;
        place.read([&](const Object& o) {
            for (const SettingRow& row : table) {
                if (row.of && row.member == std::string_view(member.key)) {
                    row.setting(settings, &warnings)->load(o, member.context);
                }
            }
        });
    }
    return settings;
}

std::unique_ptr<Object> save_compute_settings(const ComputeSettings& settings, const SettingsTable& table) {
    return written(settings, table, [](const Setting& setting, Object& object) { setting.save(object); });
}

std::unique_ptr<Object> compute_settings_selector(const ComputeSettings& settings,
                                                  const SettingsTable& table) {
    return written(settings, table,
                   [](const Setting& setting, Object& object) { setting.add_selector(object); });
}

}  // namespace kalvor
