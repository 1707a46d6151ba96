// Every form of report with fields that are missing.
#include <gtest/gtest.h>

#include "base/errors/exceptions.h"
#include "os/path_kind.h"
#include "support/capture_console.h"

using namespace trel;

namespace {

// The report without its beginning and its end, which are checked.
std::string body(const Exception& e, const std::string& title = "Exception Encountered") {
    CaptureConsole console(CaptureConsole::terminal, true);
    e.print();
    const std::string begin = "{R}\n\n" + title + ": " + e.get_typename() + "\n\n", end = "\n\n{w}";
    const std::string text = console.take();
    if (!text.starts_with(begin) || !text.ends_with(end)) return "no report: " + text;
    return text.substr(begin.size(), text.size() - begin.size() - end.size());
}

constexpr u64 kMost = ~u64(0);
const std::string kMostText = "18,446,744,073,709,551,615";

}  // namespace

TEST(ReportFormTest, Generic) {
    EXPECT_EQ(body(StringException("", "")), "\n");
    EXPECT_EQ(body(StringException("f()", "")), "In Function: f()\n\n\n");
    EXPECT_EQ(body(StringException("", "two\nlines")), "two\nlines\n");
    EXPECT_EQ(body(ConvolutionFailedException("", "m", 1, 2)), "m\n");
    EXPECT_EQ(body(StdException("")), "\n");
}

// Each class by its own name.
TEST(ReportFormTest, GenericOfEveryClass) {
    const std::string text = "In Function: f()\n\nm\n";
    EXPECT_EQ(body(InvalidParametersException("f()", "m")), text);
    EXPECT_EQ(body(InvalidTransformException("f()", "m")), text);
    EXPECT_EQ(body(TransformTooSmallException("f()", "m")), text);
    EXPECT_EQ(body(ParseException("f()", "m")), text);
    EXPECT_EQ(body(EndOfStreamException("f()", "m")), text);
    EXPECT_EQ(body(KeyNotFoundException("f()", "m")), text);
    EXPECT_EQ(body(ArithmeticException("f()", "m")), text);
    EXPECT_EQ(body(AlgorithmFailedException("f()", "m")), text);
    EXPECT_EQ(body(ResourceAcquisitionFailedException("f()", "m")), text);
    EXPECT_EQ(body(FarMemoryException("f()", "m")), text);
    EXPECT_EQ(body(UnsupportedValueException("f()", "m")), text);
    EXPECT_EQ(body(UnsupportedZeroException("f()", "m")), text);
    EXPECT_EQ(body(UnsupportedNegativeException("f()", "m")), text);
}

TEST(ReportFormTest, Limit) {
    EXPECT_EQ(body(LimitExceededException("f()", "", 1, 0)),
              "Limit Exceeded:\n    Function:       f()\n\n    Limit:          1\n    Attempted:      0\n");
    EXPECT_EQ(body(LimitExceededException("", "m", kMost, kMost)),
              "Limit Exceeded:\nm\n\n    Limit:          " + kMostText +
                  "\n    Attempted:      " + kMostText + "\n");
    EXPECT_EQ(body(LimitExceededException("f()", "m", 0, 5)),
              "Limit Exceeded:\n    Function:       f()\nm\n\n    Limit: Unknown\n    Attempted:      5\n");
}

TEST(ReportFormTest, Convolution) {
    EXPECT_EQ(body(ConvolutionTooSmallException("f()", "m", 0, 0)),
              "In Function: f()\n\nLimit Exceeded:\n    Message:            m\n");
    // One size is enough.
    EXPECT_EQ(body(ConvolutionTooSmallException("", "", 0, 5)),
              "Limit Exceeded:\n    Convolution Size:   0\n    Requested Size:     5\n");
    EXPECT_EQ(body(ConvolutionTooSmallException("", "", 5, 0)),
              "Limit Exceeded:\n    Convolution Size:   5\n    Requested Size:     0\n");
}

// These name a function that is empty, too.
TEST(ReportFormTest, ExponentBufferBounds) {
    constexpr i64 kLowest = -9223372036854775807 - 1;
    EXPECT_EQ(body(ExponentOverflowException("", "", kLowest, 9223372036854775807)),
              "Floating-point exponent has exceeded internal limit:\n"
              "    Function:       \n"
              "    Value:          -9,223,372,036,854,775,808\n"
              "    Limit:          9,223,372,036,854,775,807\n");
    EXPECT_EQ(body(BufferTooSmallException("", kMost, 0)),
              "Buffer is too small:\n    Function:       \n    Buffer Size:    " + kMostText +
                  "\n    Required Size:  0\n");
    EXPECT_EQ(body(FarMemoryOutOfBoundsException("", 0, kMost, 0)),
              "Out-of-Bounds Access on FarMemory object:\n    Function:       \n    Object Size:    0\n"
              "    Access Offset:  " +
                  kMostText + "\n    Access Length:  0\n");
}

// Numbers of errors have no separators.
TEST(ReportFormTest, SystemFileRaid) {
    EXPECT_EQ(body(SystemException("", "m", 0), "System Exception Encountered"),
              "Error Code:         0\n\nm\n");
    EXPECT_EQ(body(SystemException("", "", 4294967295), "System Exception Encountered"),
              "Error Code:         4294967295\n\n\n");
    EXPECT_EQ(body(FileIO::FileException("", "m", "p", 4294967295)),
              "Error Code:         4294967295\nPath:   p\n\nm\n");
    EXPECT_EQ(body(FileIO::FileException("", "", "", 0)), "Path:   " + os::absolute_path("") + "\n\n\n");
    EXPECT_EQ(body(DigitViewer2::InconsistentMetaData("f()", "m", "p", 12345)),
              "In Function:        f()\nError Code:         12345\nPath:   p\n\nm\n");
    const std::string raid = "Raid03 Exception Encountered";
    EXPECT_EQ(body(DiskRaid0::Raid0Exception("", "m", "p", 4294967295), raid),
              "Error Code:         4294967295\nPath:               p\n\nm\n");
    EXPECT_EQ(body(R03::Raid03Exception("f()", "", "", 0), raid),
              "In Function:        f()\nError Code:         0\nPath:               " + os::absolute_path("") +
                  "\n\n\n");
}

TEST(ReportFormTest, AllocationAndModular) {
    EXPECT_EQ(body(MemoryAllocationFailedException("", "m", "", 5)),
              "Allocation Type:    {Y}{R}\nAllocation Size:    {Y} 5 bytes{R}\n");
    EXPECT_EQ(body(BSRModularCheckFailedException("", "m", kMost, 0, {})),
              "m\n\n    a =             " + kMostText + "\n    b =             0\n");
    std::vector<u64> residues(11, 1000);
    EXPECT_TRUE(body(BSRModularCheckFailedException("", "m", 1, 2, residues))
                    .ends_with("\n    hash[9] = 1000\n    hash[10] = 1000\n"));
}
