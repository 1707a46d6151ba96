// The machine's management information: parts that carry a name plate. Classes and properties have the names
// of Windows' management instrumentation on every system:
//   Win32_BaseBoard       Manufacturer, Product, Version, SerialNumber
//   Win32_PhysicalMemory  PartNumber, Capacity (bytes, decimal), one object a module
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "os/types.h"

namespace trel::os {

// Where Windows keeps the classes, and how it is asked for all objects of one.
inline constexpr const char* kQueryNamespace = "ROOT\\CIMV2";
inline std::string query_text(const std::string& class_name) {
    return "SELECT * FROM " + class_name;
}

// How far a query came.
enum class QueryFailure : u8 {
    none,
    library,     // the system's query library does not start
    locator,     // the service is not found
    connection,  // the service does not answer
    query,       // the class is unknown or nothing may be read of it
};

struct QueryResult {
    QueryFailure failure = QueryFailure::none;
    // objects[i][j]: property j of object i; empty when the object does not tell.
    std::vector<std::vector<std::optional<std::string>>> objects;
};

// `root` is put before the paths of the system's files (tests).
QueryResult system_query(const std::string& class_name, const std::vector<std::string>& properties,
                         const std::string& root = "");

}  // namespace trel::os
