// What is known of a file beside its bytes, and folders, after Win32's calls. Paths are system
// paths. A call that fails answers false and leaves GetLastError.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// 100 ns since 1 January 1601, as Win32 counts.
using FileTime = uint64_t;
constexpr FileTime kUnixEpochFileTime = 116444736000000000;

FileTime file_time_of(int64_t unix_seconds);
int64_t unix_seconds_of(FileTime time);

// Hidden is a name with a leading dot, or a mark that is kept with the file (an extended
// attribute). Read-only is the lack of write permission. A creation time that was set is kept with
// the file too, since the host lets none be changed.
struct FileInfo {
    bool folder = false;
    bool read_only = false;
    bool hidden = false;
    uint64_t size = 0;
    FileTime created = 0;
    FileTime accessed = 0;
    FileTime written = 0;
};

bool GetFileInfo(const char* path, FileInfo& info);
bool SetFileTimes(const char* path, const FileTime* created, const FileTime* accessed,
                  const FileTime* written); // null: as it is
bool SetFileHidden(const char* path, bool hidden);
bool SetFileReadOnly(const char* path, bool read_only);
bool FolderExists(const char* path);

bool CreateDirectoryA(const char* path);
bool RemoveDirectoryA(const char* path); // an empty one

// Names in a folder that match a pattern ("*" any text, "?" any character, "*.*" everything),
// without case, in alphabetical order.
enum class Listing { files, folders };
std::vector<std::string> ListFolder(const char* path, const char* pattern, Listing what);

std::string GetTempPathA();                  // ends with "\"
std::string GetConfigFolder();               // where the user's settings lie
uint32_t GetFreeKilobytes(const char* path); // 0 when nothing is known; stops at 2^31 - 1
bool IsReadOnlyDisc(const char* path);       // a CD-ROM or its like
bool FileMayBeWritten(const char* path);

// Puts from in the place of to, as one step.
bool ReplaceFileA(const char* from, const char* to);

// Where a symbolic link, or the shell link "<path>.lnk", leads; empty for neither.
std::string ResolveLink(const char* path);
