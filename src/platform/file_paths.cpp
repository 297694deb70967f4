#include "platform/file_paths.h"

#include <dirent.h>
#include <sys/stat.h>

#include "platform/text_encoding.h"

static bool is_separator(char c)
{
    return c == '\\' || c == '/';
}

static bool exists(const std::string& path)
{
    struct stat found;
    return lstat(path.c_str(), &found) == 0;
}

// The host name of an entry of folder that equals name but for case; empty if there is none.
static std::string find_without_case(const std::string& folder, std::string_view name)
{
    DIR* directory = opendir(folder.empty() ? "." : folder.c_str());
    if (directory == nullptr)
        return {};
    std::string found;
    while (const dirent* entry = readdir(directory)) {
        if (ansi_equal_without_case(ansi_file_name(entry->d_name), name)) {
            found = entry->d_name;
            break;
        }
    }
    closedir(directory);
    return found;
}

// Goes down name by name. Once a folder is missing, the rest is taken as spelt.
static std::string walk_without_case(std::string_view rest, std::string path)
{
    bool missing = false;
    while (!rest.empty()) {
        size_t end = 0;
        while (end < rest.size() && !is_separator(rest[end]))
            end++;
        const std::string_view name = rest.substr(0, end);
        rest.remove_prefix(end < rest.size() ? end + 1 : end);
        if (name.empty())
            continue;
        const std::string spelt = host_file_name(name);
        std::string found;
        if (!missing && !exists(path + spelt)) {
            found = find_without_case(path, name);
            missing = found.empty();
        }
        path += found.empty() ? spelt : found;
        if (!rest.empty())
            path += '/';
    }
    return path;
}

static std::string as_spelt(std::string_view rest, std::string path)
{
    size_t start = 0;
    for (size_t i = 0; i <= rest.size(); i++) {
        if (i < rest.size() && !is_separator(rest[i]))
            continue;
        if (i > start)
            path += host_file_name(rest.substr(start, i - start));
        if (i < rest.size() && !path.empty() && path.back() != '/')
            path += '/';
        start = i + 1;
    }
    return path;
}

// Takes the drive off a path; false for a path that nothing can stand under.
static bool take_drive(std::string_view& path)
{
    if (path.find('\0') != std::string_view::npos || path.empty())
        return false;
    if (path.size() < 2 || path[1] != ':')
        return true;
    if (path[0] != 'C' && path[0] != 'c')
        return false;
    path.remove_prefix(2);
    if (path.empty())
        path = "\\";
    return true;
}

std::string spelt_host_path(std::string_view system_path)
{
    if (!take_drive(system_path))
        return {};
    return as_spelt(system_path, is_separator(system_path[0]) ? "/" : "");
}

std::string host_path(std::string_view system_path)
{
    const std::string path = spelt_host_path(system_path);
    if (path.empty() || exists(path))
        return path;
    take_drive(system_path);
    return walk_without_case(system_path, is_separator(system_path[0]) ? "/" : "");
}

std::string system_path(std::string_view host)
{
    std::string path = !host.empty() && host[0] == '/' ? "C:\\" : "";
    size_t start = 0;
    for (size_t i = 0; i <= host.size(); i++) {
        if (i < host.size() && host[i] != '/')
            continue;
        if (i > start) {
            path += ansi_file_name(host.substr(start, i - start));
            if (i < host.size())
                path += '\\';
        }
        start = i + 1;
    }
    return path;
}
