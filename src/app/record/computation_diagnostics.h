// How a run went, as a data record.
#pragma once

#include <string>

#include "app/record/run_record.h"
#include "base/names/names.h"
#include "base/status/data_record.h"

namespace kalvor {

// "Utilization", "SpotCheck". The record of the run outlives it.
class ComputationDiagnostics final : public DataRecord {
  public:
    explicit ComputationDiagnostics(const RunRecord& record) : record_(record) {}
    std::string name() const override { return "ComputationDiagnostics"; }
    void write(Config::Object& out) const override;

  private:
    const RunRecord& record_;
};

}  // namespace kalvor
