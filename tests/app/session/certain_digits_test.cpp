#include "app/session/certain_digits.h"

#include <gtest/gtest.h>

#include "app/session/normal_float_session_b.h"
#include "app/settings/compute_size.h"
#include "base/status/linear_console_node.h"
#include "constants/catalog/catalog.h"
#include "support/authorized.h"
#include "support/capture_console.h"
#include "support/scratch.h"
#include "support/temporary_folder.h"

namespace kalvor {
namespace {

std::string warning_of(const ErrorBound& error, u64 digits) {
    const CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    warn_of_lost_digits(error, digits, status);
    return console.text();
}

TEST(CertainDigitsTest, WarnsOfFewerDigitsThanAreWanted) {
    const ErrorBound error = ErrorBound::within({-100, 0});  // 2^-6400
    EXPECT_EQ(warning_of(error, 1926), "");
    EXPECT_EQ(warning_of(error, 1927),
              "Warning: Cancellation in the formula: only the first 1,926 decimal digits are certain.\n");
    EXPECT_EQ(warning_of(ErrorBound::unlimited(), 100),
              "Warning: Cancellation in the formula: no decimal digit is certain.\n");
    EXPECT_EQ(warning_of(ErrorBound::none(), ~u64(0)), "");
}

// Pi, of which it says that only 2^-6400 of it is certain.
class DoubtfulPi final : public Constant {
  public:
    const CatalogRow& row() const override { return *catalog().find("pi"); }
    std::string name_short() const override { return "Doubtful"; }
    std::string name_long() const override { return "Doubtful"; }
    std::vector<AlgorithmRow> algorithms() const override { return pi_->algorithms(); }
    std::unique_ptr<Evaluator> make_evaluator(const EvaluatorRequest& request) const override {
        return std::make_unique<Doubtful>(pi_->make_evaluator(request));
    }

  private:
    class Doubtful final : public Evaluator {
      public:
        explicit Doubtful(std::unique_ptr<Evaluator> value) : value_(std::move(value)) {}
        const Needs& needs() const override { return value_->needs(); }
        std::vector<trel::WorkPhase> work() const override { return value_->work(); }
        ErrorBound run(const MultiplyContext& context, Status& status, BigFloat& result) const override {
            value_->run(context, status, result);
            return ErrorBound::within({-100, 0});
        }

      private:
        const std::unique_ptr<Evaluator> value_;
    };

