// An imitated machine with its map, workers and the allocator that spreads pages over its nodes.
#pragma once

#include "platform/memory/fake_machine.h"
#include "platform/memory/interleave_allocator.h"
#include "platform/memory/node_workers.h"

struct InterleaveRig {
    explicit InterleaveRig(FakeMachine& machine)
        : calls(machine.calls()), map(calls), config(calls, map, workers) {}

    trel::MemoryCalls calls;
    trel::NumaMap map;
    trel::NodeWorkers workers;
    trel::InterleaveConfig config;
};
