// The data records of a run, every byte.
#include <gtest/gtest.h>

#include "app/record/computation_diagnostics.h"
#include "app/record/computation_output.h"
#include "base/config/node.h"

namespace kalvor {
namespace {

std::string acfg(const DataRecord& record) {
    Config::Object object;
    record.write(object);
    std::string text = object.to_acfg();
    std::erase(text, '\r');
    return text;
}

RunRecord record_of_two_radices() {
    RunRecord record;
    record.start_date = "Fri Jan  2 03:04:05 2026";
    record.end_date = "Fri Jan  2 03:04:07 2026";
    record.compute_seconds = 1.9996;
    record.wall_seconds = 2.0004;
    OutputStats& decimal = record.decimal.emplace();
    decimal.hash = (u64(1) << 61) - 1;
    for (u64 i = 0; i < 10; i++) decimal.counts.count[i] = i;
    decimal.last.start = 950;
    decimal.last.text = "0123456789";
    decimal.hidden.push_back({1000, 19, "abc"});
    OutputStats& hexadecimal = record.hexadecimal.emplace();
    hexadecimal.hash = 77;
    hexadecimal.counts = DigitCounts(16);
    hexadecimal.last.start = 800;
    hexadecimal.last.radix = 16;
    hexadecimal.last.text = "abcdef";
    return record;
}

TEST(ComputationOutputTest, OfTwoRadices) {
    const RunRecord record = record_of_two_radices();
    const ComputationOutput output(record);
    EXPECT_EQ(output.name(), "ComputationOutput");
    EXPECT_EQ(acfg(output),
              "{\n"
              "    Dates : {\n"
              "        Start : \"Fri Jan  2 03:04:05 2026\"\n"
              "        End : \"Fri Jan  2 03:04:07 2026\"\n"
              "    }\n"
              "    Times : {\n"
              "        ComputeTimeMillis : 1999\n"
              "        WallTimeMillis : 2000\n"
              "    }\n"
              "    DigitStats : {\n"
              "        LastDecDigits : {\n"
              "            Offset : 950\n"
              "            Digits : \"0123456789\"\n"
              "        }\n"
              "        LastHexDigits : {\n"
              "            Offset : 800\n"
              "            Digits : \"abcdef\"\n"
              "        }\n"
              "        HiddenDecDigits : {\n"
              "            Offset : 1000\n"
              "            Digits : 19\n"
              "            SHA256 : \"abc\"\n"
              "        }\n"
              "        DecStats : {\n"
              "            Hash : 0\n"
              "            Counts : [0 1 2 3 4 5 6 7 8 9]\n"
              "        }\n"
              "        HexStats : {\n"
              "            Hash : 77\n"
              "            Counts : [0 0 0 0 0 0 0 0 0 0 0 0 0 0 0 0]\n"
              "        }\n"
              "    }\n"
              "}\n");
}

TEST(ComputationOutputTest, OnlyWhatThereIs) {
    RunRecord record = record_of_two_radices();
    record.hexadecimal.reset();
    record.decimal->hidden.clear();
    const std::string text = acfg(ComputationOutput(record));
    EXPECT_NE(text.find("LastDecDigits"), std::string::npos);
    EXPECT_EQ(text.find("Hex"), std::string::npos);
    EXPECT_EQ(text.find("Hidden"), std::string::npos);
    record.decimal.reset();
    EXPECT_NE(acfg(ComputationOutput(record)).find("    DigitStats : {}\n"), std::string::npos)
        << acfg(ComputationOutput(record));
}

TEST(ComputationDiagnosticsTest, UtilizationAndSpotCheck) {
    RunRecord record;
    record.processors = 8;
    record.utilization = {true, 187.129, 12.349, 23.4, 1.5};
    record.spot_check = {1000, 1000};
    const ComputationDiagnostics diagnostics(record);
    EXPECT_EQ(diagnostics.name(), "ComputationDiagnostics");
    EXPECT_EQ(acfg(diagnostics),
              "{\n"
              "    Utilization : {\n"
              "        MaxConcurrency : 8\n"
              "        UserTime%x100 : 17478\n"
              "        KernelTime%x100 : 1234\n"
              "    }\n"
              "    SpotCheck : {\n"
              "        Status : \"Passed\"\n"
              "    }\n"
              "}\n");
    record.utilization = {};
    record.spot_check = {};
    const std::string unavailable = acfg(diagnostics);
    EXPECT_NE(unavailable.find("        UserTime%x100 : 0\n        KernelTime%x100 : 0\n"),
              std::string::npos);
    EXPECT_NE(unavailable.find("        Status : \"Unavailable\"\n    }\n"), std::string::npos);
    record.spot_check = {-20, 0};
    EXPECT_NE(acfg(diagnostics)
                  .find("        Status : \"Failed\"\n        Offset : 0\n"
                        "        Contiguous : \"true\"\n        Mismatch : 20\n"),
              std::string::npos);
}

}  // namespace
}  // namespace kalvor
