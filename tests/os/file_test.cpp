// The system's files as both back ends show them.
#include "os/file.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "os/folder.h"
#include "os/path_kind.h"
#include "os/privilege.h"
#include "os/volume.h"
#include "support/temporary_folder.h"

using namespace trel;
using kalvor_test::TemporaryFolder;
using namespace trel::os;

namespace {

bool is_there(const std::string& path) {
    if (is_folder(path.c_str())) return true;
    const OpenedFile opened = open_file(path.c_str(), FileAccess::read, {});
    return !opened.error && !close_file(opened.handle);
}

class FilesTest : public ::testing::Test {
  protected:
    OpenedFile open(const std::string& name, FileAccess access, FileFlags flags = {}) const {
        return open_file(folder_.file(name).c_str(), access, flags);
    }
    // Opens, which must succeed.
    i64 handle(const std::string& name, FileAccess access, FileFlags flags = {}) const {
        const OpenedFile opened = open(name, access, flags);
        EXPECT_FALSE(opened.error) << opened.error.code;
        return opened.handle;
    }
    ErrorCategory refused(const std::string& name, FileAccess access) const {
        const OpenedFile opened = open(name, access);
        if (!opened.error) {
            EXPECT_FALSE(close_file(opened.handle));
        } else {
            EXPECT_EQ(opened.handle, kNoFile);
            EXPECT_NE(opened.error.code, 0U);
        }
        return opened.error.category;
    }
    TemporaryFolder folder_;
};

}  // namespace

TEST_F(FilesTest, BytesGoWhereTheyBelong) {
    const i64 file = handle("a", FileAccess::create);
    EXPECT_EQ(write_file(file, "hello", 0, 5).bytes, 5U);
    EXPECT_EQ(write_file(file, "world", 10, 5).bytes, 5U);
    EXPECT_EQ(write_file(file, "L", 2, 1).bytes, 1U);
    char back[20] = {};
    const Transfer got = read_file(file, back, 1, 20);
    EXPECT_EQ(got.bytes, 14U);
    EXPECT_FALSE(got.error);
    EXPECT_EQ(std::string(back, 14), std::string("eLlo\0\0\0\0\0world", 14));
    EXPECT_EQ(read_file(file, back, 100, 20).bytes, 0U);
    EXPECT_EQ(file_size(file).bytes, 15U);
    EXPECT_FALSE(set_file_size(file, 3).error);
    EXPECT_FALSE(flush_file(file));
    EXPECT_FALSE(close_file(file));
    EXPECT_EQ(folder_.read("a"), "heL");
}

TEST_F(FilesTest, CreateEmptiesReadNeedsAFile) {
    folder_.write("a", "content");
    EXPECT_EQ(refused("none", FileAccess::read), ErrorCategory::not_found);
    EXPECT_EQ(refused("none", FileAccess::read_write), ErrorCategory::not_found);
    EXPECT_EQ(refused("none/a", FileAccess::create), ErrorCategory::not_found);
    EXPECT_FALSE(folder_.has("none"));
    EXPECT_FALSE(close_file(handle("a", FileAccess::read_write)));
    EXPECT_EQ(folder_.read("a"), "content");
    EXPECT_FALSE(close_file(handle("a", FileAccess::create)));
    EXPECT_EQ(folder_.read("a"), "");
    EXPECT_NE(refused("", FileAccess::read), ErrorCategory::none) << "a folder is not a file";
}

TEST_F(FilesTest, SharingRules) {
    using enum FileAccess;
    folder_.write("a", "content");
    for (const FileAccess writer : {create, read_write}) {
        folder_.write("a", "content");
        const i64 file = handle("a", writer);
        for (const FileAccess second : {create, read, read_write}) {
            EXPECT_EQ(refused("a", second), ErrorCategory::sharing);
        }
        EXPECT_FALSE(close_file(file));
    }
    folder_.write("a", "content");
    const i64 reader = handle("a", read), second_reader = handle("a", read);
    EXPECT_EQ(refused("a", create), ErrorCategory::sharing);
    EXPECT_EQ(refused("a", read_write), ErrorCategory::sharing);
    EXPECT_EQ(file_size(reader).bytes, 7U) << "a refused creation emptied the file";
    EXPECT_FALSE(close_file(reader));
    EXPECT_EQ(refused("a", read_write), ErrorCategory::sharing) << "one reader is left";
    EXPECT_FALSE(close_file(second_reader));
    EXPECT_EQ(refused("a", read_write), ErrorCategory::none);
}

