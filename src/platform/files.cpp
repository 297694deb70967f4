#include "platform/files.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "platform/file_faults.h"
#include "platform/file_paths.h"

struct OpenFile {
    int descriptor = -1;
    uint16_t generation = 0;
    bool writable = false;
    bool changed = false; // since the last sync
    std::string path;     // the host's
};

static constexpr uint32_t kMostOpenFiles = 0xffff;
static constexpr off_t kLockOffset = off_t(1) << 62; // locks stand where no file has bytes

static std::vector<OpenFile> open_files; // a handle is generation << 16 | index + 1
static uint32_t last_error = kFileErrorNone;

uint32_t GetLastError()
{
    return last_error;
}

void SetLastError(uint32_t error)
{
    last_error = error;
}

static uint32_t error_of_errno(int number)
{
    switch (number) {
    case ENOENT:
    case ENOTDIR:
    case ENAMETOOLONG:
    case ELOOP:
        return kFileErrorNotFound;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
    case ETXTBSY:
    case ENOTEMPTY:
        return kFileErrorDenied;
    case EXDEV:
        return kFileErrorNotSameDevice;
    case EMFILE:
    case ENFILE:
        return kFileErrorTooManyOpen;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return kFileErrorDiskFull;
    case EEXIST:
        return kFileErrorExists;
    default:
        return kFileErrorGeneral;
    }
}

void SetLastErrorFromHost(int number)
{
    last_error = error_of_errno(number);
}

static bool failed(uint32_t error)
{
    last_error = error;
    return false;
}

static bool failed_by_errno()
{
    return failed(error_of_errno(errno));
}

// Write protection holds for every user: the superuser's permissions would pass it by.
static bool is_write_protected(const struct stat& file)
{
    return S_ISREG(file.st_mode) && (file.st_mode & 0222) == 0;
}

static bool refused(FileChange change)
{
    if (AskFileFault(change) == FaultAnswer::go_on)
        return false;
    last_error = kFileErrorDiskFull;
    return true;
}

static OpenFile* open_file(FileHandle file)
{
    const uint32_t index = (file & 0xffff) - 1;
    if (file != kNoFile && index < open_files.size() && open_files[index].descriptor >= 0 &&
        open_files[index].generation == file >> 16)
        return &open_files[index];
    last_error = kFileErrorBadHandle;
    return nullptr;
}

// ---- Opening and closing ----

static FileHandle enter_file(int descriptor, const std::string& path, FileAccess mode)
{
    uint32_t index = 0;
    while (index < open_files.size() && open_files[index].descriptor >= 0)
        index++;
    if (index == open_files.size()) {
        if (index == kMostOpenFiles) {
            close(descriptor);
            failed(kFileErrorTooManyOpen);
            return kNoFile;
        }
        open_files.emplace_back();
    }
    OpenFile& file = open_files[index];
    file.descriptor = descriptor;
    file.writable = mode == FileAccess::read_write;
    file.changed = false;
    file.path = path;
    return uint32_t(file.generation) << 16 | (index + 1);
}

FileHandle CreateFileA(const char* path, FileAccess mode, FileDisposition disposition)
{
    const std::string host = host_path(path);
    if (host.empty()) {
        failed(kFileErrorNotFound);
        return kNoFile;
    }
    const bool creates = disposition != FileDisposition::open_existing;
    const bool is_new = creates && access(host.c_str(), F_OK) != 0;
    if (creates && refused(FileChange::create))
        return kNoFile;
    int flags = O_CLOEXEC | O_NONBLOCK | // a pipe must not keep us waiting
                 (mode == FileAccess::read ? O_RDONLY : O_RDWR);
    if (creates)
        flags |= O_CREAT | (disposition == FileDisposition::create_new ? O_EXCL : 0);
    const int descriptor = open(host.c_str(), flags, 0666);
    struct stat found;
    if (descriptor < 0 || fstat(descriptor, &found) != 0) {
        failed_by_errno();
        return kNoFile;
    }
    const bool is_protected = mode == FileAccess::read_write && is_write_protected(found);
    if (is_protected || S_ISDIR(found.st_mode) || S_ISFIFO(found.st_mode)) {
        close(descriptor);
        failed(kFileErrorDenied);
        return kNoFile;
    }
    if (is_new && WatchingUnsynced())
        NoteFileCreated(host);
    const FileHandle file = enter_file(descriptor, host, mode);
    if (file != kNoFile && disposition == FileDisposition::create_always && found.st_size != 0 &&
        !SetFileSize(file, 0)) {
        CloseHandle(file);
        return kNoFile;
    }
    return file;
}