    const std::unique_ptr<Constant> pi_ = make_constant("pi", "");
};

TEST(CertainDigitsTest, ARunWarnsBeforeItsDigits) {
    for (const i64 digits : {1926, 2000}) {
        ComputeSettings settings;
        settings.constant = std::make_unique<DoubtfulPi>();
        settings.set_decimal_digits(digits);
        const kalvor_test::TemporaryFolder folder;
        settings.path = folder.path();
        settings.output_enable = false;
        settings.parallelism.framework = trel::make_default_framework_config("none");
        settings.parallelism.task_decomposition = 1;
        const CaptureConsole console;
        trel::LinearConsoleNode status(79, 1.0);
        NormalFloatSessionB session(std::move(settings), kalvor_test::authorized(), status);
        const RunRecord& record = session.run();
        const std::size_t warning = console.text().find(
            "\nWarning: Cancellation in the formula: only the first 1,926 decimal digits are certain.\n");
        EXPECT_EQ(warning == std::string::npos, digits == 1926);
        EXPECT_EQ(record.checks.certain_digits.has_value(), digits == 2000);
        EXPECT_EQ(
            console.text().find("; not certain: the digits behind the first 1,926") == std::string::npos,
            digits == 1926);
        if (digits == 2000) {
            EXPECT_EQ(record.checks.certain_digits, 1926u);
            EXPECT_LT(warning, console.text().find("First Decimal Digits:"));
        }
    }
}

std::optional<u64> open_carry(const ErrorBound& error, const std::string& digits, u64 wanted,
                              std::string& printed, trel::Word integer = 3) {
    std::vector<trel::Word> words(digits.size() / 19);
    for (std::size_t i = 0; i < words.size(); i++)
        words[words.size() - 1 - i] = std::stoull(digits.substr(19 * i, 19));
    const FloatReaderB reader(integer, words.data(), words.size(), wanted);
    const CaptureConsole console;
    trel::LinearConsoleNode status(79, 1.0);
    const std::optional<u64> certain = warn_of_open_carry(error, reader, wanted, status);
    printed = console.text();
    return certain;
}

// Behind 40 digits of 57 that were computed.
TEST(CertainDigitsTest, ACarryThatMayReachTheDigitsIsSaid) {
    const ErrorBound error = ErrorBound::within({-10, 0});
    const std::string chance = "1415926535897932384626433832795028841971";
    const auto row = [&](u64 start, char digit) {
        return chance.substr(0, start) + std::string(57 - start, digit);
    };
    std::string printed;
    EXPECT_EQ(open_carry(error, row(31, '9'), 40, printed), 30u);
    EXPECT_EQ(printed,
              "Warning: The digits end in a row of nines: those behind the first 30 may be rounded either "
              "way.\n");
    EXPECT_EQ(open_carry(error, row(0, '9'), 40, printed, 0), 0u);
    EXPECT_EQ(open_carry(error, row(25, '0'), 40, printed), 24u);
    EXPECT_EQ(printed,
              "Warning: The digits end in a row of zeros: those behind the first 24 may be rounded either "
              "way.\n");
    EXPECT_EQ(open_carry(error, row(0, '0'), 40, printed), 0u);
    EXPECT_EQ(open_carry(error, row(18, '9'), 38, printed), 17u);
    EXPECT_EQ(open_carry(error, row(37, '9'), 39, printed), 36u);

    // By chance, exact, near to zero, known not to be a row, or behind the digits.
    EXPECT_EQ(open_carry(error, row(39, '9'), 40, printed), std::nullopt);
    EXPECT_EQ(open_carry(ErrorBound::none(), row(31, '9'), 40, printed), std::nullopt);
    EXPECT_EQ(open_carry(error, row(0, '0'), 40, printed, 0), std::nullopt);
    EXPECT_EQ(open_carry(error, row(20, '9').substr(0, 56) + "8", 40, printed), std::nullopt);
    EXPECT_EQ(open_carry(error, row(31, '9'), 30, printed), std::nullopt);
    EXPECT_EQ(printed, "");
    // What is not certain does not end the row.
    const ErrorBound less = ErrorBound::within({-3, 8});  // 2^-184, 55 digits
    EXPECT_EQ(open_carry(less, row(20, '9').substr(0, 55) + "47", 40, printed), 19u);
}

// Every built-in constant is computed with words enough for its digits.
TEST(CertainDigitsTest, ConstantsAreCertain) {
    for (const std::string& token : constant_tokens()) {
        if (token == "custom") continue;  // any formula
        const bool asks = catalog().factory(*catalog().find(token))->takes_argument();
        const auto constant = make_constant(token, token == "brent" ? "12" : asks ? "2" : "");
        for (const AlgorithmRow& algorithm : constant->algorithms()) {
            constant->select_algorithm(algorithm.token);
            for (u64 digits = 100; digits < 140; digits++) {
                const auto evaluator = constant->make_evaluator({ComputeSize::from_decimal(digits).words, 1});
                const Needs& needs = evaluator->needs();
                Scratch result(trel::round_up_8(needs.result_words) * sizeof(trel::Word));
                Scratch working(needs.bytes);
                BigFloat x(result.words(), needs.result_words);
                const ErrorBound error =
                    evaluator->run({trel::serial_context(), working.view(), nullptr}, trel::null_status(), x);
                EXPECT_GE(certain_decimal_digits(error), digits) << token << " " << algorithm.token;
                EXPECT_FALSE(error.exact);
            }
        }
    }
}

}  // namespace
}  // namespace kalvor
