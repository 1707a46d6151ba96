// Memory allocators: where the one large working region of a computation comes from. They are known by name,
// chosen and configured by the user.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/config/node.h"
#include "base/settings/choices.h"
#include "os/types.h"
#include "platform/memory/memory_stats.h"
#include "platform/parallel/basic_parallelizer.h"

namespace trel {

// Owns one region; gives it back when destroyed. Views of the region must not outlive it.
class LargeAllocation {
  public:
    virtual ~LargeAllocation();
    LargeAllocation(const LargeAllocation&) = delete;
    LargeAllocation& operator=(const LargeAllocation&) = delete;

    // Aligned as asked; null when the allocation failed.
    void* pointer() const { return pointer_; }
    u64 size() const { return bytes_; }
    // May be null.
    const MemoryStats* stats() const { return stats_.get(); }
    // What went wrong and was worked around, one sentence each.
    const std::vector<std::string>& warnings() const { return warnings_; }

  protected:
    LargeAllocation() = default;

    void* pointer_ = nullptr;
    u64 bytes_ = 0;
    std::unique_ptr<MemoryStats> stats_;
    std::vector<std::string> warnings_;
};

// A chosen allocator and its settings.
class AllocatorConfig : public SettingsObject {
  public:
    AllocatorConfig() : SettingsObject("", 28) {}

    virtual std::string name() const = 0;
    virtual std::string display_name() const = 0;
    // Makes sure that the process holds the rights that the settings need; false when one is missing. What
    // else goes wrong is a warning of the run.
    virtual bool acquire_permissions(const ParallelContext& parallel) const = 0;
    // A region of at least `bytes` bytes, aligned to 2^alignment_log2, every byte of it written once. `bytes`
    // is raised to whole pages. On failure the result's pointer is null.
    virtual std::unique_ptr<LargeAllocation> allocate(const ParallelContext& parallel, u64 alignment_log2,
                                                      u64& bytes) const = 0;
    virtual std::unique_ptr<AllocatorConfig> clone() const = 0;
    // {"Allocator" and each setting : {"Value", "DisplayText"}} for a remote user interface.
    Config::Object to_selector() const;
};

using AllocatorType = ChoiceType<AllocatorConfig>;
// What the settings of an allocator are derived from.
template <class Settings>
using AllocatorConfigOf = ChosenAs<Settings, AllocatorConfig>;

// A name that is already there is fatal: "Duplicate Allocator Type", exit code 1.
void register_allocator(const std::string& name, const AllocatorType& type);

// Registers the allocator whose settings are the class Settings, in a static initialiser.
template <class Settings, class Type = ChoiceTypeOf<Settings, AllocatorConfig>>
struct AllocatorRegistration {
    AllocatorRegistration() { register_allocator(Settings::kName, type); }

    const Type type;
};

inline constexpr const char* kDefaultAllocator = "mmap";

// All of them, for a setting that holds one.
const Choices<AllocatorConfig>& allocator_choices();
// Throws InvalidParametersException "Invalid Memory Allocator: " + name.
std::unique_ptr<AllocatorConfig> make_default_allocator_config(std::string_view name);
// As the setting "Allocator" of a computation reads, writes and edits itself.
// Takes the allocator that "Allocator" names and reads its keys from the same object; type errors name
// "Memory Allocator".
std::unique_ptr<AllocatorConfig> make_allocator_config(const Config::Node& node);
// "Allocator" and the allocator's own keys.
Config::Object allocator_to_config(const AllocatorConfig& config);
// Lists the allocators, asks for one and returns its defaults.
std::unique_ptr<AllocatorConfig> select_allocator_menu();

// The registered names in menu order.
std::vector<std::string> allocator_names();

}  // namespace trel
