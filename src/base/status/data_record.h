// A named record of results, for programs that follow a computation.
#pragma once

#include <string>

#include "base/config/node.h"

namespace trel {

class DataRecord {
  public:
    virtual ~DataRecord() = default;
    // "ComputationOutput", "ComputationDiagnostics".
    virtual std::string name() const = 0;
    // Adds the record's members to an empty object.
    virtual void write(Config::Object& out) const = 0;
};

}  // namespace trel
