// Machines that this one is not: several groups of processors, sockets and nodes.
#include "os/windows/topology_records.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <cstring>
#include <vector>

using namespace trel;

namespace {

using Record = SYSTEM_LOGICAL_PROCESSOR_INFORMATION_EX;

class Records {
  public:
    // A core, package or die with these processors, a mask a group.
    Records& processors(LOGICAL_PROCESSOR_RELATIONSHIP kind, const std::vector<KAFFINITY>& masks) {
        Record record{};
        record.Relationship = kind;
        record.Processor.GroupCount = static_cast<WORD>(masks.size());
        const size_t head = offsetof(Record, Processor) + offsetof(PROCESSOR_RELATIONSHIP, GroupMask);
        record.Size = static_cast<DWORD>(head + masks.size() * sizeof(GROUP_AFFINITY));
        append(&record, head);
        for (size_t i = 0; i < masks.size(); i++) {
            GROUP_AFFINITY affinity{};
            affinity.Mask = masks[i];
            affinity.Group = static_cast<WORD>(i);
            append(&affinity, sizeof affinity);
        }
        return *this;
    }
    Records& other(LOGICAL_PROCESSOR_RELATIONSHIP kind) {
        Record record{};
        record.Relationship = kind;
        record.Size = sizeof record;
        append(&record, sizeof record);
        return *this;
    }
    std::vector<std::byte> bytes;

  private:
    void append(const void* data, size_t n) {
        const auto* from = static_cast<const std::byte*>(data);
        bytes.insert(bytes.end(), from, from + n);
    }
};

std::vector<u32> counts(const std::vector<std::byte>& bytes) {
    const os::Topology t = os::topology_of(bytes);
    return {t.logical_cores, t.physical_cores, t.sockets, t.numa_nodes};
}

using Counts = std::vector<u32>;

}  // namespace

TEST(TopologyRecordsTest, SeveralGroupsSocketsAndNodes) {
    Records records;
    for (int core = 0; core < 64; core++) {
        records.processors(RelationProcessorCore, {core % 32 == 0 ? KAFFINITY(3) << 62 : KAFFINITY(3)});
    }
    records.processors(RelationProcessorPackage, {~KAFFINITY(0), 0xffff});
    records.processors(RelationProcessorPackage, {0xffff});
    for (int node = 0; node < 4; node++) records.other(RelationNumaNode);
    records.other(RelationCache).other(RelationGroup);
    constexpr auto kDie = static_cast<LOGICAL_PROCESSOR_RELATIONSHIP>(5);
    records.processors(kDie, {1});  // a kind that is not counted
    EXPECT_EQ(counts(records.bytes), (Counts{128, 64, 2, 4}));
}

TEST(TopologyRecordsTest, ACoreMayLieInTwoGroups) {
    EXPECT_EQ(counts(Records().processors(RelationProcessorCore, {1, KAFFINITY(1) << 63}).bytes),
              (Counts{2, 1, 0, 0}));
}

TEST(TopologyRecordsTest, CutOffOrEmpty) {
    EXPECT_EQ(counts({}), (Counts{0, 0, 0, 0}));
    Records records;
    records.processors(RelationProcessorCore, {7}).processors(RelationProcessorPackage, {7});
    const size_t first = records.bytes.size() / 2;
    for (size_t n = 0; n < records.bytes.size(); n++) {
        const std::vector<std::byte> some(records.bytes.begin(),
                                          records.bytes.begin() + static_cast<long>(n));
        EXPECT_EQ(counts(some), n < first ? (Counts{0, 0, 0, 0}) : (Counts{3, 1, 0, 0})) << n;
    }
    // A record without a size would never end.
    records.bytes.resize(first);
    records.bytes.resize(first + 100);
    EXPECT_EQ(counts(records.bytes), (Counts{3, 1, 0, 0}));
}
