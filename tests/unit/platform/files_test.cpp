// Files, names and attributes at the border to the host.
#include "platform/files.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sys/xattr.h>

#include <gtest/gtest.h>

#include "platform/file_info.h"
#include "platform/file_paths.h"
#include "platform/launch.h"
#include "platform/text_encoding.h"

class Files : public testing::Test {
protected:
    void SetUp() override
    {
        char pattern[] = "./kalvex-files-XXXXXX";
        host = std::filesystem::absolute(mkdtemp(pattern)).lexically_normal().string();
        root = system_path(host);
    }
    void TearDown() override { std::filesystem::remove_all(host); }

    std::string path(const std::string& name) const { return root + "\\" + name; }
    void make(const std::string& host_name, const std::string& text = "")
    {
        std::ofstream(host + "/" + host_name) << text;
    }
    bool there(const std::string& name) const { return FileExists(path(name).c_str()); }

    std::string host, root;
};

TEST(TextEncoding, every_byte_goes_to_utf8_and_back)
{
    std::string all;
    for (int i = 1; i < 256; i++)
        all += static_cast<char>(i);
    EXPECT_EQ(ansi_from_utf8(utf8_from_ansi(all)), all);
    EXPECT_EQ(utf8_from_ansi("\x80\xe9"), "\xe2\x82\xac\xc3\xa9");
    EXPECT_EQ(ansi_from_utf8("a\xe6\x97\xa5\xff"
                             "b"),
              "a??b");
    EXPECT_EQ(ansi_from_utf8("\xc0\x80\xed\xa0\x80\xf4\x90\x80\x80"), std::string(9, '?'))
        << "overlong forms, surrogates and what is past the last code point are no UTF-8";
}

TEST(TextEncoding, a_file_name_of_any_bytes_comes_back_the_same)
{
    EXPECT_EQ(ansi_file_name("\xe6\x97\xa5.txt"), "<65E5>.txt");
    EXPECT_EQ(ansi_file_name("a<3C>"), "a<3C>3C>");
    EXPECT_EQ(ansi_file_name("a\\b:c\xff"), "a<5C>b<3A>c<xFF>");
    EXPECT_EQ(host_file_name("a<b>c<>"), "a<b>c<>") << "no escape";
    std::mt19937 random(3);
    for (int round = 0; round < 20000; round++) {
        std::string name;
        for (uint32_t length = 1 + random() % 12; length > 0; length--) {
            const char telling[] = "<>x3C\\:\xc3\xa9\xe6\x97\xa5\xff";
            const uint32_t byte =
                random() % 2 ? random() % 255 + 1 : static_cast<uint8_t>(telling[random() % 13]);
            if (byte != '/' && byte != 0)
                name += static_cast<char>(byte);
        }
        ASSERT_EQ(host_file_name(ansi_file_name(name)), name);
    }
}

TEST(Paths, drives_and_separators)
{
    EXPECT_EQ(host_path("C:\\"), "/");
    EXPECT_EQ(host_path("c:"), "/");
    EXPECT_EQ(host_path("C:\\usr\\\\lib"), "/usr/lib");
    EXPECT_EQ(host_path("C:\\USR/LIB"), "/usr/lib");
    EXPECT_EQ(host_path("no\\such\\Place"), "no/such/Place");
    EXPECT_EQ(host_path("D:\\usr"), "");
    EXPECT_EQ(host_path(""), "");
    EXPECT_EQ(host_path(std::string_view("a\0b", 3)), "");
    EXPECT_EQ(system_path("/usr/lib"), "C:\\usr\\lib");
    EXPECT_EQ(system_path("/"), "C:\\");
    EXPECT_EQ(system_path("a/b"), "a\\b");
}

TEST_F(Files, names_are_found_without_case_when_they_are_not_there_as_spelt)
{
    std::filesystem::create_directory(host + "/Folder");
    make("Folder/\xc3\x89t\xc3\xa9.txt", "summer");
    make("Folder/both");
    make("Folder/BOTH", "big");
    EXPECT_TRUE(there("FOLDER\\\xe9T\xc9.TXT"));
    EXPECT_EQ(host_path(path("folder\\BOTH")), host + "/Folder/BOTH");
    EXPECT_EQ(host_path(path("folder\\both")), host + "/Folder/both");
    EXPECT_EQ(host_path(path("folder\\new")), host + "/Folder/new") << "for one that will be made";
    const FileHandle file = CreateFileA(path("folder\\\xe9t\xc9.TXT").c_str(),
                                        FileAccess::read_write, FileDisposition::create_always);
    CloseHandle(file);
    EXPECT_EQ(std::filesystem::file_size(host + "/Folder/\xc3\x89t\xc3\xa9.txt"), 0u)
        << "no second file beside it";
}

