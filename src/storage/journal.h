// The rollback journal that makes an update of a file whole or none: what will be overwritten is
// first copied into "<file>-journal" beside it, synced, and the journal removed when the update
// stands on disk. A journal that is found when a file is opened puts the old state back.
// docs/formats/journal.md has its bytes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/files.h"

struct ByteRange {
    uint32_t offset;
    uint32_t length;
};

// What an update survives. full: the death of the process and the loss of power. process: the death
// of the process; after a loss of power the file may be damaged. none: neither, nothing is saved.
enum class StorageSync { full, process, none };
void SetStorageSync(StorageSync level);
StorageSync GetStorageSync();

struct Journal {
    FileHandle file = kNoFile; // kNoFile: no update is in progress
    std::string path;
    uint32_t original_size = 0;
    uint32_t end = 0; // of the journal
    std::vector<ByteRange> saved;
};

// Saves the ranges, as far as they lie in the target's old size and are not saved yet; the first
// call begins the update. When it fails nothing of those ranges may be written.
bool SaveInJournal(Journal& journal, FileHandle target, const std::string& target_path,
                   const std::vector<ByteRange>& ranges);

// Ends the update: the new state stands. False when that could not be made sure of; the caller then
// rolls back.
bool CommitJournal(Journal& journal, FileHandle target);

// Puts the old bytes and the old size back. False when that failed: the journal then stays, the
// next opening of the file does it.
bool RollBackJournal(Journal& journal, FileHandle target);

enum class JournalFound { none, restored, failed };
bool JournalIsHot(FileHandle target, const std::string& target_path);
// For a file being opened, held for writing by nobody else.
JournalFound RestoreFromJournal(FileHandle target, const std::string& target_path);

uint32_t crc32_of(const void* bytes, uint32_t count, uint32_t before = 0);
