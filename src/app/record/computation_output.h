// The results of a run as a data record.
#pragma once

#include <string>

#include "app/record/run_record.h"
#include "base/names/names.h"
#include "base/status/data_record.h"

namespace kalvor {

// "Dates", "Times", "DigitStats". The record of the run outlives it.
class ComputationOutput final : public DataRecord {
  public:
    explicit ComputationOutput(const RunRecord& record) : record_(record) {}
    std::string name() const override { return "ComputationOutput"; }
    void write(Config::Object& out) const override;

  private:
    const RunRecord& record_;
};

}  // namespace kalvor
