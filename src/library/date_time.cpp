// Time as seconds on the Macintosh scale, dates as lists (year month day hour minute second), ticks of
// 1/60 s, and the texts of dates and times by the user's settings.
#include <cstdlib>
#include <cstdio>
#include <ctime>

#include "kernel/errors.h"
#include "kernel/hooks.h"
#include "kernel/primitive.h"
#include "kernel/spaces.h"
#include "kernel/symbols.h"
#include "library/library.h"
#include "platform/clock.h"
#include "platform/profile.h"

// A time is the calendar's seconds since 1970 plus this.
static constexpr int64_t kEpoch = 2082826800;

static const uint8_t month_lengths[12] = { 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31 };

struct Date {
    int32_t year;
    int32_t month = 1;
    int32_t day = 1;
    int32_t hour = 0;
    int32_t minute = 0;
    int32_t second = 0;
};

// A date's list may be cut short behind the year.
static Date date_argument(Value list)
{
    if (!is_pair(list))
        raise_error(kErrorType, list);
    Date date = { integer_value(car_of(list)) };
    int32_t* const fields[] = { &date.month, &date.day, &date.hour, &date.minute, &date.second };
    Value rest = cdr_of(list);
    for (int32_t* field : fields) {
        if (!is_pair(rest))
            break;
        *field = integer_value(car_of(rest));
        rest = cdr_of(rest);
    }
    return date;
}

static Value make_date(const Date& date)
{
    const int32_t fields[] = { date.second, date.minute, date.hour, date.day, date.month, date.year };
    Value list;
    for (const int32_t field : fields)
        list = cons(make_integer(field), list);
    return list;
}

static Value date_of(const tm& t)
{
    return make_date({ t.tm_year + 1900, t.tm_mon + 1, t.tm_mday, t.tm_hour, t.tm_min, t.tm_sec });
}

// Local time; a time before the calendar's beginning is taken as that.
static tm local_time(int64_t calendar)
{
    tm result = {};
    time_t seconds = calendar < 0 ? 0 : static_cast<time_t>(calendar);
    if (!localtime_r(&seconds, &result)) {
        seconds = 0;
        localtime_r(&seconds, &result);
    }
    return result;
}

static tm time_argument(Value time)
{
    return local_time(static_cast<int64_t>(unsigned_value(time)) - kEpoch);
}

// ---- The clock

static Value get_time()
{
    return make_unsigned(static_cast<uint32_t>(calendar_seconds() + kEpoch));
}

static Value get_date()
{
    return date_of(local_time(calendar_seconds()));
}

static Value tick_count()
{
    return make_unsigned(ticks());
}

static Value milliseconds()
{
    return make_unsigned(tick_count_ms());
}

static Value sleep_ticks(Value ticks_)
{
    const uint64_t count = unsigned_value(ticks_);
    uint64_t ms = count * 16 + count * 2 / 3;
    for (; ms > UINT32_MAX; ms -= UINT32_MAX)
        sleep_ms(UINT32_MAX);
    sleep_ms(static_cast<uint32_t>(ms));
    return no_value;
}

// ---- The calendar

static Value date_to_time(Value list)
{
    const Date date = date_argument(list);
    if (date.year < -1000000 || date.year > 1000000 || date.month == INT32_MIN)
        raise_error(kErrorType, list);
    tm t = {};
    t.tm_year = date.year - 1900;
    t.tm_mon = date.month - 1;
    t.tm_mday = date.day;
    t.tm_hour = date.hour;
    t.tm_min = date.minute;
    t.tm_sec = date.second;
    t.tm_isdst = -1;
    const int64_t time = static_cast<int64_t>(mktime(&t)) + kEpoch;
    if (time < 0 || time > UINT32_MAX)
        raise_error(kErrorType, list);
    return make_unsigned(static_cast<uint32_t>(time));
}

static Value time_to_date(Value time)
{
    return date_of(time_argument(time));
}

// The Julian calendar up to 1581, the Gregorian from 1582.
static bool is_leap(int64_t year)
{
    if (year % 4 != 0)
        return false;
    return year < 1582 || year % 400 == 0 || year % 100 != 0;
}

static Value leap_year_p(Value year)
{
    return boolean(is_leap(integer_value(year)));
}

static int32_t month_of(const Date& date)
{
    if (date.month < 1 || date.month > 12)
        raise_error(kErrorType, make_integer(date.month));
    return date.month;
}

static int64_t floor_divide(int64_t a, int64_t b)
{
    return a / b - (a % b != 0 && (a < 0) != (b < 0));
}

// Leap years from the year 1 up to and without this one (below 1: less than none).
static int64_t leap_years_before(int64_t year)
{
    const int64_t last = year - 1;
    const int64_t julian = floor_divide(last, 4);
    if (year <= 1582)
        return julian;
    return julian - (last / 100 - 1581 / 100) + (last / 400 - 1581 / 400);
}

// 1 for a Sunday. The days from 5 to 14 October 1582, which the reform left out, go on counting by
// the old calendar.
static Value week_day(Value list)
{
    const Date date = date_argument(list);
    const int32_t month = month_of(date);
    int64_t day = int64_t{ date.year } * 365 + leap_years_before(date.year) + date.day;
    for (int i = 0; i < month - 1; ++i)
        day += month_lengths[i];
    if (month > 2 && is_leap(date.year))
        ++day;
    const bool reformed = date.year > 1582 || (date.year == 1582 && (month > 10 || (month == 10 && date.day >= 15)));
    if (reformed)
        day -= 10;
    // 1 January 1996, a Monday, lies at this count.
    const int64_t monday = int64_t{ 1996 } * 365 + leap_years_before(1996) + 1 - 10;
    const int64_t since = day - monday + 1;
    return make_integer(static_cast<int32_t>(since - floor_divide(since, 7) * 7) + 1);
}

