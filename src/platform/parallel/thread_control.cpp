#include "platform/parallel/thread_control.h"

#include <algorithm>
#include <string>

#include "base/errors/one_shot_warning.h"
#include "os/affinity.h"
#include "os/cpu.h"
#include "platform/sysinfo/core_numbers.h"

namespace trel {
namespace {

constinit OneShotWarning group_warning;

os::OsError processors_of_group(u64 group, std::vector<u32>& processors) {
    return os::get_group_processors(static_cast<u32>(group), processors);
}

using Lines = std::vector<Warnings::Line>;

Warnings::Line raised(std::string text) {
    return {std::move(text), ' ', true};
}

// What is behind the first line of a report.
Warnings::Line red(std::string text) {
    return {std::move(text), 'R'};
}

Warnings::Line suppression() {
    return red("Further messages of this message will be suppressed.");
}

}  // namespace

u64 most_pool_threads() {
    return std::max<u64>(512, 4 * u64(os::active_processor_count()));
}

os::ThreadPriority thread_priority_of(int level) {
    using enum os::ThreadPriority;
    constexpr os::ThreadPriority kLevels[] = {idle,         lowest,  below_normal, normal,
                                              above_normal, highest, time_critical};
    return kLevels[std::clamp(level, -3, 3) + 3];
}

const ThreadPriorityCalls& ThreadPriorityCalls::of_this_machine() {
    static constexpr ThreadPriorityCalls calls{os::set_current_thread_priority};
    return calls;
}

Lines set_thread_priority(int level, const ThreadPriorityCalls& calls) {
    if (!calls.set(thread_priority_of(level))) return {};
    return {raised("Warning: Unable to set thread priority.")};
}

const ThreadGroupCalls& ThreadGroupCalls::of_this_machine() {
    static constexpr ThreadGroupCalls calls{
        [] { return u64(os::processor_group_count()); }, processors_of_group, os::set_thread_affinity,
        os::get_thread_affinity, [] { return u64(os::current_processor_group()); }};
    return calls;
}

Lines set_thread_group(u64 index, const ThreadGroupCalls& calls) {
    const u64 groups = calls.group_count();
    if (groups <= 1) return {};
    const u64 group = index % groups;
    std::vector<u32> wanted;
    const os::OsError asking = calls.processors(group, wanted);
    if (wanted.empty()) {
        if (!group_warning.first_time()) return {};
        return {raised("GetActiveProcessorCount() returned zero."),
                red("Error Code: " + std::to_string(asking.code)), suppression()};
    }
    std::vector<u32> actual;
    // The usual case for a new thread, which inherits the processors of its creator: a set call would cost as
    // much as half its creation.
    const auto is_there = [&] { return calls.current_group() == group && actual == wanted; };
    if (!calls.get_affinity(actual) && is_there()) return {};
    const os::OsError setting = calls.set_affinity(wanted);
    const os::OsError reading = setting ? os::OsError{} : calls.get_affinity(actual);
    if (!setting && !reading && is_there()) return {};
    if (!group_warning.first_time()) return {};
    const u32 code = setting ? setting.code : reading.code;
    Lines lines{raised("Warning: Unable to set processor group affinity: " + std::to_string(code))};
    if (!setting) {
        lines.push_back(red("Expected Group: " + std::to_string(group)));
        lines.push_back(red("Expected Mask : " + core_list_text(wanted)));
        lines.push_back(red("Actual Group  : " + std::to_string(calls.current_group())));
        lines.push_back(red("Actual Mask   : " + core_list_text(actual)));
    }
    lines.push_back(suppression());
    return lines;
}

Lines set_thread_affinity(const std::vector<u32>& processors) {
    if (!os::set_thread_affinity(processors)) return {};
    return {raised("Failed to set thread affinity.")};
}

}  // namespace trel
