#include "platform/fileio/settings_file.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "base/errors/exceptions.h"
#include "fault/faulty_file.h"
#include "support/temporary_folder.h"

using namespace trel;
using kalvor_test::TemporaryFolder;
using namespace trel::FileIO;

namespace {

std::unique_ptr<Config::Object> some_settings() {
    auto settings = std::make_unique<Config::Object>();
    settings->add_string("Path", "C:/temp", "Where the digits go.");
    settings->add_integer("DecimalDigits", 1000000);
    settings->add_object("Parallelism").add_array("Cores").add_integer(0);
    return settings;
}

const std::string kHeader =
    "\xef\xbb\xbf"
    "//  Kalvor Configuration File\r\n"
    "//  Version: 0.7.8 Build 9507\r\n"
    "//\r\n"
    "//  Load this from Kalvor or run directly:\r\n"
    "//      Kalvor config filename.cfg\r\n"
    "//\r\n"
    "//  If you're copying Windows file paths into here, be sure to replace\r\n"
    "//  all backslashes \"\\\" with forward slashes \"/\". Backslash is an\r\n"
    "//  escape character.\r\n"
    "//\r\n"
    "\r\n";
const std::string kBody =
    "{\r\n"
    "    Action : \"CustomCompute\"\r\n"
    "    CustomCompute : {\r\n"
    "\r\n"
    "        //  Where the digits go.\r\n"
    "        Path : \"C:/temp\"\r\n"
    "        DecimalDigits : 1000000\r\n"
    "        Parallelism : {\r\n"
    "            Cores : [0]\r\n"
    "        }\r\n"
    "    }\r\n"
    "}\r\n";
}  // namespace

TEST(SettingsFileTest, EveryByteOfIt) {
    EXPECT_EQ(config_file_text("CustomCompute", some_settings()), kHeader + kBody);
}

TEST(SettingsFileTest, ExtensionIsAddedToPathsWithoutADot) {
    EXPECT_EQ(with_config_extension("name"), "name.cfg");
    EXPECT_EQ(with_config_extension("name.txt"), "name.txt");
    EXPECT_EQ(with_config_extension("./name"), "./name");
    EXPECT_EQ(with_config_extension("v0.1/name"), "v0.1/name");
    EXPECT_EQ(with_config_extension(""), ".cfg");
}

TEST(SettingsFileTest, WritesOverAFileAndLoadsItAgain) {
    TemporaryFolder folder;
    folder.write("set.cfg", std::string(100000, 'x'));  // is replaced
    write_config_file(folder.file("set.cfg"), "CustomCompute", some_settings());
    EXPECT_EQ(folder.read("set.cfg"), kHeader + kBody);

    const auto root = load_config_file(folder.file("set.cfg"));
    EXPECT_EQ(root->as<Config::Object>().get_string("Action"), "CustomCompute");
    const Config::Object& settings = root->as<Config::Object>().get_object("CustomCompute");
    EXPECT_EQ(settings.get_integer("DecimalDigits"), 1000000);
    EXPECT_EQ(settings.get_string("Path"), "C:/temp");
}

TEST(SettingsFileTest, WithoutAPlaceNothingIsWritten) {
    TemporaryFolder folder;
    try {
        write_config_file(folder.file("no-such-folder/x.cfg"), "A", some_settings());
        ADD_FAILURE();
    } catch (const FileException& e) {
        EXPECT_EQ(e.message, "Unable to create file.\n\nPath does not exist.");
        EXPECT_EQ(e.path, folder.file("no-such-folder/x.cfg"));
    }
}

TEST(SettingsFileTest, ReadsEveryEncoding) {
    TemporaryFolder folder;
    const std::string text = "{ // \xc3\xa9\r\n Name : \"\xf0\x9f\x98\x80\" }";
    const std::u16string units = u"{ // \u00e9\r\n Name : \"\U0001f600\" }";
    std::string little = "\xff\xfe", big = "\xfe\xff";
    for (const char16_t u : units) {
        little += {static_cast<char>(u & 0xff), static_cast<char>(u >> 8)};
        big += {static_cast<char>(u >> 8), static_cast<char>(u & 0xff)};
    }
    folder.write("plain", text);
    folder.write("mark", "\xef\xbb\xbf" + text);
    folder.write("little", little);
    folder.write("big", big);
    for (const char* name : {"plain", "mark", "little", "big"}) {
        EXPECT_EQ(load_config_file(folder.file(name))->to_acfg(),
                  "{\r\n    Name : \"\xf0\x9f\x98\x80\"\r\n}\r\n")
            << name;
    }
}

