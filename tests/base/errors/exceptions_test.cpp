#include "base/errors/exceptions.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <thread>

#include "base/errors/fatal.h"
#include "base/errors/one_shot_warning.h"
#include "base/errors/registry.h"
#include "support/capture_console.h"
#include "support/run_program.h"

using namespace trel;

namespace {

constexpr u64 kM61 = (u64(1) << 61) - 1;

std::string report(const Exception& e) {
    CaptureConsole console(CaptureConsole::terminal, true);
    e.print();
    return console.text();
}

// One object of every class, with recognisable fields.
std::vector<std::unique_ptr<Exception>> one_of_each() {
    std::vector<std::unique_ptr<Exception>> all;
    const std::string f = "A::b()", m = "message long enough to live on the heap", p = "dir/file";
    all.push_back(std::make_unique<StringException>(f, m));
    all.push_back(std::make_unique<InvalidParametersException>(f, m));
    all.push_back(std::make_unique<InvalidTransformException>(f, m));
    all.push_back(std::make_unique<TransformTooSmallException>(f, m));
    all.push_back(std::make_unique<ConvolutionTooSmallException>(f, m, 100000, 200000));
    all.push_back(std::make_unique<ParseException>(f, m));
    all.push_back(std::make_unique<EndOfStreamException>(f, m));
    all.push_back(std::make_unique<KeyNotFoundException>(f, m));
    all.push_back(std::make_unique<ArithmeticException>(f, m));
    all.push_back(std::make_unique<ExponentOverflowException>(f, m, -5000, 4000));
    all.push_back(std::make_unique<LimitExceededException>(f, m, 7, 8000));
    all.push_back(std::make_unique<AlgorithmFailedException>(f, m));
    all.push_back(std::make_unique<ConvolutionFailedException>(f, m, 3, 4));
    all.push_back(
        std::make_unique<BSRModularCheckFailedException>(f, m, 1000, 2000, std::vector<u64>{5, kM61, 1234}));
    all.push_back(std::make_unique<ResourceAcquisitionFailedException>(f, m));
    all.push_back(std::make_unique<MemoryAllocationFailedException>(f, m, "malloc", u64(512) << 20));
    all.push_back(std::make_unique<FarMemoryException>(f, m));
    all.push_back(std::make_unique<UnsupportedValueException>(f, m));
    all.push_back(std::make_unique<UnsupportedZeroException>(f, m));
    all.push_back(std::make_unique<UnsupportedNegativeException>(f, m));
    all.push_back(std::make_unique<StdException>(m));
    all.push_back(std::make_unique<SystemException>(f, m, 1234));
    all.push_back(std::make_unique<BufferTooSmallException>("", 1000, 2000));
    all.push_back(std::make_unique<FarMemoryOutOfBoundsException>(f, 10000, 9000, 2000));
    all.push_back(std::make_unique<FileIO::FileException>(f, m, p, 1234));
    all.push_back(std::make_unique<DigitViewer2::InconsistentMetaData>(f, m, p, 0));
    all.push_back(std::make_unique<DiskRaid0::Raid0Exception>(f, m, p, 0));
    all.push_back(std::make_unique<R03::Raid03Exception>(f, m, p, 5));
    return all;
}

}  // namespace

TEST(ExceptionReportTest, Generic) {
    EXPECT_EQ(report(StringException("A::b()", "It failed.")),
              "{R}\n\nException Encountered: StringException\n\nIn Function: A::b()\n\nIt failed.\n\n\n{w}");
    EXPECT_EQ(report(ParseException("", "It failed.")),
              "{R}\n\nException Encountered: ParseException\n\nIt failed.\n\n\n{w}");
    EXPECT_EQ(report(ConvolutionFailedException("f()", "m", 1, 2)),
              "{R}\n\nException Encountered: ConvolutionFailedException\n\nIn Function: f()\n\nm\n\n\n{w}");
    EXPECT_EQ(report(StdException("bad_alloc")),
              "{R}\n\nException Encountered: StdException\n\nbad_alloc\n\n\n{w}");
}

TEST(ExceptionReportTest, Limit) {
    EXPECT_EQ(report(LimitExceededException("f()", "Too many.", 1000, 2000000)),
              "{R}\n\nException Encountered: LimitExceededException\n\n"
              "Limit Exceeded:\n"
              "    Function:       f()\n"
              "Too many.\n"
              "\n"
              "    Limit:          1,000\n"
              "    Attempted:      2,000,000\n"
              "\n\n{w}");
    EXPECT_EQ(report(LimitExceededException("", "", 0, 5)),
              "{R}\n\nException Encountered: LimitExceededException\n\n"
              "Limit Exceeded:\n\n"
              "    Limit: Unknown\n"
              "    Attempted:      5\n"
              "\n\n{w}");
}

