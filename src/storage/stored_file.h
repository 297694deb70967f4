// A file of ours that is open for reading or changing: resource file or database. One process at a
// time may change it; changes are journaled, from the first one to the commit.
#pragma once

#include "storage/journal.h"

enum class OpenMode { read, write_or_read, write };

struct StoredFile {
    FileHandle file = kNoFile;
    std::string path;
    bool writable = false;
    Journal journal;
};

// Opens the file and restores it from a journal that an interrupted update left. With write_or_read
// a file that is protected, or that another process may change, is opened for reading. False when
// nothing could be opened; GetLastError then tells why (kFileErrorInUse: another process changes
// the file just now, or holds it for writing).
bool OpenStoredFile(StoredFile& stored, const std::string& path, OpenMode mode);

// Closes without ending a change: one in progress is rolled back.
void CloseStoredFile(StoredFile& stored);

// For crash tests: forgets the file as a process that dies does.
void AbandonStoredFile(StoredFile& stored);

// Reads while no other process is amid a change.
bool ReadStored(StoredFile& stored, uint32_t offset, void* bytes, uint32_t count);

// Every range that WriteStored or CutStored will touch is announced first.
bool SaveStored(StoredFile& stored, const std::vector<ByteRange>& ranges);
bool WriteStored(StoredFile& stored, uint32_t offset, const void* bytes, uint32_t count);
bool CutStored(StoredFile& stored, uint32_t size);

// Ends a change: by making it last, or by undoing it. After a commit that failed it is still open.
bool CommitStored(StoredFile& stored);
void RollBackStored(StoredFile& stored);

// Holds other processes' changes off while several reads belong together. Of no effect for the
// writer itself.
struct StoredReading {
    explicit StoredReading(StoredFile& reading);
    ~StoredReading();
    StoredReading(const StoredReading&) = delete;
    StoredReading& operator=(const StoredReading&) = delete;
    StoredFile& stored;
    bool held; // false: a change by another process does not end
};
