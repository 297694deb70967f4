// The file is small: a call reads it whole and works on its lines.
#include "platform/profile.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <langinfo.h>
#include <locale.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

static std::string test_path;

static std::string configuration_folder()
{
    const char* const folder = getenv("XDG_CONFIG_HOME");
    if (folder && *folder)
        return folder;
    const char* const home = getenv("HOME");
    return std::string(home && *home ? home : ".") + "/.config";
}

std::string profile_path()
{
    return test_path.empty() ? configuration_folder() + "/kalvex/KALVEX.INI" : test_path;
}

void set_profile_path(const std::string& path)
{
    test_path = path;
}

// ---- Lines

static std::string trimmed(const std::string& text)
{
    const size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos)
        return "";
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

// False when there is a file that can't be read: one that must not be replaced either.
static bool read_lines(std::vector<std::string>& lines)
{
    FILE* const file = fopen(profile_path().c_str(), "rb");
    if (!file)
        return errno == ENOENT || errno == ENOTDIR;
    std::string line;
    for (int c; (c = getc(file)) != EOF;) {
        if (c != '\n') {
            line.push_back(static_cast<char>(c));
            continue;
        }
        lines.push_back(line);
        line.clear();
    }
    if (!line.empty())
        lines.push_back(line);
    const bool good = !ferror(file);
    fclose(file);
    return good;
}

static bool is_header(const std::string& line, const char* section)
{
    const std::string text = trimmed(line);
    return text.size() >= 2 && text.front() == '[' && text.back() == ']' &&
           (!section || strcasecmp(text.substr(1, text.size() - 2).c_str(), section) == 0);
}

// Where a section's lines stand; first is the line behind its header, lines.size() without one.
struct SectionRange {
    size_t first;
    size_t end;
};

static SectionRange find_section(const std::vector<std::string>& lines, const char* section)
{
    size_t first = 0;
    while (first < lines.size() && !is_header(lines[first], section))
        ++first;
    if (first < lines.size())
        ++first;
    size_t end = first;
    while (end < lines.size() && !is_header(lines[end], nullptr))
        ++end;
    return { first, end };
}

static size_t find_key(const std::vector<std::string>& lines, SectionRange range, const char* key)
{
    for (size_t i = range.first; i < range.end; ++i) {
        const size_t equals = lines[i].find('=');
        if (equals != std::string::npos && strcasecmp(trimmed(lines[i].substr(0, equals)).c_str(), key) == 0)
            return i;
    }
    return range.end;
}

// ---- Reading

static bool find_setting(const char* section, const char* key, std::string& value)
{
    std::vector<std::string> lines;
    read_lines(lines);
    const SectionRange range = find_section(lines, section);
    const size_t at = find_key(lines, range, key);
    if (at == range.end)
        return false;
    value = trimmed(lines[at].substr(lines[at].find('=') + 1));
    // Quotes keep blanks at the ends of a value.
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front())
        value = value.substr(1, value.size() - 2);
    return true;
}

std::string GetProfileString(const char* section, const char* key, const char* fallback)
{
    std::string value;
    return find_setting(section, key, value) ? value : fallback;
}

int GetProfileInt(const char* section, const char* key, int fallback)
{
    std::string value;
    return find_setting(section, key, value) ? atoi(value.c_str()) : fallback;
}

// ---- Writing

