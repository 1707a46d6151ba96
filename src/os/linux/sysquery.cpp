#include "os/sysquery.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include "os/smbios.h"

namespace trel::os {
namespace {

using Properties = std::vector<std::string>;

// A real table has some ten thousand bytes.
constexpr size_t kTableLimit = size_t(1) << 24;

std::optional<std::string> read_file(const std::string& path, size_t limit) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    std::string content;
    char piece[4096];
    while (content.size() < limit && (file.read(piece, sizeof piece), file.gcount() > 0)) {
        content.append(piece, static_cast<size_t>(file.gcount()));
    }
    // A file that opens and then refuses to be read.
    if (file.bad()) return std::nullopt;
    return content;
}

const char* file_of_board_property(const std::string& property) {
    if (property == "Manufacturer") return "board_vendor";
    if (property == "Product") return "board_name";
    if (property == "Version") return "board_version";
    if (property == "SerialNumber") return "board_serial";
    return nullptr;
}

QueryResult query_board(const Properties& properties, const std::string& root) {
    const std::string folder = root + "/sys/class/dmi/id/";
    QueryResult result;
    // The kernel makes a file for each text that the firmware has; only root may read the serial number.
    bool any = false;
    for (const char* file : {"board_vendor", "board_name", "board_version"}) {
        any = any || std::ifstream(folder + file).is_open();
    }
    if (!any) return {QueryFailure::query, {}};
    std::vector<std::optional<std::string>> values;
    for (const std::string& property : properties) {
        values.emplace_back();
        const char* file = file_of_board_property(property);
        if (!file) continue;
        const std::optional<std::string> text = read_file(folder + file, 4096);
        if (text) values.back() = printable_text(*text);
    }
    result.objects.push_back(std::move(values));
    return result;
}

QueryResult query_modules(const Properties& properties, const std::string& root) {
    const std::optional<std::string> table = read_file(root + "/sys/firmware/dmi/tables/DMI", kTableLimit);
    if (!table) return {QueryFailure::query, {}};
    QueryResult result;
    for (const SmbiosModule& module : smbios_memory_modules(*table)) {
        std::vector<std::optional<std::string>> values;
        for (const std::string& property : properties) {
            values.emplace_back();
            if (property == "PartNumber") values.back() = module.part_number;
            if (property == "Capacity" && module.bytes != 0) values.back() = std::to_string(module.bytes);
        }
        result.objects.push_back(std::move(values));
    }
    return result;
}

}  // namespace

QueryResult system_query(const std::string& class_name, const Properties& properties,
                         const std::string& root) {
    if (class_name == "Win32_BaseBoard") return query_board(properties, root);
    if (class_name == "Win32_PhysicalMemory") return query_modules(properties, root);
    return {QueryFailure::query, {}};
}

}  // namespace trel::os
