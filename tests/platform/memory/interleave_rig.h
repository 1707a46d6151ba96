// An imitated machine with its map, workers and the allocator that spreads pages over its nodes.
#pragma once

#include "platform/memory/fake_machine.h"
#include "platform/memory/interleave_allocator.h"
#include "platform/memory/node_workers.h"

namespace kalvor_test {

struct InterleaveRig {
    explicit InterleaveRig(FakeMachine& machine)
        : calls(machine.calls()), map(calls), config(calls, map, workers) {}

    trel::MemoryCalls calls;
    trel::NumaMap map;
    trel::NodeWorkers workers;
    trel::InterleaveConfig config;
};

}  // namespace kalvor_test

// Tests use the name alone.
using kalvor_test::InterleaveRig;