TEST(SettingsFileTest, ErrorsOfTheText) {
    TemporaryFolder folder;
    const auto message_of = [&](const std::string& content) {
        folder.write("f", content);
        try {
            load_config_file(folder.file("f"));
        } catch (const StringException& e) {
            return std::string(e.get_typename()) + ": " + e.message;
        }
        return std::string("none");
    };
    EXPECT_EQ(message_of(""), "EndOfStreamException: Unexpected end of stream.");
    EXPECT_EQ(message_of("{A : \"x"), "EndOfStreamException: Unexpected end of stream.");
    EXPECT_EQ(message_of("{Abc"), "EndOfStreamException: Unexpected end of stream.");
    // The header's lines count.
    EXPECT_EQ(message_of(kHeader + "{A : 1, B : 2}"),
              "ParseException: Line 11: Don't use commas to separate elements.");
    EXPECT_EQ(message_of(std::string("{A : 1 }\0", 9)), "none");
    EXPECT_EQ(message_of(std::string("{A : \0 1 }", 10)), "EndOfStreamException: Unexpected end of stream.");
}

TEST(SettingsFileTest, FilesThatCannotBeRead) {
    TemporaryFolder folder;
    try {
        load_config_file(folder.file("missing.cfg"));
        ADD_FAILURE();
    } catch (const FileException& e) {
        EXPECT_EQ(e.message, "Unable to open file.\n\nPath does not exist.");
        EXPECT_EQ(e.path, folder.file("missing.cfg"));
    }
    folder.write("large", "{}");
    std::filesystem::resize_file(folder.file("large"), kMaxTextFileBytes + 1);  // takes no space on the disk
    try {
        load_config_file(folder.file("large"));
        ADD_FAILURE();
    } catch (const FileException& e) {
        EXPECT_EQ(e.message, "The file is too large: a text is at most 16,777,216 bytes long.");
    }
    // The largest one is read: it begins with a NUL, where the text ends.
    std::filesystem::resize_file(folder.file("large"), 0);
    std::filesystem::resize_file(folder.file("large"), kMaxTextFileBytes);
    EXPECT_THROW(load_config_file(folder.file("large")), EndOfStreamException);
}

TEST(SettingsFileTest, AFullDiskIsReported) {
    TemporaryFolder folder;
    folder.write("x.cfg", "the settings of last week");
    FaultyFile disk;
    disk.disk_full_after(100);
    try {
        write_config_file(folder.file("x.cfg"), "A", some_settings(), disk.file_calls());
        ADD_FAILURE();
    } catch (const FileException& e) {
        EXPECT_EQ(e.message, "WriteFile() failed.\n\nDisk is Full");
    }
    EXPECT_EQ(folder.read("x.cfg"), "the settings of last week");
    EXPECT_FALSE(folder.has("x (incomplete).cfg"));
}

// Who gives a link means the file behind it.
TEST(SettingsFileTest, ALinkStaysALink) {
    TemporaryFolder folder;
    folder.write("real.cfg", "old");
    std::error_code refused;
    std::filesystem::create_symlink("real.cfg", folder.file("x.cfg"), refused);
    if (refused) GTEST_SKIP() << "this user may not make links";
    write_config_file(folder.file("x.cfg"), "CustomCompute", some_settings());
    EXPECT_TRUE(std::filesystem::is_symlink(folder.file("x.cfg")));
    EXPECT_EQ(folder.read("real.cfg"), kHeader + kBody);
}

TEST(SettingsFileTest, AFileThatEndsEarlyIsReported) {
    TemporaryFolder folder;
    folder.write("f", "{A : 1 }");
    FaultyFile disk;
    disk.short_read(1, 3);
    try {
        load_config_file(folder.file("f"), disk.file_calls());
        ADD_FAILURE();
    } catch (const FileException& e) {
        EXPECT_EQ(e.message, "Incomplete Read: 3 / 8");
    }
}
