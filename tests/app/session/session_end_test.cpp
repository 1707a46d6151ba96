// What stands between a session's constructor and its last line: token, log, checks, records, validation
// file.
#include <gtest/gtest.h>

#include <filesystem>

#include "app/session/line_recorder.h"
#include "app/session/normal_float_session_b.h"
#include "app/validation/validate.h"
#include "base/console/format.h"
#include "base/errors/exceptions.h"
#include "constants/catalog/catalog.h"
#include "support/authorized.h"
#include "support/capture_console.h"
#include "support/effort.h"
#include "support/temporary_folder.h"

namespace kalvor {
namespace {

using kalvor_test::authorized;
using kalvor_test::LineRecorder;
using kalvor_test::TemporaryFolder;

ComputeSettings settings_for(u64 digits, const std::string& path) {
    ComputeSettings settings;
    settings.set_decimal_digits(static_cast<i64>(digits));
    settings.path = path;
    settings.parallelism.framework = trel::make_default_framework_config("none");
    settings.parallelism.task_decomposition = 1;
    return settings;
}

// Pi with one of its hexadecimal digits changed, and a residue that says nothing of it.
class DamagedPi final : public Constant {
  public:
    explicit DamagedPi(u64 digit) : digit_(digit) {}

    const CatalogRow& row() const override { return pi_->row(); }
    std::string name_short() const override { return pi_->name_short(); }
    std::string name_long() const override { return pi_->name_long(); }
    std::vector<AlgorithmRow> algorithms() const override { return pi_->algorithms(); }
    bool has_extractor() const override { return pi_->has_extractor(); }
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override {
        return std::make_unique<Value>(pi_->make_evaluator(request), digit_ - 1);
    }

  private:
    class Value final : public Evaluator {
      public:
        Value(std::unique_ptr<Evaluator> pi, u64 place) : pi_(std::move(pi)), place_(place) {}

        const Needs& needs() const override { return pi_->needs(); }
        std::vector<WorkPhase> work() const override { return pi_->work(); }
        ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
            const ErrorBound error = pi_->run(context, status, result);
            const i64 position = -1 - static_cast<i64>(place_ / 16);
            result.T[position - result.exp] ^= Word(1) << (60 - 4 * (place_ % 16));
            result.seal(context.parallel);
            return error;
        }

      private:
        const std::unique_ptr<Evaluator> pi_;
        const u64 place_;
    };

