#include "platform/file_info.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "platform/characters.h"
#include "platform/file_faults.h"
#include "platform/file_paths.h"
#include "platform/files.h"
#include "platform/profile.h"
#include "platform/text_encoding.h"

static constexpr int64_t kTicksPerSecond = 10000000;
static constexpr char kHiddenMark[] = "user.kalvex.hidden";
static constexpr char kCreatedMark[] = "user.kalvex.created";

FileTime file_time_of(int64_t unix_seconds)
{
    return kUnixEpochFileTime + static_cast<FileTime>(unix_seconds * kTicksPerSecond);
}

int64_t unix_seconds_of(FileTime time)
{
    const int64_t ticks = static_cast<int64_t>(time - kUnixEpochFileTime);
    const int64_t seconds = ticks / kTicksPerSecond;
    return ticks % kTicksPerSecond < 0 ? seconds - 1 : seconds;
}

static bool failed()
{
    SetLastErrorFromHost(errno);
    return false;
}

static FileTime file_time(int64_t seconds, uint32_t nanoseconds)
{
    return file_time_of(seconds) + nanoseconds / 100;
}

static timespec host_time(FileTime time)
{
    const int64_t seconds = unix_seconds_of(time);
    const FileTime rest = time - file_time_of(seconds);
    return { static_cast<time_t>(seconds), static_cast<long>(rest * 100) };
}

// ---- Attributes and times

bool GetFileInfo(const char* path, FileInfo& info)
{
    const std::string host = host_path(path);
    struct statx found;
    errno = ENOENT;
    if (host.empty() ||
        statx(AT_FDCWD, host.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &found) != 0)
        return failed();
    info.folder = S_ISDIR(found.stx_mode);
    info.read_only = (found.stx_mode & S_IWUSR) == 0;
    const size_t name = host.rfind('/') + 1;
    info.hidden = (name < host.size() && host[name] == '.') ||
                  getxattr(host.c_str(), kHiddenMark, nullptr, 0) >= 0;
    info.size = found.stx_size;
    info.accessed = file_time(found.stx_atime.tv_sec, found.stx_atime.tv_nsec);
    info.written = file_time(found.stx_mtime.tv_sec, found.stx_mtime.tv_nsec);
    info.created = found.stx_mask & STATX_BTIME
                       ? file_time(found.stx_btime.tv_sec, found.stx_btime.tv_nsec)
                       : info.written;
    FileTime kept;
    if (getxattr(host.c_str(), kCreatedMark, &kept, sizeof kept) == sizeof kept)
        info.created = kept;
    return true;
}

bool SetFileTimes(const char* path, const FileTime* created, const FileTime* accessed,
                  const FileTime* written)
{
    const std::string host = host_path(path);
    timespec times[2] = { { 0, UTIME_OMIT }, { 0, UTIME_OMIT } };
    if (accessed != nullptr)
        times[0] = host_time(*accessed);
    if (written != nullptr)
        times[1] = host_time(*written);
    if (utimensat(AT_FDCWD, host.c_str(), times, 0) != 0)
        return failed();
    return created == nullptr ||
           setxattr(host.c_str(), kCreatedMark, created, sizeof *created, 0) == 0 || failed();
}

bool SetFileHidden(const char* path, bool hidden)
{
    const std::string host = host_path(path);
    if (hidden)
        return setxattr(host.c_str(), kHiddenMark, "1", 1, 0) == 0 || failed();
    return removexattr(host.c_str(), kHiddenMark) == 0 || errno == ENODATA || failed();
}

bool SetFileReadOnly(const char* path, bool read_only)
{
    const std::string host = host_path(path);
    struct stat found;
    if (stat(host.c_str(), &found) != 0)
        return failed();
    const mode_t mode = found.st_mode & 07777;
    const mode_t wanted = read_only ? mode & ~mode_t(0222) : mode | S_IWUSR;
    return chmod(host.c_str(), wanted) == 0 || failed();
}

bool FileMayBeWritten(const char* path)
{
    const std::string host = host_path(path);
    struct stat found;
    return access(host.c_str(), W_OK) == 0 && stat(host.c_str(), &found) == 0 &&
           (found.st_mode & 0222) != 0;
}

bool FolderExists(const char* path)
{
    struct stat found;
    return stat(host_path(path).c_str(), &found) == 0 && S_ISDIR(found.st_mode);
}

// ---- Folders

bool CreateDirectoryA(const char* path)
{
    return mkdir(host_path(path).c_str(), 0777) == 0 || failed();
}

bool RemoveDirectoryA(const char* path)
{
    return rmdir(host_path(path).c_str()) == 0 || failed();
}

static uint8_t folded(char c)
{
    return upper_table[static_cast<uint8_t>(c)];
}