TEST_F(FilesTest, PositionsThatAreNone) {
    const i64 file = handle("a", FileAccess::create);
    char byte = 'x';
    const Transfer put = write_file(file, &byte, u64(1) << 63, 1);
    EXPECT_TRUE(put.error);
    EXPECT_TRUE(put.position_refused);
    EXPECT_TRUE(read_file(file, &byte, ~u64(0), 1).position_refused);
    EXPECT_TRUE(set_file_size(file, u64(1) << 63).position_refused);
    EXPECT_EQ(file_size(file).bytes, 0U);
    EXPECT_FALSE(close_file(file));
}

TEST_F(FilesTest, RenameReplacesAFileButNoFolder) {
    folder_.write("a", "new");
    folder_.write("b", "old");
    EXPECT_FALSE(rename_file(folder_.file("a").c_str(), folder_.file("b").c_str()));
    EXPECT_FALSE(folder_.has("a"));
    EXPECT_EQ(folder_.read("b"), "new");
    ASSERT_FALSE(create_folder(folder_.file("d").c_str()));
    const OsError onto_folder = rename_file(folder_.file("b").c_str(), folder_.file("d").c_str());
    EXPECT_EQ(onto_folder.category, ErrorCategory::exists);
    EXPECT_EQ(folder_.read("b"), "new");
    EXPECT_TRUE(remove_file(folder_.file("d").c_str())) << "folders are not removed as files";
    const OsError missing = rename_file(folder_.file("none").c_str(), folder_.file("b").c_str());
    EXPECT_EQ(missing.category, ErrorCategory::not_found);
    EXPECT_EQ(missing.code, 2U);
    EXPECT_EQ(folder_.read("b"), "new");
}

TEST_F(FilesTest, NewFilesReplaceNothing) {
    folder_.write("a", "content");
    EXPECT_EQ(refused("a", FileAccess::create_new), ErrorCategory::exists);
    EXPECT_EQ(folder_.read("a"), "content");
    const i64 file = handle("b", FileAccess::create_new);
    EXPECT_EQ(write_file(file, "x", 0, 1).bytes, 1U);
    char back = 0;
    EXPECT_EQ(read_file(file, &back, 0, 1).bytes, 1U);
    EXPECT_EQ(back, 'x');
    EXPECT_EQ(refused("b", FileAccess::create_new), ErrorCategory::exists);
    for (const FileAccess second : {FileAccess::read, FileAccess::read_write, FileAccess::take_over}) {
        EXPECT_EQ(refused("b", second), ErrorCategory::sharing);
    }
    EXPECT_FALSE(close_file(file));
    EXPECT_EQ(refused("none/a", FileAccess::create_new), ErrorCategory::not_found);
}

TEST_F(FilesTest, AForgottenFileIsTakenOverAndRemoved) {
    folder_.write("a", "content");
    const i64 file = handle("a", FileAccess::take_over);
    EXPECT_EQ(refused("a", FileAccess::take_over), ErrorCategory::sharing);
    EXPECT_EQ(refused("a", FileAccess::create), ErrorCategory::sharing);
    EXPECT_FALSE(remove_open_file(file, folder_.file("a").c_str()));
    EXPECT_FALSE(close_file(file));
    EXPECT_FALSE(folder_.has("a"));
    EXPECT_EQ(refused("a", FileAccess::take_over), ErrorCategory::not_found);
    ASSERT_FALSE(create_folder(folder_.file("d").c_str()));
    EXPECT_NE(refused("d", FileAccess::take_over), ErrorCategory::none);
}

// A file is renamed, cut and looked at while its writer holds it.
TEST_F(FilesTest, AnOpenFileIsRenamed) {
    folder_.write("b", "old");
    const i64 file = handle("a", FileAccess::create_new, {.unbuffered = true});
    alignas(4096) static u8 sector[4096];
    std::memset(sector, 'x', sizeof sector);
    EXPECT_EQ(write_file(file, sector, 0, 4096).bytes, 4096U);
    const Resizing cut = set_file_size(file, 5);
    EXPECT_FALSE(cut.error) << cut.error.code << ": an end that is not a sector's";
    EXPECT_EQ(file_size(file).bytes, 5U);
    const std::string a = folder_.file("a"), b = folder_.file("b");
    EXPECT_FALSE(rename_open_file(file, a.c_str(), b.c_str()));
    EXPECT_EQ(refused("b", FileAccess::read), ErrorCategory::sharing) << "held under its new name";
    EXPECT_FALSE(folder_.has("a"));
    ASSERT_FALSE(create_folder(folder_.file("d").c_str()));
    EXPECT_TRUE(rename_open_file(file, b.c_str(), folder_.file("d").c_str()));
    EXPECT_FALSE(close_file(file));
    EXPECT_EQ(folder_.read("b"), "xxxxx");
}

