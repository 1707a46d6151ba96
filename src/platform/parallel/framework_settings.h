// The settings that several frameworks have.
#pragma once

#include <string>

#include "base/config/node.h"
#include "os/types.h"

namespace trel {

// Labels of the settings of a framework are padded to this.
inline constexpr u64 kFrameworkLabelWidth = 32;

// How many tasks a thread may start one after another before it fans out. At least 4: lower values are stored
// as 4.
class MaxSequentialDispatch {
  public:
    static constexpr u64 kLeast = 4;
    static constexpr u64 kDefault = 64;
    static constexpr const char* kKey = "MaxSequentialDispatch";

    MaxSequentialDispatch() = default;
    explicit MaxSequentialDispatch(u64 value) : value_(value < kLeast ? kLeast : value) {}
    explicit MaxSequentialDispatch(const Config::Object& object);

    u64 value() const { return value_; }

    void add_to_config(Config::Object& object) const;
    void add_to_selector(Config::Object& object) const;
    void print(u64 line_number) const;
    // Explains the setting and asks for it.
    void edit();

  private:
    u64 value_ = kDefault;
};

// The number of threads of a pool; 0 = unlimited.
class WorkerThreads {
  public:
    static constexpr const char* kKey = "WorkerThreads";

    WorkerThreads() = default;
    explicit WorkerThreads(u64 value) : value_(value) {}
    // Negative numbers are taken as 0.
    explicit WorkerThreads(const Config::Object& object);

    u64 value() const { return value_; }

    void add_to_config(Config::Object& object) const;
    void add_to_selector(Config::Object& object) const;
    void print(u64 line_number) const;
    void edit();

  private:
    std::string text() const;  // the number or "Unlimited"

    u64 value_ = 0;
};

}  // namespace trel
