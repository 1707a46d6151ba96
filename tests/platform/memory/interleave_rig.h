// An imitated machine with its map, workers and the allocator that spreads pages over its nodes.
#pragma once

#include "platform/memory/fake_machine.h"
#include "platform/memory/interleave_allocator.h"
#include "platform/memory/node_workers.h"
#include "support/capture_console.h"

struct InterleaveRig {
    explicit InterleaveRig(FakeMachine& machine)
        : calls(machine.calls()), map(silent_map(calls)), config(calls, map, workers) {}

    static trel::NumaMap silent_map(const trel::MemoryCalls& calls) {
        CaptureConsole console;
        return trel::NumaMap(calls);
    }

    trel::MemoryCalls calls;
    trel::NumaMap map;
    trel::NodeWorkers workers;
    trel::InterleaveConfig config;
};
