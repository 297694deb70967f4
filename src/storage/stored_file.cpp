#include "storage/stored_file.h"

#include <unistd.h>

static constexpr int kLockTries = 100; // 10 ms apart: an update takes less

// Waits a moment for another process's change to end.
static bool hold_changes_off(FileHandle file)
{
    for (int i = 0; i < kLockTries; i++) {
        if (SetFileLock(file, FileLock::update, FileLockMode::shared))
            return true;
        if (GetLastError() != kFileErrorInUse)
            return true; // a file system without locks
        usleep(10000);
    }
    return false;
}

static bool open_for_writing(StoredFile& stored)
{
    stored.file =
        CreateFileA(stored.path.c_str(), FileAccess::read_write, FileDisposition::open_existing);
    if (stored.file == kNoFile)
        return false;
    stored.writable = true;
    const bool ours = SetFileLock(stored.file, FileLock::writer, FileLockMode::exclusive) ||
                      GetLastError() != kFileErrorInUse;
    if (ours) {
        SetFileLock(stored.file, FileLock::update, FileLockMode::exclusive);
        const JournalFound found = RestoreFromJournal(stored.file, stored.path);
        SetFileLock(stored.file, FileLock::update, FileLockMode::none);
        if (found != JournalFound::failed)
            return true;
    }
    const uint32_t error = ours ? uint32_t(kFileErrorDenied) : uint32_t(kFileErrorInUse);
    AbandonStoredFile(stored);
    SetLastError(error);
    return false;
}

// A journal without a living writer means a half-done change that only a writer can undo.
static bool open_for_reading(StoredFile& stored)
{
    stored.file =
        CreateFileA(stored.path.c_str(), FileAccess::read, FileDisposition::open_existing);
    if (stored.file == kNoFile)
        return false;
    stored.writable = false;
    if (!JournalIsHot(stored.file, stored.path))
        return true;
    if (SetFileLock(stored.file, FileLock::writer, FileLockMode::shared)) {
        AbandonStoredFile(stored);
        SetLastError(kFileErrorDenied);
        return false;
    }
    return true;
}

bool OpenStoredFile(StoredFile& stored, const std::string& path, OpenMode mode)
{
    stored = StoredFile();
    stored.path = path;
    if (mode != OpenMode::read && open_for_writing(stored))
        return true;
    if (mode == OpenMode::write)
        return false;
    if (open_for_reading(stored))
        return true;
    // What is only read is still restored, where that is possible.
    if (mode != OpenMode::read || GetLastError() != kFileErrorDenied || !open_for_writing(stored))
        return false;
    AbandonStoredFile(stored);
    return open_for_reading(stored);
}

void AbandonStoredFile(StoredFile& stored)
{
    if (stored.journal.file != kNoFile)
        CloseHandle(stored.journal.file);
    if (stored.file != kNoFile)
        CloseHandle(stored.file);
    stored.journal = Journal();
    stored.file = kNoFile;
}

void CloseStoredFile(StoredFile& stored)
{
    if (stored.file != kNoFile)
        RollBackStored(stored);
    AbandonStoredFile(stored);
}

StoredReading::StoredReading(StoredFile& reading) : stored(reading), held(true)
{
    if (!stored.writable)
        held = hold_changes_off(stored.file);
}

StoredReading::~StoredReading()
{
    if (!stored.writable)
        SetFileLock(stored.file, FileLock::update, FileLockMode::none);
}

bool ReadStored(StoredFile& stored, uint32_t offset, void* bytes, uint32_t count)
{
    return ReadFileAt(stored.file, offset, bytes, count);
}

bool SaveStored(StoredFile& stored, const std::vector<ByteRange>& ranges)
{
    if (!stored.writable)
        return false;
    if (stored.journal.file == kNoFile &&
        !SetFileLock(stored.file, FileLock::update, FileLockMode::exclusive) &&
        GetLastError() == kFileErrorInUse) {
        // A reader is at it; it does not stay long.
        bool got = false;
        for (int i = 0; i < kLockTries && !got; i++) {
            usleep(10000);
            got = SetFileLock(stored.file, FileLock::update, FileLockMode::exclusive);
        }
        if (!got)
            return false;
    }
    if (SaveInJournal(stored.journal, stored.file, stored.path, ranges))
        return true;
    if (stored.journal.file == kNoFile)
        SetFileLock(stored.file, FileLock::update, FileLockMode::none);
    return false;
}

bool WriteStored(StoredFile& stored, uint32_t offset, const void* bytes, uint32_t count)
{
    return WriteFileAt(stored.file, offset, bytes, count);
}

bool CutStored(StoredFile& stored, uint32_t size)
{
    return GetFileSize(stored.file) == size || SetFileSize(stored.file, size);
}

bool CommitStored(StoredFile& stored)
{
    if (!CommitJournal(stored.journal, stored.file))
        return false;
    SetFileLock(stored.file, FileLock::update, FileLockMode::none);
    return true;
}

void RollBackStored(StoredFile& stored)
{
    if (RollBackJournal(stored.journal, stored.file))
        SetFileLock(stored.file, FileLock::update, FileLockMode::none);
}