static void make_folders(const std::string& path)
{
    for (size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        mkdir(path.substr(0, slash).c_str(), 0700);
}

static bool write_all(int file, const std::string& text)
{
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = write(file, text.data() + done, text.size() - done);
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return fsync(file) == 0;
}

static bool replace_file(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += line + '\n';
    const std::string path = profile_path();
    make_folders(path);
    const std::string fresh = path + ".new." + std::to_string(getpid());
    const int file = open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (file < 0)
        return false;
    const bool written = write_all(file, text);
    const bool good = close(file) == 0 && written && rename(fresh.c_str(), path.c_str()) == 0;
    if (!good)
        unlink(fresh.c_str());
    return good;
}

// A value keeps its ends; a line end in it would begin another line.
static std::string setting_line(const char* key, const char* value)
{
    std::string text = value;
    const bool needs_quotes = text != trimmed(text) ||
                              (!text.empty() && (text.front() == '"' || text.front() == '\''));
    for (char& c : text)
        if (c == '\n' || c == '\r')
            c = ' ';
    return needs_quotes ? std::string(key) + "=\"" + text + '"' : std::string(key) + '=' + text;
}

bool WriteProfileString(const char* section, const char* key, const char* value)
{
    std::vector<std::string> lines;
    if (!read_lines(lines))
        return false;
    SectionRange range = find_section(lines, section);
    const size_t at = find_key(lines, range, key);
    if (at < range.end) {
        if (value)
            lines[at] = setting_line(key, value);
        else
            lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(at));
        return replace_file(lines);
    }
    if (!value)
        return true;
    if (range.first == lines.size() && (lines.empty() || !is_header(lines.back(), section))) {
        lines.push_back('[' + std::string(section) + ']');
        range.end = lines.size();
    }
    while (range.end > range.first && trimmed(lines[range.end - 1]).empty())
        --range.end;
    lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(range.end), setting_line(key, value));
    return replace_file(lines);
}

// ---- Date and time forms

// The C locale's forms are nobody's choice.
static locale_t user_locale()
{
    const char* name = getenv("LC_ALL");
    if (!name || !*name)
        name = getenv("LC_TIME");
    if (!name || !*name)
        name = getenv("LANG");
    if (!name || !*name || strcmp(name, "POSIX") == 0 || strcmp(name, "C") == 0 || strncmp(name, "C.", 2) == 0)
        return nullptr;
    return newlocale(LC_TIME_MASK, name, nullptr);
}

// The text between the first two conversions of a form, "/" for "%d/%m/%Y"; "" for another form.
static std::string separator(const std::string& form)
{
    const size_t begin = form.find('%') == 0 ? 2 + (form.size() > 1 && form[1] == '-') : std::string::npos;
    const size_t end = begin == std::string::npos ? begin : form.find('%', begin);
    return end == std::string::npos || end - begin > 3 ? "" : form.substr(begin, end - begin);
}

static std::string date_setting(const std::string& key, const std::string& form)
{
    if (key == "sDate")
        return form == "%D" ? "/" : form == "%F" ? "-" : separator(form);
    if (form == "%D")
        return "0";
    if (form == "%F")
        return "2";
    const size_t at = form.find_first_of("demyY");
    if (at == std::string::npos)
        return "";
    return form[at] == 'm' ? "0" : form[at] == 'd' || form[at] == 'e' ? "1" : "2";
}

static std::string time_setting(const std::string& key, const std::string& form)
{
    if (key == "sTime")
        return form == "%T" || form == "%R" || form == "%r" ? ":" : separator(form);
    if (form.find("%I") != std::string::npos || form.find("%l") != std::string::npos || form == "%r")
        return "0";
    return "1";
}

static std::string locale_setting(const std::string& key)
{
    const locale_t locale = user_locale();
    if (!locale)
        return "";
    std::string value;
    if (key == "iDate" || key == "sDate")
        value = date_setting(key, nl_langinfo_l(D_FMT, locale));
    else if (key == "iTime" || key == "sTime")
        value = time_setting(key, nl_langinfo_l(T_FMT, locale));
    else if (key == "s1159")
        value = nl_langinfo_l(AM_STR, locale);
    else if (key == "s2359")
        value = nl_langinfo_l(PM_STR, locale);
    freelocale(locale);
    // The rest of the world of characters is not that of the strings here.
    for (const char c : value)
        if (static_cast<unsigned char>(c) >= 0x80)
            return "";
    return value;
}

std::string GetIntlString(const char* key, const char* fallback)
{
    std::string value;
    if (find_setting("intl", key, value))
        return value;
    value = locale_setting(key);
    return value.empty() ? fallback : value;
}