// A "*" is tried with the shortest text first, and lengthened when what follows does not match.
static bool matches(const char* name, const char* pattern)
{
    const char* star = nullptr;
    const char* retry = nullptr;
    while (*name != 0) {
        if (*pattern == '*') {
            star = ++pattern;
            retry = name;
        } else if (*pattern != 0 && (*pattern == '?' || folded(*pattern) == folded(*name))) {
            pattern++;
            name++;
        } else if (star != nullptr) {
            pattern = star;
            name = ++retry;
        } else {
            return false;
        }
    }
    while (*pattern == '*')
        pattern++;
    return *pattern == 0;
}

static bool is_folder_entry(const std::string& folder, const dirent* entry)
{
    if (entry->d_type != DT_UNKNOWN && entry->d_type != DT_LNK)
        return entry->d_type == DT_DIR;
    struct stat found;
    return stat((folder + "/" + entry->d_name).c_str(), &found) == 0 && S_ISDIR(found.st_mode);
}

std::vector<std::string> ListFolder(const char* path, const char* pattern, Listing what)
{
    std::vector<std::string> names;
    const std::string folder = *path == 0 ? "." : host_path(path);
    DIR* directory = opendir(folder.c_str());
    if (directory == nullptr) {
        failed();
        return names;
    }
    const char* wanted = *pattern == 0 || strcmp(pattern, "*.*") == 0 ? "*" : pattern;
    while (const dirent* entry = readdir(directory)) {
        if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0)
            continue;
        const std::string name = ansi_file_name(entry->d_name);
        if (is_folder_entry(folder, entry) == (what == Listing::folders) &&
            matches(name.c_str(), wanted))
            names.push_back(name);
    }
    closedir(directory);
    std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
        return compare_collated(a.c_str(), b.c_str()) < 0;
    });
    return names;
}

std::string GetTempPathA()
{
    const char* folder = getenv("TMPDIR");
    std::string path = system_path(folder != nullptr && *folder == '/' ? folder : "/tmp");
    if (path.back() != '\\')
        path += '\\';
    return path;
}

std::string GetConfigFolder()
{
    const std::string file = profile_path();
    const size_t slash = file.rfind('/');
    return system_path(slash == std::string::npos ? "." : file.substr(0, slash));
}

// ---- Volumes

uint32_t GetFreeKilobytes(const char* path)
{
    struct statvfs found;
    if (statvfs(*path == 0 ? "." : host_path(path).c_str(), &found) != 0)
        return 0;
    const uint64_t kilobytes = uint64_t(found.f_bavail) * found.f_frsize / 1024;
    return static_cast<uint32_t>(std::min<uint64_t>(kilobytes, INT32_MAX));
}

bool IsReadOnlyDisc(const char* path)
{
    constexpr long kIso9660 = 0x9660;
    constexpr long kUdf = 0x15013346;
    struct statfs found;
    if (statfs(host_path(path).c_str(), &found) != 0)
        return false;
    return found.f_type == kIso9660 || (found.f_type == kUdf && (found.f_flags & ST_RDONLY) != 0);
}

bool ReplaceFileA(const char* from, const char* to)
{
    if (AskFileFault(FileChange::rename) != FaultAnswer::go_on) {
        SetLastError(kFileErrorDiskFull);
        return false;
    }
    return rename(host_path(from).c_str(), host_path(to).c_str()) == 0 || failed();
}

// ---- Links

static uint32_t little(const uint8_t* at, int bytes)
{
    uint32_t value = 0;
    for (int i = bytes; i-- > 0;)
        value = value << 8 | at[i];
    return value;
}

// The local base path of a shell link file: a header of 76 bytes, an item list if flag 1 is set,
// then, if flag 2 is set, the link info with the path's offset at byte 16.
static std::string shell_link_target(const std::string& path)
{
    std::vector<uint8_t> bytes(65536);
    const FileHandle file =
        CreateFileA(path.c_str(), FileAccess::read, FileDisposition::open_existing);
    const int64_t got = file == kNoFile ? -1 : ReadFile(file, bytes.data(), 65536);
    CloseHandle(file);
    if (got < 0)
        return {};
    bytes.resize(static_cast<size_t>(got));
    constexpr size_t kHeaderSize = 76;
    if (bytes.size() < kHeaderSize + 2 || little(&bytes[0], 4) != kHeaderSize)
        return {};
    const uint32_t flags = little(&bytes[20], 4);
    size_t info = kHeaderSize;
    if (flags & 1)
        info += 2 + little(&bytes[info], 2);
    if (!(flags & 2) || info + 28 > bytes.size() || !(little(&bytes[info + 8], 4) & 1))
        return {};
    const size_t target = info + little(&bytes[info + 16], 4);
    if (target >= bytes.size())
        return {};
    const char* chars = reinterpret_cast<const char*>(&bytes[target]);
    return std::string(chars, strnlen(chars, bytes.size() - target));
}

std::string ResolveLink(const char* path)
{
    const std::string host = host_path(path);
    struct stat found;
    if (!host.empty() && lstat(host.c_str(), &found) == 0 && S_ISLNK(found.st_mode)) {
        char* target = realpath(host.c_str(), nullptr);
        if (target == nullptr)
            return {};
        const std::string result = system_path(target);
        free(target);
        return result;
    }
    return shell_link_target(std::string(path) + ".lnk");
}
