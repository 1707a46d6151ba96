#include "app/record/computation_diagnostics.h"

namespace kalvor {

using Config::Object;

namespace {

// Percentages x 100; 0 where the interval was too short for the system's accounting.
i64 hundredths(double percent) {
    return static_cast<i64>(100 * percent);
}

void add_spot_check(Object& out, const RunRecord& record) {
    const SpotCheckResult& check = record.spot_check;
    Object& object = out.add_object("SpotCheck");
    if (check.position >= 0) {
        object.add_string("Status", check.position == 0 ? "Unavailable" : "Passed");
        return;
    }
    object.add_string("Status", "Failed");
    object.add_integer("Offset", static_cast<i64>(check.last_good));
    object.add_string("Contiguous", record.contiguous ? "true" : "false");
    object.add_integer("Mismatch", -check.position);
}

}  // namespace

void ComputationDiagnostics::write(Object& out) const {
    Object& utilization = out.add_object("Utilization");
    const CpuUtilization& used = record_.utilization;
    utilization.add_integer("MaxConcurrency", static_cast<i64>(record_.processors));
    utilization.add_integer("UserTime%x100", used.measurable ? hundredths(used.total - used.kernel) : 0);
    utilization.add_integer("KernelTime%x100", used.measurable ? hundredths(used.kernel) : 0);
    add_spot_check(out, record_);
}

}  // namespace kalvor