TEST(ExceptionReportTest, ExponentConvolutionBufferBounds) {
    EXPECT_EQ(report(ExponentOverflowException("f()", "not shown", -1234567, 1000)),
              "{R}\n\nException Encountered: ExponentOverflowException\n\n"
              "Floating-point exponent has exceeded internal limit:\n"
              "    Function:       f()\n"
              "    Value:          -1,234,567\n"
              "    Limit:          1,000\n"
              "\n\n{w}");
    EXPECT_EQ(report(ConvolutionTooSmallException("f()", "m", 1000, 2000)),
              "{R}\n\nException Encountered: ConvolutionTooSmallException\n\n"
              "In Function: f()\n\n"
              "Limit Exceeded:\n"
              "    Message:            m\n"
              "    Convolution Size:   1,000\n"
              "    Requested Size:     2,000\n"
              "\n\n{w}");
    EXPECT_EQ(report(ConvolutionTooSmallException("", "", 0, 0)),
              "{R}\n\nException Encountered: ConvolutionTooSmallException\n\nLimit Exceeded:\n\n\n{w}");
    EXPECT_EQ(report(BufferTooSmallException("f()", 1000, 2000)),
              "{R}\n\nException Encountered: BufferTooSmallException\n\n"
              "Buffer is too small:\n"
              "    Function:       f()\n"
              "    Buffer Size:    1,000\n"
              "    Required Size:  2,000\n"
              "\n\n{w}");
    EXPECT_EQ(report(FarMemoryOutOfBoundsException("f()", 1, 2, 3000)),
              "{R}\n\nException Encountered: FarMemoryOutOfBoundsException\n\n"
              "Out-of-Bounds Access on FarMemory object:\n"
              "    Function:       f()\n"
              "    Object Size:    1\n"
              "    Access Offset:  2\n"
              "    Access Length:  3,000\n"
              "\n\n{w}");
}

TEST(ExceptionReportTest, SystemFileAndRaid) {
    EXPECT_EQ(report(SystemException("f()", "m", 12345)),
              "{R}\n\nSystem Exception Encountered: SystemException\n\n"
              "In Function:        f()\n"
              "Error Code:         12345\n"
              "\nm\n\n\n{w}");
    EXPECT_EQ(report(FileIO::FileException("f()", "m", "a/b", 2)),
              "{R}\n\nException Encountered: FileException\n\n"
              "In Function:        f()\n"
              "Error Code:         2\n"
              "Path:   a/b\n"
              "\nm\n\n\n{w}");
    EXPECT_EQ(report(FileIO::FileException("f()", "m", "a/b", 0)),
              "{R}\n\nException Encountered: FileException\n\n"
              "In Function:        f()\n"
              "Path:   a/b\n"
              "\nm\n\n\n{w}");
    EXPECT_EQ(report(DigitViewer2::InconsistentMetaData("", "m", "a/b")),
              "{R}\n\nException Encountered: InconsistentMetaData\n\nPath:   a/b\n\nm\n\n\n{w}");
    EXPECT_EQ(report(DiskRaid0::Raid0Exception("f()", "m", "a/b")),
              "{R}\n\nRaid03 Exception Encountered: Raid0Exception\n\n"
              "In Function:        f()\n"
              "Error Code:         0\n"
              "Path:               a/b\n"
              "\nm\n\n\n{w}");
    EXPECT_EQ(report(R03::Raid03Exception("", "m", "a/b", 28)),
              "{R}\n\nRaid03 Exception Encountered: Raid03Exception\n\n"
              "Error Code:         28\n"
              "Path:               a/b\n"
              "\nm\n\n\n{w}");
}

TEST(ExceptionReportTest, AllocationAndModular) {
    EXPECT_EQ(report(MemoryAllocationFailedException("f()", "m", "malloc", u64(512) << 20)),
              "{R}\n\nException Encountered: MemoryAllocationFailedException\n\n"
              "In Function: f()\n\n"
              "Allocation Type:    {Y}malloc{R}\n"
              "Allocation Size:    {Y} 512 MiB{R}\n"
              "\n\n{w}");
    const MemoryAllocationFailedException made("f()", "mmap", 3 << 20);
    EXPECT_EQ(made.message, "Allocation Type:  mmap\nAllocation Size:  3.00 MiB");
    EXPECT_EQ(made.allocation_type, "mmap");
    EXPECT_EQ(made.allocation_size, u64(3) << 20);
    EXPECT_EQ(report(BSRModularCheckFailedException("f()", "m", 1000, 2000, {5, kM61, kM61 - 1})),
              "{R}\n\nException Encountered: BSRModularCheckFailedException\n\n"
              "In Function: f()\n\nm\n\n"
              "    a =             1,000\n"
              "    b =             2,000\n"
              "    hash[0] = 5\n"
              "    hash[1] = 0\n"
              "    hash[2] = 2305843009213693950\n"
              "\n\n{w}");
}

