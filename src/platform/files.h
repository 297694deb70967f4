// Open files, after Win32's calls. Paths are system paths (see file_paths.h). A FileHandle names an
// open file until CloseHandle; a dead or foreign one is refused by every call.
#pragma once

#include <cstdint>

using FileHandle = uint32_t;
constexpr FileHandle kNoFile = 0;

enum class FileAccess { read, read_write };
enum class FileDisposition { open_existing, create_always, create_new };
enum class FileOrigin { start, current, end };

// What GetLastError tells after a call that failed.
enum FileError : uint32_t {
    kFileErrorNone = 0,
    kFileErrorNotFound = 2,
    kFileErrorDenied = 5, // also write protection and folders
    kFileErrorBadHandle = 6,
    kFileErrorNotSameDevice = 17,
    kFileErrorTooManyOpen = 24,
    kFileErrorDiskFull = 28,
    kFileErrorGeneral = 31,
    kFileErrorInUse = 32, // another process holds the lock
    kFileErrorEof = 38,
    kFileErrorExists = 80,
};

uint32_t GetLastError();
void SetLastError(uint32_t error);
void SetLastErrorFromHost(int number); // an errno

// kNoFile when it fails. create_always truncates what is there. Folders and pipes cannot be
// opened, nor a write-protected file for writing.
FileHandle CreateFileA(const char* path, FileAccess access, FileDisposition disposition);
bool CloseHandle(FileHandle file);
bool FileIsWritable(FileHandle file);

// Bytes moved from or to the file's position, -1 when the call fails; 0 read at the end.
int64_t ReadFile(FileHandle file, void* bytes, uint32_t count);
int64_t WriteFile(FileHandle file, const void* bytes, uint32_t count);

// True when all count bytes were moved; the file's position stays where it was.
bool ReadFileAt(FileHandle file, uint64_t offset, void* bytes, uint32_t count);
bool WriteFileAt(FileHandle file, uint64_t offset, const void* bytes, uint32_t count);

// The new position, -1 on failure (before the start, a dead handle).
int64_t SetFilePointer(FileHandle file, int64_t distance, FileOrigin origin);
int64_t GetFileSize(FileHandle file); // -1 on failure
bool SetFileSize(FileHandle file, uint64_t size);

// Until it returns true, what was written may be lost with the power.
bool FlushFileBuffers(FileHandle file);

// Whether both handles are open on one file, whatever path it was opened by.
bool SameFile(FileHandle first, FileHandle second);

// Two advisory locks that processes share on a file, released with the handle or with the process.
// Who may change a file holds writer; update is held exclusively while its bytes change, and shared
// by readers who must not see half a change. Both give up at once when another handle is in the way
// (kFileErrorInUse).
enum class FileLock { writer, update };
enum class FileLockMode { none, shared, exclusive };
bool SetFileLock(FileHandle file, FileLock lock, FileLockMode mode);

bool DeleteFileA(const char* path); // not when it is write-protected
bool MoveFileA(const char* from, const char* to); // never replaces what is there
// Makes names that were created or deleted in the folder of path survive a loss of power.
bool FlushFolderOf(const char* path);
bool FileExists(const char* path); // and is no folder
