// The parallel frameworks by name: what the user chooses from. Filled before main() by registration objects,
// read-only afterwards.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/parallel/basic_parallelizer.h"
#include "platform/parallel/max_sequential_dispatch.h"

namespace trel {

// A chosen framework and its settings. Owned by the parallelism settings.
class FrameworkConfig {
  public:
    virtual ~FrameworkConfig();
    virtual std::string name() const = 0;
    virtual std::string display_name() const = 0;
    // Built once for a computation; pools of threads live as long as it.
    virtual std::unique_ptr<BasicParallelizer> make_framework() const = 0;
    virtual std::unique_ptr<FrameworkConfig> clone() const = 0;
    // Threads that the framework runs on; 0 = not fixed, shown as "?".
    virtual u64 worker_threads() const { return 0; }
    // What the summary says of the framework's mode; empty for most.
    virtual std::string mode_text() const { return {}; }

    // "Thread Spawn (1 Thread/Task)  ->  4 / ?": display name, tasks, threads, mode.
    std::string summary(u64 tds) const;
    // The same on the console, in colours; no line feed.
    void print_summary(u64 tds) const;
};

// One kind of framework; a stateless object of static lifetime.
class FrameworkType {
  public:
    virtual ~FrameworkType();
    virtual std::string display_name() const = 0;
    virtual std::unique_ptr<FrameworkConfig> make_default_config() const = 0;
};

// The type of a framework whose configuration is the class given.
template <class Config>
class FrameworkTypeOf final : public FrameworkType {
  public:
    std::string display_name() const override { return Config().display_name(); }
    std::unique_ptr<FrameworkConfig> make_default_config() const override {
        return std::make_unique<Config>();
    }
};

// A name that is already there is fatal: "Duplicate Framework Type", exit code 1.
void register_framework(const std::string& name, const FrameworkType& type);

// Registers in a static initialiser.
struct FrameworkRegistration {
    FrameworkRegistration(const char* name, const FrameworkType& type) { register_framework(name, type); }
};

// Throws InvalidParametersException "Invalid Parallel Framework: " + name.
const FrameworkType& find_framework_type(std::string_view name);
std::unique_ptr<FrameworkConfig> make_default_framework_config(std::string_view name);

// The registered names in menu order.
std::vector<std::string> framework_names();

}  // namespace trel