TEST(ExceptionFamilyTest, EveryClassIsRegisteredAndRoundTrips) {
    const auto all = one_of_each();
    EXPECT_EQ(registered_exception_types(), (std::vector<std::string>{"AlgorithmFailedException",
                                                                      "ArithmeticException",
                                                                      "BSRModularCheckFailedException",
                                                                      "BufferTooSmallException",
                                                                      "ConvolutionFailedException",
                                                                      "ConvolutionTooSmallException",
                                                                      "EndOfStreamException",
                                                                      "ExponentOverflowException",
                                                                      "FarMemoryException",
                                                                      "FarMemoryOutOfBoundsException",
                                                                      "FileException",
                                                                      "InconsistentMetaData",
                                                                      "InvalidParametersException",
                                                                      "InvalidTransformException",
                                                                      "KeyNotFoundException",
                                                                      "LimitExceededException",
                                                                      "MemoryAllocationFailedException",
                                                                      "ParseException",
                                                                      "Raid03Exception",
                                                                      "Raid0Exception",
                                                                      "ResourceAcquisitionFailedException",
                                                                      "StdException",
                                                                      "StringException",
                                                                      "SystemException",
                                                                      "TransformTooSmallException",
                                                                      "UnsupportedNegativeException",
                                                                      "UnsupportedValueException",
                                                                      "UnsupportedZeroException"}));
    EXPECT_EQ(all.size(), 28u);
    for (const auto& e : all) {
        std::vector<u8> bytes;
        e->serialize(bytes);
        const size_t size = bytes.size();
        bytes.push_back(0xee);  // what follows must not be touched
        std::span<const u8> rest = bytes;
        const std::unique_ptr<Exception> copy = deserialize_exception(e->get_typename(), rest);
        EXPECT_EQ(rest.data(), bytes.data() + size) << e->get_typename();
        EXPECT_EQ(rest.size(), 1u);
        EXPECT_STREQ(copy->get_typename(), e->get_typename());
        EXPECT_EQ(report(*copy), report(*e));
        std::vector<u8> again;
        copy->serialize(again);
        bytes.pop_back();
        EXPECT_EQ(again, bytes) << e->get_typename();
    }
    std::span<const u8> nothing;
    EXPECT_THROW(deserialize_exception("NoSuchException", nothing), InvalidParametersException);
}

// Records come from other machines: whatever their lengths say, nothing behind their end is read.
TEST(ExceptionFamilyTest, ARecordThatEndsTooEarlyIsRefused) {
    for (const auto& e : one_of_each()) {
        std::vector<u8> bytes;
        e->serialize(bytes);
        for (size_t n = 0; n < bytes.size(); n++) {
            // Of their own size, so that a sanitizer sees a read behind them.
            const std::vector<u8> part(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(n));
            std::span<const u8> rest = part;
            try {
                (void)deserialize_exception(e->get_typename(), rest);
                ADD_FAILURE() << e->get_typename() << " of " << n << " bytes";
            } catch (const EndOfStreamException& refusal) {
                EXPECT_EQ(refusal.message, "Unexpected end of stream.");
            }
            EXPECT_EQ(rest.size(), n);
        }
    }
}

TEST(ExceptionFamilyTest, LengthsThatCannotBeAreRefusedBeforeMemoryIsTaken) {
    const auto put = [](std::vector<u8>& bytes, u64 value) {
        for (int i = 0; i < 8; i++) bytes.push_back(static_cast<u8>(value >> (8 * i)));
    };
    const auto is_refused = [](const char* name, std::span<const u8> bytes) {
        EXPECT_THROW((void)deserialize_exception(name, bytes), EndOfStreamException) << name;
    };
    for (const u64 length : {u64(9), u64(1) << 32, u64(1) << 61, (u64(1) << 61) + 1, ~u64(0) - 7, ~u64(0)}) {
        std::vector<u8> text;
        put(text, length);
        put(text, 0);
        is_refused("StdException", text);
        std::vector<u8> residues;
        for (int i = 0; i < 4; i++) put(residues, 0);
        put(residues, length);
        put(residues, 5);
        is_refused("BSRModularCheckFailedException", residues);
    }
}