    const std::unique_ptr<Constant> pi_ = make_constant("pi", "");
    const u64 digit_;
};

// The validation files in the folder.
std::vector<std::string> validation_files(const TemporaryFolder& folder) {
    std::vector<std::string> names = folder.files();
    std::erase_if(names, [](const std::string& name) { return name.find("Pi - 2") == std::string::npos; });
    return names;
}

// Exceptions as "function: message".
std::string failure(const std::function<void()>& body) {
    try {
        body();
    } catch (const trel::StringException& e) {
        return e.function + ": " + e.message;
    }
    return "nothing";
}

TEST(SessionTokenTest, TheConstructorAsksForIt) {
    const AuthorizationToken none;
    EXPECT_FALSE(none.is_valid());
    EXPECT_EQ(none.size_limit(), 0u);
    const TemporaryFolder folder;
    const CaptureConsole console;
    LineRecorder status;
    EXPECT_EQ(failure([&] { NormalFloatSessionB(settings_for(100, folder.path()), none, status); }),
              "NormalFloatSessionB::NormalFloatSessionB(): AuthorizationToken is invalid.");
}

TEST(SessionTokenTest, TheStepOfTheComputationAsksAgain) {
    AuthorizationToken token = authorized();
    EXPECT_TRUE(token.is_valid());
    const TemporaryFolder folder;
    CaptureConsole console;
    LineRecorder status;
    NormalFloatSessionB session(settings_for(100, folder.path()), token, status);
    token = AuthorizationToken();
    EXPECT_EQ(failure([&] { session.run(); }), "NormalFloatSession::run(): AuthorizationToken is invalid.");
    EXPECT_NE(status.text.find("Begin Computation:"), std::string::npos);
    EXPECT_TRUE(folder.files().empty());
}

TEST(SessionTokenTest, CarriesTheLargestSize) {
    const AuthorizationToken token = StartUpCalls::authorization(1000);
    EXPECT_EQ(token.size_limit(), 1000u);
    EXPECT_EQ(authorized().size_limit(), 1000000000000000u);
    const TemporaryFolder folder;
    const CaptureConsole console;
    LineRecorder status;
    NormalFloatSessionB(settings_for(1000, folder.path()), token, status).run();
    EXPECT_EQ(failure([&] { NormalFloatSessionB(settings_for(1001, folder.path()), token, status); }),
              "NormalFloatSessionB::NormalFloatSessionB(): Size Limit Exceeded.\n\nPlease contact the "
              "developer at bugs@kalvor.example.");
}

// Every bit of a file that a run has written counts.
TEST(SessionEndTest, NoBitOfItsValidationFileMayChange) {
    const TemporaryFolder folder;
    const CaptureConsole console;
    LineRecorder status;
    NormalFloatSessionB(settings_for(100, folder.path()), authorized(), status).run();
    const std::vector<std::string> files = validation_files(folder);
    ASSERT_EQ(files.size(), 1u);
    std::string file = folder.read(files[0]);
    ASSERT_GT(file.size(), 2000u);
    for (std::size_t i = 0; i < file.size(); i += kalvor_test::thinned(10)) {
        for (int bit = 0; bit < 8; bit++) {
            file[i] = static_cast<char>(file[i] ^ (1 << bit));
            ASSERT_NE(validate(file).result, Validation::passed) << i << " " << bit;
            file[i] = static_cast<char>(file[i] ^ (1 << bit));
        }
    }
    EXPECT_EQ(validate(file).result, Validation::passed);
}

TEST(SessionEndTest, TheRecordsComeBehindTheTimesAndTheFileIsLast) {
    const TemporaryFolder folder;
    CaptureConsole console;
    LineRecorder status;
    ComputeSettings settings = settings_for(1000, folder.path());
    settings.enable_hex = true;
    const RunRecord record = NormalFloatSessionB(std::move(settings), authorized(), status).run();
    const std::string text = status.text;
    const auto at = [&](const std::string& what) {
        EXPECT_NE(text.find(what), std::string::npos) << what;
        return text.find(what);
    };
    EXPECT_LT(at("Spot Check: "), at("Start-to-End Wall Time:"));
    EXPECT_LT(at("Multi-core Efficiency:"), status.records_begin);
    EXPECT_GE(at("Validation File: "), status.records_begin);
    const std::vector<std::string> names = {"ComputationOutput", "ComputationDiagnostics"};
    ASSERT_EQ(status.record_names, names);
    EXPECT_NE(status.records[0].find("LastHexDigits"), std::string::npos);
    EXPECT_NE(status.records[1].find("SpotCheck"), std::string::npos);
    // The file has what the record has.
    const std::vector<std::string> files = validation_files(folder);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_TRUE(record.validation_file.ends_with(files[0])) << record.validation_file;
    const std::string file = folder.read(files[0]);
    EXPECT_EQ(validate(file).result, Validation::passed);
    EXPECT_NE(file.find("\r\nEvent Log:\r\n" + record.event_log + "----\r\n"), std::string::npos);
    EXPECT_NE(file.find("\tWorking Memory\r\n"), std::string::npos);
    EXPECT_NE(file.find("\tDigits Written\r\n"), std::string::npos);
    EXPECT_NE(file.find("\r\nUser:                  Username.txt not found.\r\n"), std::string::npos);
    EXPECT_NE(file.find("        Path : \"" + folder.path() + "\"\r\n"), std::string::npos);
    EXPECT_NE(file.find("Total Memory:          " +
                        Console::format_number(
                            record.working_memory + (record.total_memory - record.working_memory),
                            trel::Console::NumberFormat::commas_and_bytes)),
              std::string::npos);
    EXPECT_EQ(record.mode, "Ram Only");
    EXPECT_EQ(record.constant_file, "Pi");
}

TEST(SessionEndTest, KnownDigitsThatDiffer) {
    const TemporaryFolder folder;
    std::filesystem::create_directories(folder.file("Digits"));
    folder.write("Digits/Pi.txt", "10 | 1415926535\n20 | 8979323847\n");
    CaptureConsole console;
    LineRecorder status;
    NormalFloatSessionB session(settings_for(1000, folder.file("out")), authorized(), status);
    session.set_reference_folder(folder.file(""));
    EXPECT_EQ(failure([&] { session.run(); }), "NormalFloatSession::run(): Spot check failed at: 20");
    const std::string text = status.text;
    EXPECT_LT(text.find("Spot Check: Mismatch at 20\n"), text.find("Total Computation Time:"));
    EXPECT_LT(text.find("Total Computation Time:"), status.records_begin);
    EXPECT_EQ(text.find("Validation File"), std::string::npos);
    ASSERT_EQ(status.records.size(), 2u);
    EXPECT_NE(status.records[1].find("        Status : \"Failed\"\r\n"
                                     "        Offset : 10\r\n"
                                     "        Contiguous : \"true\"\r\n"
                                     "        Mismatch : 20\r\n"),
              std::string::npos)
        << status.records[1];
    EXPECT_EQ(folder.files(), std::vector<std::string>{"Digits/Pi.txt"});
}

TEST(SessionEndTest, TheFolderIsLookedAtAlsoWithoutDigitFiles) {
    const TemporaryFolder folder;
    folder.write("file", "");
    const CaptureConsole console;
    LineRecorder status;
    ComputeSettings settings = settings_for(1000, folder.file("file"));
    settings.output_enable = false;
    NormalFloatSessionB session(std::move(settings), authorized(), status);
    EXPECT_THROW(session.run(), FileIO::FileException);
}

TEST(SessionEndTest, TheLogFileHasEveryEventAtOnce) {
    const TemporaryFolder folder;
    const CaptureConsole console;
    LineRecorder status;
    for (const std::string before : {"", "of an earlier run\r\n"}) {
        if (!before.empty()) folder.write("run.log", before);
        ComputeSettings settings = settings_for(1000, folder.file("out"));
        settings.overwrite = true;
        settings.log_path = folder.file("run.log");
        const std::string log =
            NormalFloatSessionB(std::move(settings), authorized(), status).run().event_log;
        EXPECT_NE(log.find("\tEnd Computation\r\n"), std::string::npos);
        EXPECT_EQ(folder.read("run.log"), before + log);
    }
    ComputeSettings settings = settings_for(1000, folder.file("out"));
    settings.log_path = folder.file("missing/run.log");
    status.text.clear();
    NormalFloatSessionB session(std::move(settings), authorized(), status);
    EXPECT_THROW(session.run(), FileIO::FileException);
    EXPECT_EQ(status.text.find("Working Memory"), std::string::npos);
}

TEST(SessionEndTest, ARefusedRunLeavesNoLog) {
    const TemporaryFolder folder;
    const CaptureConsole console;
    LineRecorder status;
    std::filesystem::create_directory(folder.file("out"));
    folder.write("out/Pi - Dec - Chudnovsky.txt", "3." + std::string(2000, '1'));
    ComputeSettings settings = settings_for(1000, folder.file("out"));
    settings.log_path = folder.file("run.log");
    NormalFloatSessionB session(std::move(settings), authorized(), status);
    EXPECT_ANY_THROW(session.run());
    EXPECT_FALSE(folder.has("run.log"));
}

TEST(SessionEndTest, TheLastHexadecimalDigitsComputedAgain) {
    const TemporaryFolder folder;
    for (const bool hexadecimal : {false, true}) {
        CaptureConsole console;
        LineRecorder status;
        ComputeSettings settings = settings_for(1000, folder.path());
        settings.enable_hex = hexadecimal;
        settings.overwrite = true;
        settings.bbp_digits = 831;
        const RunRecord record = NormalFloatSessionB(std::move(settings), authorized(), status).run();
        EXPECT_EQ(record.bbp_good_through, 831u);
        EXPECT_FALSE(record.bbp_mismatch);
        EXPECT_NE(status.text.find("\nBBP Check: Good through 831\n"), std::string::npos);
        EXPECT_NE(record.event_log.find("\tBBP Check: Good through 831\r\n"), std::string::npos);
    }
}

// Whose last digits are not those of Pi.
TEST(SessionEndTest, LastHexadecimalDigitsThatDiffer) {
    const TemporaryFolder folder;
    CaptureConsole console;
    LineRecorder status;
    ComputeSettings settings = settings_for(1000, folder.path());
    settings.constant = make_constant("sqrt", "2");
    settings.bbp_digits = 8;
    const auto last = settings.size.hexadecimal_digits;
    EXPECT_EQ(last, 831u);
    const std::string said =
        failure([&] { NormalFloatSessionB(std::move(settings), authorized(), status).run(); });
    EXPECT_EQ(said, "NormalFloatSession::run(): BBP check failed at: 824");
    EXPECT_NE(status.text.find("\nBBP Check: Mismatch at 824\n"), std::string::npos);
    EXPECT_EQ(status.records.size(), 2u);
    EXPECT_TRUE(folder.files().empty());
}

// What residues do not show ends a run that nobody asked to look.
TEST(SessionEndTest, ADamagedValueEndsARunUnasked) {
    // Behind the known digits, which are compared as well.
    for (const u64 digit : {883, 900, 914}) {
        const TemporaryFolder folder;
        const CaptureConsole console;
        LineRecorder status;
        ComputeSettings settings = settings_for(1100, folder.file("out"));
        settings.constant = std::make_unique<DamagedPi>(digit);
        settings.log_path = folder.file("run.log");
        const std::string place = std::to_string(digit);
        {
            NormalFloatSessionB session(std::move(settings), authorized(), status);
            session.set_reference_folder(folder.file(""));
            EXPECT_EQ(failure([&] { session.run(); }),
                      "NormalFloatSession::run(): BBP check failed at: " + place);
        }
        EXPECT_NE(status.text.find("\nBBP Check: Mismatch at " + place + "\n"), std::string::npos);
        // Windows lets nobody else read it while the session has it open.
        EXPECT_NE(folder.read("run.log").find("\tBBP Check: Mismatch at " + place + "\r\n"),
                  std::string::npos);
        EXPECT_EQ(folder.files(), std::vector<std::string>{"run.log"});
    }
}

// Not where the user wants no results verified.
TEST(SessionEndTest, UnverifiedDigitsAreNotComputedAgainUnasked) {
    const TemporaryFolder folder;
    const auto run = [&](u64 asked) {
        const CaptureConsole console;
        LineRecorder status;
        ComputeSettings settings = settings_for(1000, folder.path());
        settings.constant = std::make_unique<DamagedPi>(831);
        settings.output_enable = false;
        settings.output_verify = false;
        settings.bbp_digits = asked;
        NormalFloatSessionB session(std::move(settings), authorized(), status);
        session.set_reference_folder(folder.file(""));
        return failure([&] { EXPECT_EQ(session.run().event_log.find("BBP"), std::string::npos); });
    };
    EXPECT_EQ(run(0), "nothing");
    EXPECT_EQ(run(8), "NormalFloatSession::run(): BBP check failed at: 831");
}

// It shows itself while it runs and in the log of events; the report has no line of it.
TEST(SessionEndTest, RightDigitsComputedAgainUnasked) {
    const TemporaryFolder folder;
    const CaptureConsole console;
    LineRecorder status;
    const RunRecord record =
        NormalFloatSessionB(settings_for(1000, folder.path()), authorized(), status).run();
    EXPECT_EQ(record.bbp_good_through, 831u);
    EXPECT_NE(record.event_log.find("\tBBP Check: Good through 831\r\n"), std::string::npos);
    EXPECT_EQ(std::count(status.frames.begin(), status.frames.end(), "BBP Check...  "), 1);
    EXPECT_EQ(status.text.find("BBP"), std::string::npos);
}

TEST(SessionEndTest, TheSeedIsFixedOnce) {
    const TemporaryFolder folder;
    const CaptureConsole console;
    LineRecorder status;
    NormalFloatSessionB session(settings_for(100, folder.path()), authorized(), status);
    session.set(5);
    session.set(5);
    EXPECT_EQ(failure([&] { session.set(6); }), "NormalFloatSession::set(): Cannot set to different seed.");
}

}  // namespace
}  // namespace kalvor
