// What a validation file is taken for, and what is said of it.
#include "app/validation/validator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "app/validation/hand_made_record.h"
#include "app/validation/signature.h"
#include "app/validation/validate.h"
#include "app/validation/validation_file.h"
#include "base/command_line/refusal.h"
#include "base/errors/exceptions.h"
#include "base/hash/sha256.h"
#include "support/capture_console.h"
#include "support/run_program.h"
#include "support/temporary_folder.h"

namespace kalvor {
namespace {

const std::string& sound_file() {
    static const std::string file = signed_text(validation_text(kalvor_test::hand_made_record()));
    return file;
}

std::string changed(const std::string& from, const std::string& to) {
    std::string file = sound_file();
    file.replace(file.find(from), from.size(), to);
    return file;
}

// A file of this text that was signed.
Validation::Result of_signed(const std::string& text) {
    return validate(signed_text(text)).result;
}

TEST(SignatureTest, IsTheKeyedHashOfTheBytesBeforeTheSeparator) {
    const std::size_t separator = sound_file().rfind("\n----");
    const std::string what = sound_file().substr(0, separator);
    EXPECT_EQ(what.back(), '\r');
    EXPECT_EQ(sound_file().substr(sound_file().size() - 66, 64),
              trel::to_hex(trel::hmac_sha256(signature_key(), what)));
    EXPECT_EQ(signature_key().size(), 32U);
    EXPECT_EQ(signature_key(), signature_key());
}

TEST(SignatureTest, TheProgramDoesNotHoldTheKeyInOnePiece) {
    const std::string program = kalvor_test::read_file(kalvor_test::kalvor_path());
    ASSERT_GT(program.size(), 1000000U);
    const std::string key = signature_key();
    for (std::size_t i = 0; i + 8 <= key.size(); i++)
        EXPECT_EQ(program.find(key.substr(i, 8)), std::string::npos) << i;
}

TEST(ValidateTest, TheUntouchedFilePasses) {
    const Validation found = validate(sound_file());
    EXPECT_EQ(found.result, Validation::passed);
    EXPECT_EQ(found.version, "1.3");
    EXPECT_EQ(found.computation_time, "8.000 seconds");
    EXPECT_EQ(found.total_time, "10.125 seconds");
}

TEST(ValidateTest, NoSingleBitMayChange) {
    std::string file = sound_file();
    for (std::size_t i = 0; i < file.size(); i++) {
        for (int bit = 0; bit < 8; bit++) {
            file[i] = static_cast<char>(file[i] ^ (1 << bit));
            ASSERT_NE(validate(file).result, Validation::passed) << i << " " << bit;
            file[i] = static_cast<char>(file[i] ^ (1 << bit));
        }
    }
    EXPECT_EQ(validate(file).result, Validation::passed);
}

TEST(ValidateTest, NothingMayBeMissingOrAdded) {
    const std::string& file = sound_file();
    for (std::size_t n = 0; n < file.size(); n++) {
        ASSERT_NE(validate(std::string_view(file).substr(0, n)).result, Validation::passed) << n;
        ASSERT_NE(validate(std::string_view(file).substr(file.size() - n)).result, Validation::passed) << n;
    }
    for (int byte = 0; byte < 256; byte++) {
        EXPECT_NE(validate(file + static_cast<char>(byte)).result, Validation::passed) << byte;
        EXPECT_NE(validate(static_cast<char>(byte) + file).result, Validation::passed) << byte;
    }
    EXPECT_NE(validate(file + file).result, Validation::passed);
}

TEST(ValidateTest, LinesMayNotBeExchangedOrEndOtherwise) {
    const std::string& file = sound_file();
    std::vector<std::string> lines;
    for (std::size_t from = 0; from < file.size();) {
        const std::size_t to = file.find('\n', from) + 1;
        lines.push_back(file.substr(from, to - from));
        from = to;
    }
    const auto joined = [&] {
        std::string text;
        for (const std::string& line : lines) text += line;
        return text;
    };
    ASSERT_EQ(joined(), file);
    for (std::size_t i = 0; i + 1 < lines.size(); i++) {
        if (lines[i] == lines[i + 1]) continue;
        std::swap(lines[i], lines[i + 1]);
        EXPECT_NE(validate(joined()).result, Validation::passed) << lines[i];
        std::swap(lines[i], lines[i + 1]);
    }
    std::string feeds = file;
    std::erase(feeds, '\r');
    EXPECT_NE(validate(feeds).result, Validation::passed);
}

TEST(ValidateTest, WhichFailureItIs) {
    EXPECT_EQ(validate(changed("Pi", "Po")).result, Validation::tampered);
    EXPECT_EQ(validate("").result, Validation::invalid_file);
    EXPECT_EQ(validate(changed("Validation Version:", "Validation Versio:")).result,
              Validation::invalid_file);
    EXPECT_EQ(validate(" Validation Version:    1.3\r\n").result, Validation::invalid_file);
    // The signature's form.
    const std::string& file = sound_file();
    for (const std::string& malformed :
         {file.substr(0, file.rfind("----")), changed("HMAC-SHA256: ", "HMAC-SHA256:  "),
          changed("HMAC-SHA256: ", "HMAC-SHA256: 0"), file.substr(0, file.size() - 3) + "\r\n",
          file.substr(0, file.size() - 3) + "A\r\n", file.substr(0, file.size() - 2) + "\n", file + "\r\n",
          std::string("Validation Version: 1.3\r\n")}) {
        EXPECT_EQ(validate(malformed).result, Validation::malformed_hash);
    }
    std::string other = file;
    other[file.size() - 3] = file[file.size() - 3] == '0' ? '1' : '0';
    EXPECT_EQ(validate(other).result, Validation::tampered);
}

// The writer's separator is the last one: the record's path holds another.
TEST(ValidateTest, TheLastSeparatorCounts) {
    EXPECT_NE(sound_file().find("\n----b"), std::string::npos);
    EXPECT_EQ(validate(sound_file()).result, Validation::passed);
}

TEST(ValidateTest, Versions) {
    const std::pair<std::string, Validation::Result> versions[] = {
        {"1.0", Validation::too_old},       {"1.1", Validation::too_old},
        {"1.2", Validation::passed},        {"1.3", Validation::passed},
        {"1.4", Validation::too_new},       {"1.31", Validation::too_new},
        {"2", Validation::too_new},         {"", Validation::too_new},
        {"x", Validation::too_new},         {"1.3 ", Validation::invalid_file},
        {"1.3x", Validation::invalid_file}, {"1.2\t", Validation::invalid_file},
    };
    for (const auto& [version, result] : versions) {
        EXPECT_EQ(of_signed("Validation Version:    " + version + "\r\nx\r\n"), result) << version;
    }
    EXPECT_EQ(of_signed("Validation Version:1.3\nx\r\n"), Validation::passed);
    // Of two the first.
    EXPECT_EQ(of_signed("Validation Version: 1.1\r\nValidation Version: 1.3\r\n"), Validation::too_old);
    EXPECT_EQ(of_signed("Validation Version: 1.3\r\nValidation Version: 1.1\r\n"), Validation::passed);
    EXPECT_EQ(of_signed("Validation Version: " + std::string(1000000, '1') + "\r\n"), Validation::too_new);
}

class ValidatorTest : public testing::Test {
  protected:
    std::string run(const std::string& content, bool passed) {
        folder_.write("Pi.txt", content);
        CaptureConsole console(CaptureConsole::terminal, true);
        EXPECT_EQ(run_validator(folder_.file("Pi.txt")), passed);
        return console.take();
    }

