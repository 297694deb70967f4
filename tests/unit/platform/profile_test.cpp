// The settings file: what is read back, what a write leaves alone, and what the locale says.
#include "platform/profile.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>

class Profile : public testing::Test {
protected:
    Profile()
    {
        folder = std::filesystem::temp_directory_path() / ("kalvex-profile-" + std::to_string(getpid()));
        path = folder / "deep" / "KALVEX.INI";
        set_profile_path(path);
        setenv("LC_ALL", "C", 1);
    }
    ~Profile() override
    {
        set_profile_path("");
        std::filesystem::remove_all(folder);
    }

    void put(const std::string& text)
    {
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << text;
    }
    std::string text()
    {
        std::ifstream file(path, std::ios::binary);
        return { std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>() };
    }

    std::filesystem::path folder;
    std::filesystem::path path;
};

TEST_F(Profile, without_a_file_the_fallback_stands)
{
    EXPECT_EQ(GetProfileString("intl", "sDate", "/"), "/");
    EXPECT_EQ(GetProfileInt("intl", "iDate", 7), 7);
}

TEST_F(Profile, finds_keys_of_the_section_alone_without_regard_to_case)
{
    put("; comment\r\nsDate=none\r\n[Other]\r\nsDate=wrong\r\n[INTL]\r\n  SDATE = . \r\nempty=\r\n[last]\r\nx=\" y \"");
    EXPECT_EQ(GetProfileString("intl", "sDate", "/"), ".");
    EXPECT_EQ(GetProfileString("intl", "empty", "/"), "");
    EXPECT_EQ(GetProfileString("intl", "x", "/"), "/");
    EXPECT_EQ(GetProfileString("last", "x", ""), " y ");
}

TEST_F(Profile, a_write_changes_one_line)
{
    put("[a]\nkey=1\nother = 2\n\n; kept\n[b]\nkey=3\n");
    ASSERT_TRUE(WriteProfileString("A", "KEY", "9"));
    ASSERT_TRUE(WriteProfileString("a", "fresh", "5"));
    ASSERT_TRUE(WriteProfileString("c", "first", "6"));
    ASSERT_TRUE(WriteProfileString("b", "key", nullptr));
    EXPECT_EQ(text(), "[a]\nKEY=9\nother = 2\n\n; kept\nfresh=5\n[b]\n[c]\nfirst=6\n");
}

TEST_F(Profile, any_value_reads_back_but_for_line_ends)
{
    for (const char* value : { "C:\\My Files\\x=y", "", " blank ends ", "\"quoted\"", "'", "[b]", "\xe9" }) {
        ASSERT_TRUE(WriteProfileString("paths", "LastDir", value));
        EXPECT_EQ(GetProfileString("paths", "LastDir", "?"), value);
    }
    ASSERT_TRUE(WriteProfileString("paths", "LastDir", "a\r\n[b]"));
    EXPECT_EQ(GetProfileString("paths", "LastDir", "?"), "a  [b]");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(path.parent_path()), {}), 1);
}

TEST_F(Profile, a_file_that_cannot_be_read_is_not_replaced)
{
    std::filesystem::create_directories(path);  // a folder of that name
    EXPECT_FALSE(WriteProfileString("a", "b", "c"));
    EXPECT_TRUE(std::filesystem::is_directory(path));
}

TEST_F(Profile, a_setting_goes_before_the_locale)
{
    put("[intl]\niDate=2\n");
    EXPECT_EQ(GetIntlString("iDate", "0"), "2");
    EXPECT_EQ(GetIntlString("iTime", "0"), "0");
    EXPECT_EQ(GetIntlString("s1159", "AM"), "AM");
}

TEST_F(Profile, a_locale_that_is_not_there_says_nothing)
{
    setenv("LC_ALL", "xx_XX.UTF-8", 1);
    EXPECT_EQ(GetIntlString("sDate", "/"), "/");
    EXPECT_EQ(GetIntlString("iTime", "0"), "0");
}
