// A record whose every field is known, for tests of what is made of it.
#pragma once

#include <string>

#include "app/record/run_record.h"
#include "base/names/names.h"

namespace kalvor_test {

inline kalvor::RunRecord hand_made_record() {
    using namespace kalvor;
    RunRecord record;
    SystemRecord& system = record.system;
    system.os_version = "Some System 1.0";
    system.processor = "Some Processor";
    system.topology = {16, 8, 1, 2};
    system.base_frequency = 4000000000;
    system.usable_memory = 16000000000;
    system.total_memory = u64(16) << 30;
    system.board_manufacturer = "Some Maker";
    system.board_product = "Some Board";
    system.board_version = "1.2";
    system.board_serial = kSuppressedPii;
    system.modules = {{"PART-1", u64(8) << 30}, {"PART-2", 0}};
    record.user = "J\xc3\xb6rg  ";
    record.constant = "Pi";
    record.constant_file = "Pi";
    record.algorithm = "Chudnovsky (1988)";
    record.decimal_digits = 1000;
    record.hexadecimal_digits = 831;
    record.mode = "Ram Only";
    record.threading = "None";
    record.working_memory = 1048576;
    record.total_memory = 3145728;
    record.configuration = "{\r\n    Path : \"a\n----b\"\r\n}\r\n";
    record.start_date = "Fri Jan  2 03:04:05 2026";
    record.end_date = "Fri Jan  2 03:04:15 2026";
    record.end_time = {2026, 1, 2, 5, 3, 4, 15};
    record.compute_time = {8, 14, 1};
    record.compute_seconds = 8;
    record.wall_seconds = 10.125;
    record.processors = 16;
    record.utilization = {true, 187.5, 12.5, 11.71875, 0.78125};
    OutputStats& decimal = record.decimal.emplace();
    decimal.hash = (u64(1) << 61) - 1;  // another name of 0
    decimal.digits = 1000;
    decimal.counts = DigitCounts(10);
    for (u64 i = 0; i < 10; i++) decimal.counts.count[i] = 100 + 1000 * i;
    decimal.last.start = 900;
    decimal.last.radix = 10;
    for (int i = 0; i < 100; i++) decimal.last.text += static_cast<char>('0' + i % 10);
    decimal.hidden.push_back({1000, 250, std::string(64, 'a')});
    OutputStats& hexadecimal = record.hexadecimal.emplace();
    hexadecimal.hash = 1234567;
    hexadecimal.digits = 831;
    hexadecimal.counts = DigitCounts(16);
    hexadecimal.last.start = 750;
    hexadecimal.last.radix = 16;
    hexadecimal.last.text = "0123456789abcdef";
    record.spot_check = {1000, 1000};
    record.timer_check = TimerCheck::passed;
    record.clocks = {"TSC", 10000000, 4000000000, 3999999999};
    record.event_log = "Fri Jan  2 03:04:05 2026\t0.001\tWorking Memory\r\n";
    return record;
}

}  // namespace kalvor_test
