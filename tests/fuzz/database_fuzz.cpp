// Any bytes as a database: it is refused or opened; if it opens, everything is looked up, changed,
// written and compacted, and the file that comes out opens again.
#include <cstdlib>
#include <string>
#include <unistd.h>

#include "platform/file_paths.h"
#include "storage/database.h"
#include "storage/stored_file.h"

static std::string scratch_path()
{
    static std::string path;
    if (path.empty()) {
        const char* folder = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        path =
            system_path(std::string(folder) + "/kalvex-fuzz-" + std::to_string(getpid()) + ".db");
    }
    return path;
}

static void walk(DatabaseId database)
{
    for (int32_t i = 0; i < CountRecordTypes(database) && i < 40; i++) {
        const ResType type = GetIndexedType(database, i);
        for (int32_t index = 0; index < CountRecords(database, type) && index < 40; index++) {
            Handle record;
            if (GetIndexedRecord(database, type, index, RecordLoad::yes, record) != kDbGood)
                continue;
            RecordInfo info;
            if (GetRecordInfo(record, info) != kDbGood || HomeDatabase(record) != database)
                abort();
            Handle named;
            GetNamedRecord(database, type, info.name, RecordLoad::yes, named);
            if (index % 3 == 0) {
                SetRecordInfo(record, info.id + 1, info.name + "x");
            } else if (index % 3 == 1) {
                SetHandleSize(record, GetHandleSize(record) + 1);
                ChangedRecord(record);
            } else if (RemoveRecord(record) == kDbGood) {
                DisposeHandle(record);
            }
        }
        UniqueRecordId(type, { database });
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    SetStorageSync(StorageSync::none);
    const std::string path = scratch_path();
    const FileHandle file =
        CreateFileA(path.c_str(), FileAccess::read_write, FileDisposition::create_always);
    WriteFileAt(file, 0, data, static_cast<uint32_t>(size));
    CloseHandle(file);
    DatabaseId database;
    DatabaseFault fault;
    if (OpenDatabase(path, DatabaseMode::write, database, fault) == kDbGood) {
        walk(database);
        const Handle fresh = NewHandle(5);
        if (AddRecord(database, fresh, res_type("FUZZ"), 1, "name") != kDbGood)
            DisposeHandle(fresh);
        UpdateDatabase(database, true);
        CompactDatabase(database);
        const int closed = CloseDatabase(database, DatabaseClose::update_or_compact);
        if (closed == kDbGood && OpenDatabase(path, DatabaseMode::read, database, fault) != kDbGood)
            abort();
    }
    CloseAllDatabases(DatabaseClose::drop_changes);
    DisposeAllHandles();
    DeleteFileA(path.c_str());
    return 0;
}
