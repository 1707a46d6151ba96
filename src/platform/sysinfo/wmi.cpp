#include "platform/sysinfo/wmi.h"

#include "base/errors/expected_exceptions.h"

namespace trel {

const QueryCalls& QueryCalls::of_this_machine() {
    static const QueryCalls calls{
        [](const std::string& class_name, const std::vector<std::string>& properties) {
            return os::system_query(class_name, properties);
        }};
    return calls;
}

std::vector<WmiObject> query_wmi(const std::string& class_name, const std::vector<std::string>& properties,
                                 const QueryCalls& calls) {
    os::QueryResult result = calls.query(class_name, properties);
    switch (result.failure) {
        case os::QueryFailure::none:
            break;
        case os::QueryFailure::library:
            throw Environment::WMI_Exception("Failed to initialize COM library.");
        case os::QueryFailure::locator:
            throw Environment::WMI_Exception("Failed to obtain initial locator to WMI.");
        case os::QueryFailure::connection:
            throw Environment::WMI_Exception("Could not connect.");
        case os::QueryFailure::query:
            throw Environment::WMI_Exception("Query for object failed.");
    }
    return std::move(result.objects);
}

std::vector<WmiObject> query_wmi_or_nothing(const std::string& class_name,
                                            const std::vector<std::string>& properties,
                                            const QueryCalls& calls) {
    os::QueryResult result = calls.query(class_name, properties);
    if (result.failure != os::QueryFailure::none) return {};
    return std::move(result.objects);
}

WmiObject query_wmi_first(const std::string& class_name, const std::vector<std::string>& properties,
                          const QueryCalls& calls) {
    std::vector<WmiObject> objects = query_wmi(class_name, properties, calls);
    if (objects.empty()) return WmiObject(properties.size());
    return std::move(objects.front());
}

}  // namespace trel
