// Record databases: files of named, typed, time-stamped records (docs/formats/database.md). An open
// one is known by a number that is never given twice. A record's Handle belongs to its database
// until it is released or detached, or the database is closed.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "storage/handles.h"
#include "storage/typed_map.h"

using DatabaseId = uint32_t;
constexpr DatabaseId kNoDatabase = 0;

enum DatabaseStatus : int {
    kDbGood = 0,
    kDbBadFile = 1, // the structure is wrong
    kDbNoMemory = 2,
    kDbCannotRead = 3,
    kDbNotFound = 5, // record or database
    kDbCannotAdd = 7,
    kDbProtected = 8,
    kDbReadOnly = 9,
    // Without a number of their own in the Lisp:
    kDbFileFailed, // the file can't be opened or written: GetLastError tells why
    kDbOverlap,    // compaction met records that overlap; nothing was changed
};

// What is wrong with a file that was refused: a text, numbers, or both.
struct DatabaseFault {
    const char* text = nullptr;
    std::vector<uint32_t> numbers;
};

enum class DatabaseMode : uint8_t { read = 0, write_or_read = 1, write = 2 };
enum class RecordLoad { yes, no };

struct RecordInfo {
    int32_t id = 0;
    ResType type = 0;
    std::string name;
    uint8_t attributes = 0;
    uint32_t time = 0;
    int32_t size = -1; // in memory, or in the file when it is not loaded; -1 when never written
};

// ---- Databases ----

// Lays an empty database into a file that exists.
int CreateDatabase(const std::string& path, ResType creator, ResType type);
bool IsDatabaseFile(const std::string& path);

int OpenDatabase(const std::string& path, DatabaseMode mode, DatabaseId& opened,
                 DatabaseFault& fault);
// The database is closed whatever the status.
enum class DatabaseClose { drop_changes, update, update_or_compact };
int CloseDatabase(DatabaseId database, DatabaseClose how);
void CloseAllDatabases(DatabaseClose how);
void AbandonAllDatabases(); // as a process that dies does: for crash tests

bool DatabaseIsOpen(DatabaseId database);
DatabaseMode ModeOfDatabase(DatabaseId database);
DatabaseId HomeDatabase(Handle record); // kNoDatabase: no record

// Writes what has changed. When less than 7 tenths of the data area is in use, and may_compact says
// so, the whole file is compacted.
int UpdateDatabase(DatabaseId database, bool may_compact);
int CompactDatabase(DatabaseId database);

// ---- Finding: indexes count from 0 ----

int32_t CountRecords(DatabaseId database, ResType type);
int32_t CountRecordTypes(DatabaseId database);
ResType GetIndexedType(DatabaseId database, int32_t index); // 0 when out of range
int GetIndexedRecord(DatabaseId database, ResType type, int32_t index, RecordLoad load,
                     Handle& record);
int GetRecord(DatabaseId database, ResType type, int32_t id, RecordLoad load, Handle& record);
int GetNamedRecord(DatabaseId database, ResType type, std::string_view name, RecordLoad load,
                   Handle& record);
int32_t UniqueRecordId(ResType type, const std::vector<DatabaseId>& databases);

// ---- One record ----

int LoadRecord(Handle record);
int WriteRecord(Handle record);
int ReleaseRecord(Handle record);
int DetachRecord(Handle record);
int GetRecordInfo(Handle record, RecordInfo& info);
int SetRecordInfo(Handle record, int32_t id, std::string_view name);
int SetRecordAttributes(Handle record, uint8_t attributes);
int ChangedRecord(Handle record);
int AddRecord(DatabaseId database, Handle handle, ResType type, int32_t id, std::string_view name);
int RemoveRecord(Handle record);