TEST_F(FilesTest, ReadOnlyIsAMarkOfTheFile) {
    folder_.write("a", "old");
    folder_.write("b", "new");
    const std::string a = folder_.file("a"), b = folder_.file("b");
    EXPECT_FALSE(is_read_only(a.c_str()));
    using std::filesystem::perms;
    std::filesystem::permissions(a, perms::owner_write | perms::group_write | perms::others_write,
                                 std::filesystem::perm_options::remove);
    EXPECT_TRUE(is_read_only(a.c_str()));
    EXPECT_FALSE(is_read_only(folder_.file("none").c_str()));
    const i64 file = handle("b", FileAccess::read_write);
    EXPECT_FALSE(allow_replacing(a.c_str()));
    EXPECT_FALSE(rename_open_file(file, b.c_str(), a.c_str()));
    EXPECT_FALSE(close_file(file));
    EXPECT_EQ(folder_.read("a"), "new");
}

TEST_F(FilesTest, TheVolumeHasAName) {
    const VolumeSpace space = volume_space(folder_.file("").c_str());
    EXPECT_FALSE(space.error);
    EXPECT_FALSE(space.volume.empty());
    EXPECT_GT(space.free_bytes, 0U);
    EXPECT_EQ(volume_space("").volume, space.volume);
    EXPECT_TRUE(volume_space(folder_.file("none").c_str()).error);
}

TEST_F(FilesTest, RemoveExistsAndFolders) {
    folder_.write("a", "x");
    const std::string a = folder_.file("a"), d = folder_.file("d");
    EXPECT_TRUE(is_there(a));
    EXPECT_FALSE(remove_file(a.c_str()));
    EXPECT_FALSE(is_there(a));
    const OsError gone = remove_file(a.c_str());
    EXPECT_EQ(gone.category, ErrorCategory::not_found);
    EXPECT_EQ(gone.code, 2U);
    EXPECT_FALSE(create_folder(d.c_str()));
    EXPECT_TRUE(is_there(d));
    EXPECT_TRUE(is_folder(d.c_str()));
    folder_.write("f", "x");
    EXPECT_FALSE(is_folder(folder_.file("f").c_str()));
    EXPECT_FALSE(is_folder(a.c_str()));
    EXPECT_EQ(create_folder(d.c_str()).category, ErrorCategory::exists);
    EXPECT_EQ(create_folder(folder_.file("x/y").c_str()).category, ErrorCategory::not_found);
    EXPECT_FALSE(flush_folder_of(folder_.file("d").c_str()));
    EXPECT_TRUE(is_path_separator('/'));
    EXPECT_FALSE(is_path_separator('x'));
}

TEST_F(FilesTest, NamesAreUtf8) {
    const std::string name = "\xcf\x80 \xe2\x89\x88 3 \xf0\x9f\x98\x80.txt";
    const std::string path = folder_.file("") + name, other = folder_.file("") + "\xc3\xa9";
    const OpenedFile opened = open_file(path.c_str(), FileAccess::create, {});
    ASSERT_FALSE(opened.error);
    EXPECT_EQ(write_file(opened.handle, "x", 0, 1).bytes, 1U);
    EXPECT_FALSE(close_file(opened.handle));
    EXPECT_TRUE(is_there(path));
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::path(folder_.file("")) /
                                        std::filesystem::path(u8"\u03c0 \u2248 3 \U0001f600.txt")));
    EXPECT_FALSE(rename_file(path.c_str(), other.c_str()));
    EXPECT_TRUE(is_there(other));
    EXPECT_FALSE(remove_file(other.c_str()));
    EXPECT_FALSE(is_there(path));
}

// Deeper than the 260 characters that some calls end at.
TEST_F(FilesTest, LongPaths) {
    std::string path = folder_.file("d"), middle;
    for (int i = 0; i < 6; i++) {
        ASSERT_FALSE(create_folder(path.c_str())) << path.size();
        if (i == 3) middle = path;
        path += '/' + std::string(60, static_cast<char>('a' + i));
    }
    const OpenedFile opened = open_file(path.c_str(), FileAccess::create, {});
    ASSERT_FALSE(opened.error) << opened.error.code;
    EXPECT_FALSE(close_file(opened.handle));
    EXPECT_FALSE(rename_file(path.c_str(), (path + 'x').c_str()));
    EXPECT_TRUE(is_there(path + 'x'));
    EXPECT_FALSE(remove_file((path + 'x').c_str()));
    // The C++ library deletes nothing that deep.
    EXPECT_FALSE(rename_file(middle.c_str(), folder_.file("e").c_str()));
}