TEST_F(Files, dead_and_foreign_handles_are_refused)
{
    make("a", "text");
    const FileHandle file =
        CreateFileA(path("a").c_str(), FileAccess::read, FileDisposition::open_existing);
    char byte;
    EXPECT_EQ(WriteFile(file, "x", 1), -1);
    EXPECT_EQ(GetLastError(), kFileErrorDenied);
    EXPECT_TRUE(CloseHandle(file));
    for (const FileHandle wrong : { file, kNoFile, FileHandle(0xffffffff), FileHandle(77) }) {
        EXPECT_FALSE(CloseHandle(wrong));
        EXPECT_EQ(ReadFile(wrong, &byte, 1), -1);
        EXPECT_EQ(GetFileSize(wrong), -1);
        EXPECT_EQ(GetLastError(), kFileErrorBadHandle);
    }
    const FileHandle next =
        CreateFileA(path("a").c_str(), FileAccess::read, FileDisposition::open_existing);
    EXPECT_NE(next, file) << "the place is used again, the number is not";
    CloseHandle(next);
    EXPECT_EQ(CreateFileA(root.c_str(), FileAccess::read, FileDisposition::open_existing), kNoFile);
    EXPECT_EQ(GetLastError(), kFileErrorDenied);
    EXPECT_EQ(CreateFileA(path("x\\y").c_str(), FileAccess::read, FileDisposition::open_existing),
              kNoFile);
    EXPECT_EQ(GetLastError(), kFileErrorNotFound);
}

TEST_F(Files, a_renaming_replaces_nothing_but_may_change_case)
{
    make("a", "A");
    make("b", "B");
    EXPECT_FALSE(MoveFileA(path("a").c_str(), path("b").c_str()));
    EXPECT_EQ(GetLastError(), kFileErrorExists);
    EXPECT_TRUE(MoveFileA(path("a").c_str(), path("A").c_str()));
    EXPECT_TRUE(std::filesystem::exists(host + "/A"));
    EXPECT_TRUE(ReplaceFileA(path("A").c_str(), path("b").c_str()));
    EXPECT_FALSE(there("a"));
    EXPECT_FALSE(MoveFileA(path("none").c_str(), path("c").c_str()));
}

TEST_F(Files, locks_hold_other_openers_off_until_the_file_is_closed)
{
    make("a");
    const auto opened = [&] {
        return CreateFileA(path("a").c_str(), FileAccess::read_write,
                           FileDisposition::open_existing);
    };
    const FileHandle first = opened();
    const FileHandle second = opened();
    EXPECT_TRUE(SameFile(first, second));
    EXPECT_TRUE(SetFileLock(first, FileLock::writer, FileLockMode::exclusive));
    EXPECT_FALSE(SetFileLock(second, FileLock::writer, FileLockMode::exclusive));
    EXPECT_EQ(GetLastError(), kFileErrorInUse);
    EXPECT_TRUE(SetFileLock(second, FileLock::update, FileLockMode::shared));
    EXPECT_FALSE(SetFileLock(first, FileLock::update, FileLockMode::exclusive));
    CloseHandle(second);
    EXPECT_TRUE(SetFileLock(first, FileLock::update, FileLockMode::exclusive));
    CloseHandle(first);
    const FileHandle third = opened();
    EXPECT_TRUE(SetFileLock(third, FileLock::writer, FileLockMode::exclusive));
    CloseHandle(third);
}

TEST_F(Files, folders_list_what_matches_in_order)
{
    for (const char* name : { "b.txt", "A.TXT", ".hidden", "c.doc", "none", "\xe6\x97\xa5.txt" })
        make(name);
    std::filesystem::create_directory(host + "/Sub.txt");
    using Names = std::vector<std::string>;
    const auto files = [&](const char* pattern) {
        return ListFolder(root.c_str(), pattern, Listing::files);
    };
    EXPECT_EQ(files("*.txt"), (Names{ "<65E5>.txt", "A.TXT", "b.txt" }));
    EXPECT_EQ(files("*").size(), 6u);
    EXPECT_EQ(files("*.*").size(), 6u) << "names without a dot too";
    EXPECT_EQ(files("?.*o*"), (Names{ "c.doc" }));
    EXPECT_EQ(files("b"), Names());
    EXPECT_EQ(files("**b**t"), (Names{ "b.txt" }));
    EXPECT_EQ(ListFolder(root.c_str(), "", Listing::folders), (Names{ "Sub.txt" }));
}

