// The texts of dates and times under the user's settings and in each language.
#include <cstdio>
#include <filesystem>
#include <string>
#include <unistd.h>

#include "interpreter.h"
#include "kernel/hooks.h"
#include "platform/profile.h"

// A profile of this test's own, with these lines under [intl].
class Settings {
public:
    explicit Settings(const std::string& lines)
        : path_(std::filesystem::temp_directory_path() /
                ("kalvex-date-time-" + std::to_string(getpid()) + ".ini"))
    {
        FILE* const file = fopen(path_.c_str(), "wb");
        const std::string text = "[intl]\n" + lines;
        fwrite(text.data(), 1, text.size(), file);
        fclose(file);
        set_profile_path(path_);
    }
    ~Settings()
    {
        unlink(path_.c_str());
        set_profile_path("");
    }

private:
    const std::string path_;
};

static Value time_of(int year, int month, int day, int hour, int minute, int second)
{
    Value date;
    for (const int field : { second, minute, hour, day, month, year })
        date = cons(make_integer(field), date);
    return lisp("date->time", date);
}

static std::string date_text(Value time, Value long_form = nil)
{
    return string_chars(lisp("iudatestring", time, long_form));
}

static std::string time_text(Value time, Value seconds = nil)
{
    return string_chars(lisp("iutimestring", time, seconds));
}

TEST(date_texts, follow_order_and_mark)
{
    in_interpreter([] {
        const Value time = time_of(1999, 3, 7, 13, 5, 9);
        const char* const texts[] = { "3.07.99", "7.03.99", "99.03.07", "3.07.99" };
        for (int order = 0; order < 4; ++order) {
            const Settings settings("iDate=" + std::to_string(order) + "\nsDate=.\n");
            EXPECT_EQ(date_text(time), texts[order]) << order;
        }
    });
}

TEST(time_texts, follow_clock_mark_and_words)
{
    in_interpreter([] {
        const Value afternoon = time_of(1999, 3, 7, 13, 5, 9);
        const Value night = time_of(1999, 3, 7, 0, 5, 9);
        {
            const Settings settings("iTime=1\nsTime=.\n");
            EXPECT_EQ(time_text(afternoon), "13.05");
            EXPECT_EQ(time_text(afternoon, symbol_t), "13.05.09");
            EXPECT_EQ(time_text(night), "00.05");
        }
        const Settings settings("iTime=0\nsTime=h\ns1159=before\ns2359=after\n");
        EXPECT_EQ(time_text(afternoon), " 1h05 after ");
        EXPECT_EQ(time_text(afternoon, symbol_t), " 1h05h09 after ");
        EXPECT_EQ(time_text(night), " 12h05 before ");
    });
}

TEST(long_dates, are_in_the_language)
{
    in_interpreter([] {
        const Value time = time_of(1999, 12, 5, 0, 0, 0);
        const int before = dialog_language;
        dialog_language = 0;
        EXPECT_EQ(date_text(time, symbol_t), "Sunday 05 December 1999");
        dialog_language = 1;
        EXPECT_EQ(date_text(time, symbol_t), "Dimanche 05 D\xe9"
                                             "cembre 1999");
        dialog_language = before;
    });
}