TEST(ExceptionFamilyTest, SerializedBytes) {
    std::vector<u8> bytes;
    BufferTooSmallException("A function", 0x0102, 3).serialize(bytes);
    EXPECT_EQ(bytes, (std::vector<u8>{2, 1, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0}));
    bytes.clear();
    SystemException("f", "mn", 0x01020304).serialize(bytes);
    EXPECT_EQ(bytes,
              (std::vector<u8>{1, 0, 0, 0, 0, 0, 0, 0, 'f', 2, 0, 0, 0, 0, 0, 0, 0, 'm', 'n', 4, 3, 2, 1}));
    bytes.clear();
    ExponentOverflowException("", "", -2, 1).serialize(bytes);
    ASSERT_EQ(bytes.size(), 32u);
    EXPECT_EQ(bytes[16], 0xfe);
    EXPECT_EQ(bytes[23], 0xff);
}

TEST(ExceptionFamilyTest, CloneTakesTheStringsAndFireKeepsTheType) {
    for (const auto& e : one_of_each()) {
        const std::string before = report(*e);
        const std::unique_ptr<Exception> moved = e->clone();
        EXPECT_EQ(report(*moved), before);
        bool caught = false;
        try {
            const Exception& base = *moved;
            base.fire();
        } catch (const Exception& thrown) {
            caught = true;
            EXPECT_STREQ(thrown.get_typename(), moved->get_typename());
            EXPECT_EQ(typeid(thrown), typeid(*moved));
            EXPECT_EQ(report(thrown), before);
        }
        EXPECT_TRUE(caught);
        EXPECT_EQ(report(*moved), before);  // a copy was thrown
    }
    StringException source("A::b()", "m");
    const auto copy = source.clone();
    EXPECT_EQ(source.function, "");
    EXPECT_EQ(source.message, "");
    EXPECT_EQ(static_cast<StringException&>(*copy).message, "m");
    BSRModularCheckFailedException modular("f", "m", 1, 2, {3});
    modular.clone();
    EXPECT_EQ(modular.message, "");
    EXPECT_EQ(modular.hashes, std::vector<u64>{3});
}

TEST(ExceptionFamilyTest, HandlersOfABaseCatchWhatIsBelow) {
    const KeyNotFoundException missing("f", "m");
    EXPECT_THROW(missing.fire(), ParseException);
    EXPECT_THROW(missing.fire(), StringException);
    EXPECT_THROW(ConvolutionTooSmallException("f", "m", 1, 2).fire(), InvalidParametersException);
    EXPECT_THROW(ConvolutionTooSmallException("f", "m", 1, 2).fire(), InvalidTransformException);
    EXPECT_THROW(DigitViewer2::InconsistentMetaData("f", "m", "p").fire(), FileIO::FileException);
    const FileIO::FileException file("f", "m", "p");
    const Exception& base = file;
    EXPECT_THROW(base.fire(), FileIO::FileException);
    try {
        DiskRaid0::Raid0Exception("f", "m", "p").fire();
    } catch (const FileIO::FileException&) {
        ADD_FAILURE() << "a far-memory exception is not a file exception";
    } catch (const Exception&) {
    }
}

// A second registration while static objects are still being built: in a process of its own, told by its
// environment, before any other initialiser of this program may have run.
namespace {
struct EarlyDuplicate {
    EarlyDuplicate() {
        if (!std::getenv("KALVOR_TEST_EARLY_DUPLICATE")) return;
        register_exception_type("EarlyException", nullptr);
        register_exception_type("EarlyException", nullptr);
    }
};
[[gnu::init_priority(101)]] EarlyDuplicate early_duplicate;
}  // namespace

TEST(FatalPathsTest, DuplicateRegistrationBeforeMain) {
    kalvor_test::RunOptions options;
    options.environment = {"KALVOR_TEST_EARLY_DUPLICATE=1"};
    const kalvor_test::ProgramRun run = kalvor_test::run_this_test({"--gtest_list_tests"}, options);
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_EQ(run.out, "Press any key to continue . . . \n");
    EXPECT_EQ(run.err, "\nDuplicate Exception Type\n");
}

TEST(FatalPathsTest, DuplicateRegistration) {
    EXPECT_EXIT(
        {
            print_to_stderr();
            register_exception_type("StringException", nullptr);
        },
        testing::ExitedWithCode(1), "\nDuplicate Exception Type\nPress any key to continue");
}

