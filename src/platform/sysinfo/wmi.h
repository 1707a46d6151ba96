// Questions to the machine's management information.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "os/sysquery.h"

namespace trel {

// The system's call; tests put their own in place.
struct QueryCalls {
    std::function<os::QueryResult(const std::string& class_name, const std::vector<std::string>& properties)>
        query;

    static const QueryCalls& of_this_machine();
};

// One value a property, in the order asked for; empty where the object does not tell.
using WmiObject = std::vector<std::optional<std::string>>;

// All objects of the class (see os/sysquery.h for classes and properties). Throws
// Environment::WMI_Exception when the query does not succeed.
std::vector<WmiObject> query_wmi(const std::string& class_name, const std::vector<std::string>& properties,
                                 const QueryCalls& calls = QueryCalls::of_this_machine());

// The same, and nothing when the query does not succeed: a virtual machine has no such tables, and most
// systems show those of the memory to the administrator alone.
std::vector<WmiObject> query_wmi_or_nothing(const std::string& class_name,
                                            const std::vector<std::string>& properties,
                                            const QueryCalls& calls = QueryCalls::of_this_machine());

// The first object; one without any value when there is none.
WmiObject query_wmi_first(const std::string& class_name, const std::vector<std::string>& properties,
                          const QueryCalls& calls = QueryCalls::of_this_machine());

}  // namespace trel
