#include "base/status/work_meter.h"

#include <algorithm>

namespace trel {

WorkMeter::WorkMeter(std::vector<WorkPhase> phases) : phases_(std::move(phases)) {
    double end = 0;
    for (const WorkPhase& phase : phases_) {
        end += std::max(phase.seconds, 0.0);
        ends_.push_back(end);
    }
}

void WorkMeter::enter(std::string_view phase) {
    for (std::size_t i = entered_.load(std::memory_order_relaxed); i < phases_.size(); i++) {
        if (phases_[i].name != phase) continue;
        // In this order: a reader in between sees less than there is.
        units_.store(0, std::memory_order_relaxed);
        entered_.store(i + 1, std::memory_order_release);
        return;
    }
}

WorkMeter::Reading WorkMeter::read() const {
    Reading reading;
    if (phases_.empty()) return reading;
    reading.total = ends_.back();
    const std::size_t entered = entered_.load(std::memory_order_acquire);
    if (entered == 0) return reading;
    const std::size_t i = entered - 1;
    const WorkPhase& phase = phases_[i];
    const double units = static_cast<double>(units_.load(std::memory_order_relaxed));
    const double fraction = phase.units > 0 ? std::min(units / phase.units, 1.0) : 0;
    reading.phase = phase.name;
    reading.phase_end = ends_[i];
    reading.done = ends_[i] - (1 - fraction) * std::max(phase.seconds, 0.0);
    reading.rated = phase.rated;
    return reading;
}

}  // namespace trel