    kalvor_test::TemporaryFolder folder_;
};

const std::string kHead = "Benchmark Validator\n\n{w}File Format: {Y}";
const std::string kHead13 = kHead + "1.3{w}\n\n";

TEST_F(ValidatorTest, WhatItSays) {
    EXPECT_EQ(run(sound_file(), true), kHead13 +
                                           "{G}Validation Passed!\n{w}\n"
                                           "{w}Computation Time: {Y}8.000 seconds{w}\n"
                                           "{w}Total Time:       {Y}10.125 seconds{w}\n");
    EXPECT_EQ(run(changed("Pi", "Po"), false),
              kHead13 + "{R}Validation Failed: File is either invalid or has been tampered with.\n{w}");
    EXPECT_EQ(run(sound_file() + "x", false), kHead13 + "{R}Validation Failed: Invalid Hash\n{w}");
    EXPECT_EQ(run("Validation Version: 1.3 \n", false),
              kHead + "1.3 {w}\n\n{R}Validation Failed - Invalid File\n{w}");
    EXPECT_EQ(run("no version", false), "Benchmark Validator\n\n\n{R}Validation Failed - Invalid File\n{w}");
    for (const std::string version : {"1.0", "1.1"}) {
        EXPECT_EQ(run("Validation Version: " + version, false),
                  kHead + version +
                      "{w}\n\n"
                      "{R}Validation file versions 1.0 an 1.1 are no longer supported.\n"
                      "{R}To validate this file, please use Kalvor v0.5.5.\n{w}");
    }
    EXPECT_EQ(run("Validation Version: 1.4\r\n", false), kHead +
                                                             "1.4{w}\n\n"
                                                             "{R}This validation file version is too new.\n"
                                                             "{R}Please use a newer version of Kalvor.\n{w}");
}

TEST_F(ValidatorTest, ALongVersionIsNotShownWhole) {
    EXPECT_LT(run("Validation Version: \x1b[2J" + std::string(1000000, 'x'), false).size(), 400U);
    EXPECT_EQ(run("Validation Version: \x1b[2J", false).find('\x1b'), std::string::npos);
}

TEST_F(ValidatorTest, TheEndingOfThePath) {
    const auto opens = [&](const std::string& path, const std::string& name) {
        struct Inside {
            explicit Inside(const std::string& folder) { std::filesystem::current_path(folder); }
            ~Inside() { std::filesystem::current_path(before); }
            const std::filesystem::path before = std::filesystem::current_path();
        };
        const Inside inside(folder_.path());
        std::filesystem::remove_all("a.txt");
        folder_.write(name, sound_file());
        CaptureConsole console;
        const bool passed = run_validator(path);
        std::filesystem::remove(name);
        return passed;
    };
    EXPECT_TRUE(opens("abcd", "abcd.txt"));
    EXPECT_TRUE(opens("abcde", "abcde.txt"));
    EXPECT_TRUE(opens("a.txt", "a.txt"));
    EXPECT_TRUE(opens(".txt", ".txt.txt"));
    EXPECT_TRUE(opens("x", "x.txt"));
    EXPECT_TRUE(opens("a.text", "a.text.txt"));
    EXPECT_THROW(opens("", "a.txt"), FileIO::FileException);
}

TEST_F(ValidatorTest, TheMenuAsksForThePath) {
    folder_.write("Pi.txt", sound_file());
    CaptureConsole console(CaptureConsole::terminal, true);
    console.type({folder_.file("Pi").c_str()});
    EXPECT_TRUE(run_validator_menu());
    EXPECT_TRUE(console.take().starts_with(
        "Benchmark Validator\n\nEnter Path of Validation File:\n{w}Path: {T}\n{w}File Format: {Y}1.3"));
    EXPECT_THROW(run_validator_menu(), trel::EndOfStreamException);
}

TEST_F(ValidatorTest, TheActionWord) {
    folder_.write("Pi.txt", sound_file());
    const auto run = [&](std::vector<std::string> words) {
        words.insert(words.begin(), {"kalvor", "validate"});
        CommandLine::ParameterList parameters(words);
        CaptureConsole console;
        return run_validate(parameters);
    };
    EXPECT_TRUE(run({folder_.file("Pi.txt")}));
    EXPECT_TRUE(run({folder_.file("Pi")}));
    folder_.write("other.txt", changed("8.000", "7.000"));
    EXPECT_FALSE(run({folder_.file("other")}));
    EXPECT_THROW(run({}), trel::EndOfStreamException);
    EXPECT_THROW(run({"a", "b"}), CommandLine::RefusedException);
    EXPECT_THROW(run({folder_.file("nothing")}), FileIO::FileException);
}

}  // namespace
}  // namespace kalvor