TEST(FatalPathsTest, AssertionFailure) {
    EXPECT_EXIT(
        {
            print_to_stderr();
            assertion_failure(kInvalidParameters, "A::b()", "n = 5");
        },
        testing::ExitedWithCode(1),
        "\n\nFATAL ERROR: Assertion Failure\n\nInvalid Function Parameters:   A::b\\(\\)\n\nn = 5\n\n\n"
        "If this error shows up consistantly with the current options,\nplease report it as a bug.\n\n"
        "If this error comes and goes with the current options,\nplease check your hardware for reliability "
        "issues.\nAre you overclocking\\?\n\nTerminating Program...\nPress any key");
}

TEST(FatalPathsTest, AnAssertionFailureWaitsForNobodyWhenToldSo) {
    EXPECT_EXIT(
        {
            Console::set_pause_before_fatal_exit(false);
            assertion_failure("text ", "f()", "");
        },
        testing::ExitedWithCode(1),
        "text f\\(\\)\n\n\n\n\nIf this error shows up consistantly with the current options,\nplease report "
        "it as a bug.\n\n"
        "If this error comes and goes with the current options,\nplease check your hardware for reliability "
        "issues.\nAre you overclocking\\?\n\nTerminating Program...\n$");
}

TEST(FatalPathsTest, TheirColours) {
    const auto fail = [] {
        print_to_stderr(true);
        assertion_failure("text ", "f()", "detail");
    };
    EXPECT_EXIT(fail(), testing::ExitedWithCode(1), "^.R.\n\nFATAL ERROR: Assertion Failure\n\ntext f");
    EXPECT_EXIT(fail(), testing::ExitedWithCode(1), "Terminating Program...\n.w..w.Press any key");
    EXPECT_EXIT(
        {
            print_to_stderr(true);
            Console::error_line("broken", true);
            Console::set_pause_before_fatal_exit(false);
            Console::fatal_exit(3);
        },
        testing::ExitedWithCode(3), "^\n.R.broken\n.w.$");
}

TEST(FatalPathsTest, ThreadEdges) {
    auto die_of = [](const std::function<void()>& thrower, std::string_view line,
                     std::string_view unknown = {}) {
        Console::set_pause_before_fatal_exit(false);
        std::thread([&] {
            try {
                thrower();
            } catch (...) {
                fatal_thread_exception(line, unknown);
            }
        }).join();
    };
    const testing::ExitedWithCode fails(1);
    EXPECT_EXIT(die_of([] { throw StringException("f()", "broken"); }, kChildThreadFailed), fails,
                "In Function: f\\(\\)\n\nbroken\n\n\n\nFATAL ERROR: Unhandled exception in child thread.\n$");
    EXPECT_EXIT(die_of([] { throw std::runtime_error("std text"); }, kWorkerThreadFailed), fails,
                "^\nstd text\n\nAn exception was thrown from a worker thread.\n$");
    EXPECT_EXIT(die_of([] { throw StringException("", "lane"); }, kIoThreadFailed), fails,
                "lane\n\n\n\nIoThread::thread_loop\\(\\): An exception was thrown from a worker thread.\n$");
    EXPECT_EXIT(die_of([] { throw 5; }, kChildThreadFailed), fails,
                "^\nFATAL ERROR: Unhandled exception in child thread.\n$");
    EXPECT_EXIT(die_of([] { throw 5; }, kWorkerThreadFailed, kUnknownExceptionThrown), fails,
                "^\nUnknown exception thrown from worker thread.\n$");
    EXPECT_EXIT(die_of([] { throw std::bad_alloc(); }, kWorkerThreadFailed, kUnknownExceptionThrown), fails,
                "^\nstd::bad_alloc\n\nAn exception was thrown from a worker thread.\n$");
}

TEST(FatalPathsTest, ReportOfStandardExceptionsIsAnErrorLine) {
    CaptureConsole console(CaptureConsole::terminal, true);
    try {
        throw std::runtime_error("what");
    } catch (...) {
        EXPECT_TRUE(report_current_exception());
    }
    EXPECT_EQ(console.take(), "\n{R}what\n{w}");
    try {
        throw 5;
    } catch (...) {
        EXPECT_FALSE(report_current_exception());
    }
    EXPECT_EQ(console.take(), "");
}

TEST(OneShotWarningTest, IsDueOnceInAllThreads) {
    OneShotWarning warning;
    for (int round = 0; round < 2; round++) {
        std::atomic<int> firsts{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; i++) {
            threads.emplace_back([&] {
                for (int k = 0; k < 1000; k++) firsts += warning.first_time() ? 1 : 0;
            });
        }
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(firsts, 1);
        EXPECT_FALSE(warning.first_time());
        warning.reset();
    }
}