TEST_F(Files, times_and_attributes_are_kept)
{
    make("a", "12345");
    const std::string a = path("a");
    FileInfo info;
    ASSERT_TRUE(GetFileInfo(a.c_str(), info));
    EXPECT_EQ(info.size, 5u);
    EXPECT_FALSE(info.read_only || info.hidden || info.folder);
    const FileTime written = file_time_of(-5) + 1234560;
    ASSERT_TRUE(SetFileTimes(a.c_str(), nullptr, nullptr, &written));
    ASSERT_TRUE(GetFileInfo(a.c_str(), info));
    EXPECT_EQ(info.written, written);
    EXPECT_EQ(unix_seconds_of(info.written), -5) << "rounded down before 1970 too";
    EXPECT_TRUE(SetFileReadOnly(a.c_str(), true));
    ASSERT_TRUE(GetFileInfo(a.c_str(), info));
    EXPECT_TRUE(info.read_only);
    EXPECT_TRUE(SetFileReadOnly(a.c_str(), false));
    make(".dot");
    ASSERT_TRUE(GetFileInfo(path(".dot").c_str(), info));
    EXPECT_TRUE(info.hidden);
    if (setxattr((host + "/a").c_str(), "user.kalvex.test", "", 0, 0) != 0)
        GTEST_SKIP() << "the file system keeps no attributes";
    const FileTime created = file_time_of(1000000000);
    ASSERT_TRUE(SetFileTimes(a.c_str(), &created, nullptr, nullptr));
    ASSERT_TRUE(SetFileHidden(a.c_str(), true));
    ASSERT_TRUE(GetFileInfo(a.c_str(), info));
    EXPECT_EQ(info.created, created);
    EXPECT_EQ(info.written, written);
    EXPECT_TRUE(info.hidden);
    ASSERT_TRUE(SetFileHidden(a.c_str(), false));
    ASSERT_TRUE(SetFileHidden(a.c_str(), false));
    ASSERT_TRUE(GetFileInfo(a.c_str(), info));
    EXPECT_FALSE(info.hidden);
}

TEST_F(Files, links_lead_to_their_targets)
{
    make("target");
    std::filesystem::create_symlink(host + "/target", host + "/link");
    EXPECT_EQ(ResolveLink(path("link").c_str()), path("target"));
    EXPECT_EQ(ResolveLink(path("target").c_str()), "");
    // A shortcut: header, an item list of 3 bytes, link info with a local base path.
    std::string shortcut(76, '\0');
    shortcut[0] = 76;
    shortcut[20] = 3;
    shortcut += std::string("\3\0abc", 5);
    std::string link_info(28, '\0');
    link_info[8] = 1;
    link_info[16] = 28;
    shortcut += link_info + "C:\\place\\file.txt" + '\0';
    make("short.lnk", shortcut);
    EXPECT_EQ(ResolveLink(path("short").c_str()), "C:\\place\\file.txt");
    for (size_t length = 0; length < 76 + 5 + 28; length++) {
        make("short.lnk", shortcut.substr(0, length));
        ASSERT_EQ(ResolveLink(path("short").c_str()), "") << length;
    }
    std::mt19937 random(4);
    for (int round = 0; round < 300; round++) {
        std::string bad = shortcut;
        bad[random() % bad.size()] = static_cast<char>(random());
        make("short.lnk", bad);
        ResolveLink(path("short").c_str()); // reads nothing outside: the sanitizer tells
    }
}

TEST_F(Files, programs_start_and_menu_entries_stay_in_the_menu)
{
    setenv("XDG_DATA_HOME", host.c_str(), 1);
    EXPECT_EQ(LaunchProgram(path("none"), ""), 0u);
    EXPECT_EQ(LaunchProgram(root, ""), 0u);
    make("no program");
    EXPECT_EQ(LaunchProgram(path("no program"), ""), 0u);
    const uint32_t process = LaunchProgram("C:\\bin\\sleep", "2");
    EXPECT_NE(process, 0u);
    EXPECT_TRUE(ProgramRuns(process));
    const uint32_t done = LaunchProgram("C:\\bin\\true", "");
    for (int i = 0; i < 1000 && ProgramRuns(done); i++)
        usleep(1000);
    EXPECT_FALSE(ProgramRuns(done));
    EXPECT_TRUE(AddProgramItem("C:\\bin\\a \"b\"", "Group", "Item"));
    std::ifstream entry(host + "/applications/Group/Item.desktop");
    const std::string text((std::istreambuf_iterator<char>(entry)), {});
    EXPECT_NE(text.find("Exec=\"/bin/a \\\\\"b\\\\\"\"\n"), std::string::npos) << text;
    EXPECT_FALSE(AddProgramGroup(".."));
    EXPECT_FALSE(AddProgramItem("C:\\bin\\true", "a/b", "Item"));
    EXPECT_FALSE(AddProgramItem("C:\\bin\\true", "Group", "../../Item"));
    unsetenv("XDG_DATA_HOME");
}
