// Memory allocators: where the one large working region of a computation comes from. They are known by name,
// chosen and configured by the user.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/config/node.h"
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
class AllocatorConfig {
  public:
    virtual ~AllocatorConfig();
    virtual std::string name() const = 0;
    virtual std::string display_name() const = 0;
    // Makes sure that the process holds the rights that the settings need; a missing one is a printed warning
    // and false.
    virtual bool acquire_permissions() const = 0;
    // A region of at least `bytes` bytes, aligned to 2^alignment_log2, every byte of it written once. `bytes`
    // is raised to whole pages. On failure the result's pointer is null.
    virtual std::unique_ptr<LargeAllocation> allocate(const ParallelContext& context, u64 alignment_log2,
                                                      u64& bytes) const = 0;
    virtual std::unique_ptr<AllocatorConfig> clone() const = 0;
    // The allocator's own keys, as they are saved.
    virtual Config::Object to_config() const = 0;
    // {"Allocator" and each setting : {"Value", "DisplayText"}} for a remote user interface.
    Config::Object to_selector() const;
    // The numbered lines of the allocator menu; returns the number after the last one.
    virtual u64 print(u64 first_line_number) const { return first_line_number; }
    // Changes the setting of one of these lines; the first is 0. Others are ignored.
    virtual void edit(u64 /*line*/) {}

  protected:
    virtual void add_selectors(Config::Object& /*object*/) const {}
};

// One kind of allocator; a stateless object of static lifetime.
class AllocatorType {
  public:
    virtual ~AllocatorType();
    virtual std::string display_name() const = 0;
    // Reads the allocator's own keys; other keys of the object are not looked at. Throws the errors of the
    // getters and InvalidParametersException.
    virtual std::unique_ptr<AllocatorConfig> make_config(const Config::Object& object) const = 0;
    virtual std::unique_ptr<AllocatorConfig> make_default_config() const = 0;
};

// The type of an allocator whose configuration is the class given.
template <class Settings>
class AllocatorTypeOf final : public AllocatorType {
  public:
    std::string display_name() const override { return Settings::kDisplayName; }
    std::unique_ptr<AllocatorConfig> make_config(const Config::Object& object) const override {
        return std::make_unique<Settings>(object);
    }
    std::unique_ptr<AllocatorConfig> make_default_config() const override {
        return std::make_unique<Settings>();
    }
};

// A name that is already there is fatal: "Duplicate Allocator Type", exit code 1.
void register_allocator(const std::string& name, const AllocatorType& type);

// Registers in a static initialiser.
struct AllocatorRegistration {
    AllocatorRegistration(const char* name, const AllocatorType& type) { register_allocator(name, type); }
};

inline constexpr const char* kDefaultAllocator = "mmap";
// Labels of the settings of an allocator are padded to this.
inline constexpr u64 kAllocatorLabelWidth = 28;

// Throws InvalidParametersException "Invalid Memory Allocator: " + name.
const AllocatorType& find_allocator_type(std::string_view name);
std::unique_ptr<AllocatorConfig> make_default_allocator_config(std::string_view name);
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
