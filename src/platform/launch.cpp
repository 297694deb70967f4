#include "platform/launch.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "platform/file_paths.h"
#include "platform/text_encoding.h"

static uint32_t spawn(const std::string& program, const std::string& argument)
{
    char* words[] = { const_cast<char*>(program.c_str()),
                      argument.empty() ? nullptr : const_cast<char*>(argument.c_str()), nullptr };
    pid_t process = 0;
    if (posix_spawnp(&process, program.c_str(), nullptr, nullptr, words, environ) != 0)
        return 0;
    return static_cast<uint32_t>(process);
}

uint32_t LaunchProgram(const std::string& program, const std::string& argument)
{
    const std::string path = host_path(program);
    if (path.empty() || access(path.c_str(), X_OK) != 0 || std::filesystem::is_directory(path))
        return 0;
    // With a slash, so that it is not looked for along the search path.
    const std::string named = path.find('/') == std::string::npos ? "./" + path : path;
    return spawn(named, argument.empty() ? "" : host_path(argument));
}

uint32_t OpenDocument(const std::string& document)
{
    const std::string path = host_path(document);
    return access(path.c_str(), F_OK) == 0 ? spawn("xdg-open", path) : 0;
}

bool ProgramRuns(uint32_t process)
{
    return process != 0 && waitpid(static_cast<pid_t>(process), nullptr, WNOHANG) == 0;
}

// ---- The menu ----

static std::filesystem::path menu_folder()
{
    const char* data = getenv("XDG_DATA_HOME");
    if (data != nullptr && *data == '/')
        return std::filesystem::path(data) / "applications";
    const char* home = getenv("HOME");
    return std::filesystem::path(home == nullptr ? "/" : home) / ".local/share/applications";
}

// A name from outside may not lead out of the menu.
static bool is_plain_name(const std::string& name)
{
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of("/\n") == std::string::npos;
}

bool AddProgramGroup(const std::string& group)
{
    const std::string name = host_file_name(group);
    std::error_code error;
    if (!is_plain_name(name))
        return false;
    std::filesystem::create_directories(menu_folder() / name, error);
    return !error;
}

// Quoted as the desktop entry format asks of the Exec line.
static std::string exec_word(const std::string& path)
{
    std::string word = "\"";
    for (const char c : path) {
        if (c == '\\')
            word += "\\\\\\"; // a backslash is escaped at both levels
        else if (strchr("\"`$", c) != nullptr)
            word += "\\\\";
        else if (c == '%')
            word += '%';
        word += c;
    }
    return word + "\"";
}

bool AddProgramItem(const std::string& program, const std::string& group, const std::string& item)
{
    const std::string name = host_file_name(item);
    const std::string target = std::filesystem::absolute(host_path(program)).string();
    if (!is_plain_name(name) || target.find('\n') != std::string::npos || !AddProgramGroup(group))
        return false;
    const std::filesystem::path entry = menu_folder() / host_file_name(group) / (name + ".desktop");
    std::error_code error;
    std::filesystem::remove(entry, error);
    std::ofstream stream(entry);
    stream << "[Desktop Entry]\nType=Application\nName=" << utf8_from_ansi(item)
           << "\nExec=" << exec_word(target) << "\n";
    stream.close();
    return !stream.fail();
}
