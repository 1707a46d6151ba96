// The user's choice of parallelism: how many tasks, which framework, its settings.
#pragma once

#include <string>

#include "base/settings/number_setting.h"
#include "platform/parallel/framework_registry.h"

namespace trel {

// How many tasks work may be split into, 1 to 65,536.
class TaskDecomposition final : public NumberSetting {
  public:
    static constexpr u64 kMost = 65536;

    TaskDecomposition();  // 1
    TaskDecomposition& operator=(u64 tds) {
        set(tds);
        return *this;
    }
    operator u64() const { return value(); }

    // Throws InvalidParametersException "Task decomposition must be between 1 and 65,536.".
    void choose(i64 tasks);
    void load(const Config::Object& object, std::string_view context) override;
};

// Copies are deep.
class ParallelismSettings final : public SettingsObject {
  public:
    static constexpr const char* kContext = "Parallel Framework";

    // One processor: "none" with one task. More: the fastest framework with the smallest power of two of
    // tasks that is at least twice the processors, so that unequal tasks still fill them.
    explicit ParallelismSettings(u64 processors);
    ParallelismSettings();  // for what this process has of them

    // Reads {"TaskDecomposition", "Framework", the framework's own keys}. Throws what the settings throw;
    // type errors name "Parallel Framework".
    static ParallelismSettings parse(const Config::Node& node);

    // "display name  ->  tasks / threads"
    std::string summary() const { return framework->summary(task_decomposition); }

    u64 logical_cores;  // of the machine; not saved
    TaskDecomposition task_decomposition;
    ChoiceSetting<FrameworkConfig> framework;

  protected:
    SettingList settings() override { return {&task_decomposition, &framework}; }
};

}  // namespace trel