bool CloseHandle(FileHandle handle)
{
    OpenFile* file = open_file(handle);
    if (file == nullptr)
        return false;
    close(file->descriptor);
    file->descriptor = -1;
    file->generation++;
    return true;
}

bool FileIsWritable(FileHandle handle)
{
    const OpenFile* file = open_file(handle);
    return file != nullptr && file->writable;
}

bool SameFile(FileHandle first, FileHandle second)
{
    const OpenFile* a = open_file(first);
    const OpenFile* b = open_file(second);
    struct stat one, other;
    return a != nullptr && b != nullptr && fstat(a->descriptor, &one) == 0 &&
           fstat(b->descriptor, &other) == 0 && one.st_dev == other.st_dev &&
           one.st_ino == other.st_ino;
}

// ---- Bytes ----

bool ReadFileAt(FileHandle handle, uint64_t offset, void* bytes, uint32_t count)
{
    const OpenFile* file = open_file(handle);
    if (file == nullptr)
        return false;
    char* at = static_cast<char*>(bytes);
    while (count > 0) {
        const ssize_t got = pread(file->descriptor, at, count, static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return failed_by_errno();
        if (got == 0)
            return failed(kFileErrorEof);
        at += got;
        offset += static_cast<uint64_t>(got);
        count -= static_cast<uint32_t>(got);
    }
    return true;
}

bool WriteFileAt(FileHandle handle, uint64_t offset, const void* bytes, uint32_t count)
{
    OpenFile* file = open_file(handle);
    if (file == nullptr)
        return false;
    if (!file->writable)
        return failed(kFileErrorDenied);
    const FaultAnswer answer = AskFileFault(FileChange::write);
    if (answer == FaultAnswer::fail)
        return failed(kFileErrorDiskFull);
    if (answer == FaultAnswer::half)
        count /= 2;
    if (WatchingUnsynced())
        NoteFileWrite(file->descriptor, file->path, offset, count);
    file->changed = true;
    const char* at = static_cast<const char*>(bytes);
    while (count > 0) {
        const ssize_t put = pwrite(file->descriptor, at, count, static_cast<off_t>(offset));
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return failed_by_errno();
        at += put;
        offset += static_cast<uint64_t>(put);
        count -= static_cast<uint32_t>(put);
    }
    return answer == FaultAnswer::go_on || failed(kFileErrorDiskFull);
}

int64_t ReadFile(FileHandle handle, void* bytes, uint32_t count)
{
    const OpenFile* file = open_file(handle);
    if (file == nullptr)
        return -1;
    char* at = static_cast<char*>(bytes);
    uint32_t moved = 0;
    while (moved < count) {
        const ssize_t got = read(file->descriptor, at + moved, count - moved);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return failed_by_errno() ? 0 : -1;
        if (got == 0)
            break;
        moved += static_cast<uint32_t>(got);
    }
    return moved;
}

int64_t WriteFile(FileHandle handle, const void* bytes, uint32_t count)
{
    const int64_t position = SetFilePointer(handle, 0, FileOrigin::current);
    if (position < 0 || !WriteFileAt(handle, static_cast<uint64_t>(position), bytes, count))
        return -1;
    return SetFilePointer(handle, count, FileOrigin::current) < 0 ? -1 : int64_t(count);
}

int64_t SetFilePointer(FileHandle handle, int64_t distance, FileOrigin origin)
{
    const OpenFile* file = open_file(handle);
    if (file == nullptr)
        return -1;
    const int whence = origin == FileOrigin::start ? SEEK_SET
                       : origin == FileOrigin::end ? SEEK_END
                                                   : SEEK_CUR;
    const off_t position = lseek(file->descriptor, distance, whence);
    if (position < 0)
        failed_by_errno();
    return position;
}

int64_t GetFileSize(FileHandle handle)
{
    const OpenFile* file = open_file(handle);
    struct stat found;
    if (file == nullptr)
        return -1;
    if (fstat(file->descriptor, &found) != 0) {
        failed_by_errno();
        return -1;
    }
    return found.st_size;
}

bool SetFileSize(FileHandle handle, uint64_t size)
{
    OpenFile* file = open_file(handle);
    if (file == nullptr)
        return false;
    if (!file->writable)
        return failed(kFileErrorDenied);
    if (refused(FileChange::truncate))
        return false;
    const uint64_t old = static_cast<uint64_t>(GetFileSize(handle));
    if (WatchingUnsynced())
        NoteFileWrite(file->descriptor, file->path, size, old > size ? old - size : 0);
    file->changed = true;
    return ftruncate(file->descriptor, static_cast<off_t>(size)) == 0 || failed_by_errno();
}

bool FlushFileBuffers(FileHandle handle)
{
    OpenFile* file = open_file(handle);
    if (file == nullptr)
        return false;
    if (!file->changed)
        return true;
    if (refused(FileChange::sync))
        return false;
    if (!SyncsAreSimulated() && fdatasync(file->descriptor) != 0)
        return failed_by_errno();
    file->changed = false;
    if (WatchingUnsynced())
        NoteFileSynced(file->path);
    return true;
}

bool SetFileLock(FileHandle handle, FileLock lock, FileLockMode mode)
{
    const OpenFile* file = open_file(handle);
    if (file == nullptr)
        return false;
    struct flock range = {};
    range.l_type = mode == FileLockMode::none     ? F_UNLCK
                   : mode == FileLockMode::shared ? F_RDLCK
                                                  : F_WRLCK;
    range.l_whence = SEEK_SET;
    range.l_start = kLockOffset + (lock == FileLock::update ? 1 : 0);
    range.l_len = 1;
    if (fcntl(file->descriptor, F_OFD_SETLK, &range) == 0)
        return true;
    return failed(errno == EAGAIN || errno == EACCES ? uint32_t(kFileErrorInUse)
                                                     : error_of_errno(errno));
}

// ---- Names ----

bool FileExists(const char* path)
{
    struct stat found;
    const std::string host = host_path(path);
    return !host.empty() && stat(host.c_str(), &found) == 0 && !S_ISDIR(found.st_mode);
}

bool DeleteFileA(const char* path)
{
    const std::string host = host_path(path);
    if (host.empty())
        return failed(kFileErrorNotFound);
    struct stat found;
    if (lstat(host.c_str(), &found) == 0 && is_write_protected(found))
        return failed(kFileErrorDenied);
    if (refused(FileChange::remove))
        return false;
    if (WatchingUnsynced())
        NoteFileRemoved(host);
    return unlink(host.c_str()) == 0 || failed_by_errno();
}

bool MoveFileA(const char* from, const char* to)
{
    const std::string source = host_path(from);
    const std::string target = host_path(to);
    if (source.empty() || target.empty())
        return failed(kFileErrorNotFound);
    if (refused(FileChange::rename))
        return false;
    // A name that differs in case only finds the file itself; it may then be renamed as spelt.
    const std::string spelt = target == source ? spelt_host_path(to) : target;
    return renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, spelt.c_str(), RENAME_NOREPLACE) == 0 ||
           failed_by_errno();
}

bool FlushFolderOf(const char* path)
{
    const std::string host = host_path(path);
    const size_t slash = host.rfind('/');
    const std::string folder = slash == std::string::npos ? "."
                               : slash == 0               ? "/"
                                                          : host.substr(0, slash);
    if (refused(FileChange::sync))
        return false;
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
        return failed_by_errno();
    const bool done = SyncsAreSimulated() || fsync(descriptor) == 0;
    close(descriptor);
    if (WatchingUnsynced())
        NoteFolderSynced(folder);
    return done || failed_by_errno();
}