TEST_F(FilesTest, SpaceIsReservedWithoutBytesGettingLost) {
    const i64 file = handle("a", FileAccess::create);
    ASSERT_FALSE(set_file_size(file, 1 << 20).error);
    // Not every account has the right.
    const bool granted = acquire_privilege("SeManageVolumePrivilege").held();
    const OsError reserved = reserve_file_space(file, 1 << 20);
    if (granted) {
        EXPECT_FALSE(reserved) << reserved.code << " (a file system that cannot reserve?)";
    } else if (reserved) {
        EXPECT_NE(reserved.code, 0U);
    }
    EXPECT_EQ(file_size(file).bytes, u64(1) << 20);
    EXPECT_EQ(write_file(file, "x", (1 << 20) - 1, 1).bytes, 1U);
    (void)reserve_file_space(file, 100).failed();
    EXPECT_EQ(file_size(file).bytes, u64(1) << 20) << "never shrinks";
    EXPECT_FALSE(reserve_file_space(file, 0));
    EXPECT_FALSE(close_file(file));
}

TEST_F(FilesTest, UnbufferedAndWriteThrough) {
    std::vector<u8> memory(3 * 4096);
    u8* const buffer = memory.data() + (4096 - reinterpret_cast<u64>(memory.data()) % 4096);
    for (int i = 0; i < 8192; i++) buffer[i] = static_cast<u8>(i * 7);
    const OpenedFile raw = open("a", FileAccess::create, {.unbuffered = true, .write_through = false});
    ASSERT_FALSE(raw.error);
    EXPECT_EQ(write_file(raw.handle, buffer, 0, 8192).bytes, 8192U);
    EXPECT_FALSE(close_file(raw.handle));
    const i64 through = handle("a", FileAccess::read_write, {.unbuffered = false, .write_through = true});
    EXPECT_FALSE(set_file_size(through, 5000).error);
    EXPECT_FALSE(close_file(through));
    const OpenedFile back = open("a", FileAccess::read, {.unbuffered = true, .write_through = false});
    ASSERT_FALSE(back.error);
    std::memset(buffer, 0, 8192);
    const Transfer got = read_file(back.handle, buffer, 0, 8192);
    EXPECT_FALSE(got.error) << got.error.code;
    EXPECT_EQ(got.bytes, 5000U) << "the last sector is there in part";
    for (int i = 0; i < 5000; i++) ASSERT_EQ(buffer[i], static_cast<u8>(i * 7)) << i;
    if (back.unbuffered) {
        // Where the system looks at all, a misaligned access is an invalid parameter.
        const Transfer misaligned = read_file(back.handle, buffer, 100, 4096);
        if (misaligned.error) {
            EXPECT_EQ(misaligned.error.category, ErrorCategory::invalid_parameter);
        }
    }
    EXPECT_FALSE(close_file(back.handle));
}

// From the system's own table, which knows the error of a path that is missing by one of these numbers.
TEST_F(FilesTest, ErrorsHaveTheSystemsText) {
    const OpenedFile missing = open("no-such-file", FileAccess::read);
    ASSERT_TRUE(missing.error);
    const std::string text = system_error_text(missing.error.code);
    EXPECT_GT(text.size(), 5U);
    EXPECT_NE(text, system_error_text(missing.error.code + 1));
    EXPECT_NE(text.back(), '.');
    EXPECT_EQ(text.find('\n'), std::string::npos);
    EXPECT_FALSE(system_error_text(987654321).empty());
}

TEST_F(FilesTest, NamesInAFolder) {
    const auto sorted = [](std::vector<std::string> names) {
        std::sort(names.begin(), names.end());
        return names;
    };
    EXPECT_TRUE(names_in_folder(folder_.file("no-such-folder")).empty());
    const std::vector<std::string> before = sorted(names_in_folder(folder_.file("")));
    folder_.write("one.kvd", "1");
    // A narrow name would be taken in another encoding on Windows.
    std::ofstream(std::filesystem::path(folder_.file("")) / u8"zw\u00F6lf - 12 (incomplete).kvd");
    std::vector<std::string> want = before;
    want.insert(want.end(), {"one.kvd", "zw\u00F6lf - 12 (incomplete).kvd"});
    EXPECT_EQ(sorted(names_in_folder(folder_.file(""))), sorted(want));
    EXPECT_TRUE(names_in_folder(folder_.file("one.kvd")).empty()) << "not a folder";
    EXPECT_FALSE(names_in_folder("").empty()) << "the current folder";
}

TEST_F(FilesTest, KindsOfPaths) {
    EXPECT_EQ(path_kind("."), PathKind::folder);
    EXPECT_EQ(path_kind(folder_.file("no-such-file")), PathKind::missing);
    EXPECT_EQ(path_kind(folder_.file("no-such-folder/file")), PathKind::missing);
    const std::string whole = absolute_path("");
    EXPECT_EQ(path_kind(whole), PathKind::folder);
    EXPECT_EQ(absolute_path(whole), whole);
    EXPECT_EQ(absolute_path("x y").substr(0, whole.size()), whole);
    EXPECT_EQ(absolute_path("x y").substr(absolute_path("x y").size() - 3), "x y");
}
