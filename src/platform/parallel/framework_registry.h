// The parallel frameworks by name: what the user chooses from. Filled before main() by registration objects,
// read-only afterwards.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/config/node.h"
#include "base/settings/choices.h"
#include "platform/parallel/basic_parallelizer.h"
#include "platform/parallel/framework_settings.h"

namespace trel {

// A chosen framework and its settings. Owned by the parallelism settings.
class FrameworkConfig : public SettingsObject {
  public:
    FrameworkConfig() : SettingsObject("Parallel Framework", 32) {}

    virtual std::string name() const = 0;
    virtual std::string display_name() const = 0;
    // Built once for a computation; pools of threads live as long as it.
    virtual std::unique_ptr<BasicParallelizer> make_framework() const = 0;
    virtual std::unique_ptr<FrameworkConfig> clone() const = 0;
    // Threads that the framework runs on; 0 = not fixed, shown as "?".
    virtual u64 worker_threads() const { return 0; }
    // Limits the framework to this number of threads, 2 or more; false when it has no limit of its own.
    virtual bool limit_threads(u64) { return false; }
    // {"Framework" : name, and each setting : {"Value", "DisplayText"}} for a remote user interface.
    Config::Object to_selector() const;

    // What the summary says of the framework's mode; empty for most.
    virtual std::string mode_text() const { return {}; }

    // "Thread Spawn (1 Thread/Task)  ->  4 / ?": display name, tasks, threads, mode.
    std::string summary(u64 tds) const;
};

// On a machine with several processors: the fastest for Pi to 10 million digits.
inline constexpr const char* kDefaultFramework = "cilk";

using FrameworkType = ChoiceType<FrameworkConfig>;
// What the settings of a framework are derived from.
template <class Settings>
using FrameworkConfigOf = ChosenAs<Settings, FrameworkConfig>;

// A name that is already there is fatal: "Duplicate Framework Type", exit code 1.
void register_framework(const std::string& name, const FrameworkType& type);

// Registers the framework whose settings are the class Settings, in a static initialiser.
template <class Settings>
struct FrameworkRegistration {
    FrameworkRegistration() { register_framework(Settings::kName, type); }

    const ChoiceTypeOf<Settings, FrameworkConfig> type;
};

// A framework that this build lacks, and what to do about it. It is not listed; the refusal of its
// name says why.
struct LeftOutFramework {
    LeftOutFramework(const char* name, const char* reason);
};
// Empty when no framework of that name was left out.
std::string left_out_reason(std::string_view name);

// All of them, for a setting that holds one.
const Choices<FrameworkConfig>& framework_choices();
// Throws InvalidParametersException "Invalid Parallel Framework: " + name, with the reason in brackets if it
// was left out.
std::unique_ptr<FrameworkConfig> make_default_framework_config(std::string_view name);
// As the setting "Framework" of a computation reads and edits itself.
// Takes the framework that "Framework" names and reads its keys from the same object.
std::unique_ptr<FrameworkConfig> make_framework_config(const Config::Object& object);
// Lists the frameworks, asks for one and returns its defaults.
std::unique_ptr<FrameworkConfig> select_framework_menu();

// The registered names in menu order.
std::vector<std::string> framework_names();

}  // namespace trel
