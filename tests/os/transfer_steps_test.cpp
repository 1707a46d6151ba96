// Transfers that the system does in pieces, played by a device that obeys a script.
#include "os/transfer_steps.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

using namespace trel;
using namespace trel::os;

namespace {

constexpr OsError kInterrupted{4, ErrorCategory::interrupted};
constexpr OsError kFull{28, ErrorCategory::disk_full};
constexpr OsError kInvalid{22, ErrorCategory::invalid_parameter};

// Answers one step after the other and records what was asked.
class Device {
  public:
    explicit Device(std::vector<TransferStep> answers) : answers_(std::move(answers)) {}
    TransferStep operator()(u64 done, u64 ask) {
        asked.emplace_back(done, ask);
        EXPECT_LT(next_, answers_.size()) << "asked too often";
        return next_ < answers_.size() ? answers_[next_++] : TransferStep{};
    }
    bool finished() const { return next_ == answers_.size(); }
    std::vector<std::pair<u64, u64>> asked;

  private:
    std::vector<TransferStep> answers_;
    u64 next_ = 0;
};

using Asked = std::vector<std::pair<u64, u64>>;

Transfer run(Device& device, u64 bytes) {
    const Transfer done = transfer_in_steps(bytes, [&](u64 at, u64 ask) { return device(at, ask); });
    EXPECT_TRUE(device.finished()) << "gave up early";
    return done;
}

}  // namespace

TEST(TransferStepsTest, AtMostOneGibibyteACall) {
    const u64 gib = u64(1) << 30;
    Device device({{gib, {}}, {gib, {}}, {5, {}}});
    const Transfer done = run(device, 2 * gib + 5);
    EXPECT_EQ(done.bytes, 2 * gib + 5);
    EXPECT_FALSE(done.error);
    EXPECT_EQ(device.asked, (Asked{{0, gib}, {gib, gib}, {2 * gib, 5}}));
}

TEST(TransferStepsTest, PartialStepsAreContinued) {
    Device device({{512, {}}, {100, {}}, {1, {}}, {4096 - 613, {}}});
    EXPECT_EQ(run(device, 4096).bytes, 4096U);
    EXPECT_EQ(device.asked, (Asked{{0, 4096}, {512, 3584}, {612, 3484}, {613, 3483}}));
}

TEST(TransferStepsTest, InterruptedStepsAreRepeated) {
    Device device({{0, kInterrupted}, {0, kInterrupted}, {100, {}}, {0, kInterrupted}, {28, {}}});
    const Transfer done = run(device, 128);
    EXPECT_EQ(done.bytes, 128U);
    EXPECT_FALSE(done.error);
    EXPECT_EQ(device.asked, (Asked{{0, 128}, {0, 128}, {0, 128}, {100, 28}, {100, 28}}));
}

TEST(TransferStepsTest, NothingMovedIsTheEnd) {
    Device device({{512, {}}, {0, {}}});
    const Transfer done = run(device, 4096);
    EXPECT_EQ(done.bytes, 512U);
    EXPECT_FALSE(done.error);
}

TEST(TransferStepsTest, AnErrorEndsIt) {
    Device device({{1024, {}}, {0, kFull}});
    const Transfer done = run(device, 4096);
    EXPECT_EQ(done.bytes, 1024U);
    EXPECT_EQ(done.error.code, 28U);
    EXPECT_EQ(done.error.category, ErrorCategory::disk_full);
}

// Unbuffered reading ends inside the last sector, where the system refuses to go on.
TEST(TransferStepsTest, TheEndInsideASectorIsNoError) {
    Device inside({{5000, {}}, {0, kInvalid}});
    const Transfer done = run(inside, 8192);
    EXPECT_EQ(done.bytes, 5000U);
    EXPECT_FALSE(done.error);
    Device between({{4096, {}}, {0, kInvalid}});
    EXPECT_TRUE(run(between, 8192).error);
    Device first({{0, kInvalid}});
    EXPECT_TRUE(run(first, 8192).error);
    Device other({{5000, {}}, {0, kFull}});
    EXPECT_TRUE(run(other, 8192).error);
}

TEST(TransferStepsTest, NothingAskedIsNothingDone) {
    Device device({});
    EXPECT_EQ(run(device, 0).bytes, 0U);
}