static Value end_of_month(Value list)
{
    Date date = date_argument(list);
    const int32_t month = month_of(date);
    date.day = month == 2 && is_leap(date.year) ? 29 : month_lengths[month - 1];
    return make_date(date);
}

// ---- Texts

// As the system has always spelt them; the texts are ANSI.
static const char* const day_names[3][7] = {
    { "Sunday", "Monday", "Thesday", "Wednesday", "Thursday", "Friday", "Saturday" },
    { "Dimanche", "Lundi", "Mardi", "Mercredi", "Jeudi", "Vendredi", "Samedi" },
    { "Domingo", "Lunes", "Martes", "Mi\xe9rcoles", "Jueves", "Viernes", "S\xe1" "bado" },
};

static const char* const month_names[3][12] = {
    { "January", "February", "March", "April", "May", "June", "July", "August", "September", "October",
      "November", "December" },
    { "Janvier", "F\xe9vrier", "Mars", "Avril", "Mai", "Juin", "Juillet", "Ao\xfbt", "Septembre",
      "Octobre", "Novembre", "D\xe9" "cembre" },
    { "Enero", "Febrero", "Marzo", "Abril", "Mayo", "Junio", "Julio", "Agosto", "Septiembre",
      "Octubre", "Noviembre", "Diciembre" },
};

static std::string setting(const char* key, const char* fallback)
{
    return GetIntlString(key, fallback).substr(0, 32);
}

static Value long_date(const tm& t)
{
    const int language = dialog_language < 0 || dialog_language > 2 ? 0 : dialog_language;
    char text[64];
    snprintf(text, sizeof text, "%s %02d %s %d", day_names[language][t.tm_wday], t.tm_mday,
             month_names[language][t.tm_mon], t.tm_year + 1900);
    return make_string(text);
}

// The year counts from 1900: 1999 shows as 99, 2000 as 100.
static Value short_date(const tm& t)
{
    const int order = atoi(setting("iDate", "0").c_str());
    const std::string mark = setting("sDate", "/");
    const int month = t.tm_mon + 1;
    const int parts[3][3] = { { month, t.tm_mday, t.tm_year }, { t.tm_mday, month, t.tm_year },
                              { t.tm_year, month, t.tm_mday } };
    const int* const part = parts[order == 1 || order == 2 ? order : 0];
    char text[128];
    snprintf(text, sizeof text, "%d%s%02d%s%02d", part[0], mark.c_str(), part[1], mark.c_str(), part[2]);
    return make_string(text);
}

static Value iudatestring(Value time, Value long_form)
{
    const tm t = time_argument(time);
    return is_true_flag(long_form) ? long_date(t) : short_date(t);
}

static Value iutimestring(Value time, Value with_seconds)
{
    const tm t = time_argument(time);
    const std::string mark = setting("sTime", ":");
    char seconds[64] = "";
    if (is_true_flag(with_seconds))
        snprintf(seconds, sizeof seconds, "%s%02d", mark.c_str(), t.tm_sec);
    char text[256];
    if (atoi(setting("iTime", "0").c_str()) == 1) {
        snprintf(text, sizeof text, "%02d%s%02d%s", t.tm_hour, mark.c_str(), t.tm_min, seconds);
        return make_string(text);
    }
    const std::string half = t.tm_hour < 12 ? setting("s1159", "AM") : setting("s2359", "PM");
    const int hour = t.tm_hour % 12 == 0 ? 12 : t.tm_hour % 12;
    snprintf(text, sizeof text, " %d%s%02d%s %s ", hour, mark.c_str(), t.tm_min, seconds, half.c_str());
    return make_string(text);
}

// ----

static const Primitive date_time_primitives[] = {
    { "get-time", get_time, "(get-time): now in seconds, 2,082,826,800 being the beginning of 1970, UTC" },
    { "get-date", get_date, "(get-date): local time now as a list (year month day hour minute second)" },
    { "tick-count", tick_count, "(tick-count): ticks of 1/60 s since the start, unsigned 32 bits" },
    { "milliseconds", milliseconds, "(milliseconds): milliseconds since the start, unsigned 32 bits" },
    { "date->time", date_to_time,
      "(date->time date): the local date as a time. What the list leaves out is month and day 1, the "
      "rest 0. Error 2 when it is no list of integers or out of the range of times" },
    { "time->date", time_to_date,
      "(time->date time): the local date of a time, (year month day hour minute second); times before "
      "1970 are taken as its beginning" },
    { "leap-year?", leap_year_p,
      "(leap-year? year): t for a leap year: of the Julian calendar before 1582, the Gregorian since" },
    { "week-day", week_day,
      "(week-day date): 1 for a Sunday to 7 for a Saturday; error 2 with a month that is not 1 to 12" },
    { "end-of-month", end_of_month,
      "(end-of-month date): the date, in full, with the last day of its month; error 2 with a month "
      "that is not 1 to 12" },
    { "sleep", sleep_ticks, "(sleep ticks): waits for that many ticks of 1/60 s. No value" },
    { "iudatestring", iudatestring,
      "(iudatestring time long?): text of the date: by the user's settings, or with a true long? "
      "weekday, day, month and year in words" },
    { "iutimestring", iutimestring,
      "(iutimestring time seconds?): text of the time of day by the user's settings, with seconds when "
      "seconds? is true" },
};

void init_date_time()
{
    tzset();
    define_primitives(date_time_primitives);
}
