// Record databases for Lisp. A database is a pointer of kind 12 to its number, a record one of kind
// 13 to its handle. Failures are errors of the databases' own family.
#include <vector>

#include "kernel/errors.h"
#include "kernel/primitive.h"
#include "kernel/printer.h"
#include "kernel/symbols.h"
#include "platform/files.h"
#include "storage/bytes.h"
#include "storage/database.h"
#include "storage/database_arguments.h"
#include "storage/journal.h"
#include "storage/pathname.h"
#include "storage/storage_arguments.h"
#include "storage/storage_primitives.h"

static Value symbol_compact_databases;

// ---- Arguments and errors ----

DatabaseId database_argument(Value pointer)
{
    const DatabaseId database = pointer_of(pointer);
    if (pointer_kind(pointer) != kPointerDatabase || !DatabaseIsOpen(database))
        raise_error_1011(kDbNotFound);
    return database;
}

Value make_record(Handle record)
{
    return make_handle_pointer(kPointerRecord, record);
}

void check_database(int status, Value about)
{
    switch (status) {
    case kDbGood:
        return;
    case kDbFileFailed:
        raise_file_error(about);
    case kDbOverlap:
        internal_error_dialog("Bad Record Compaction");
        throw_toplevel();
    default:
        raise_error_1011(status);
    }
}

bool may_compact_databases()
{
    return global_value(symbol_compact_databases) != nil;
}

DatabaseClose usual_database_close()
{
    return may_compact_databases() ? DatabaseClose::update_or_compact : DatabaseClose::update;
}

static RecordLoad load_argument(Value no_load)
{
    return is_true_flag(no_load) ? RecordLoad::no : RecordLoad::yes;
}

// ---- Databases ----

static Value lay_database(Value pathname, const std::string& path, Value creator_, Value type_)
{
    const ResType creator = type_argument(creator_);
    const ResType type = type_argument(type_);
    if (CreateDatabase(path, creator, type) != kDbGood)
        raise_file_error(pathname);
    return no_value;
}

static Value create_database_subr(Value pathname, Value creator, Value type)
{
    const std::string path = path_argument(pathname);
    type_argument(creator);
    type_argument(type);
    if (FileExists(path.c_str()))
        raise_error_1011(6, pathname);
    const FileHandle file =
        CreateFileA(path.c_str(), FileAccess::read_write, FileDisposition::create_new);
    if (file == kNoFile)
        raise_file_error(pathname);
    CloseHandle(file);
    return lay_database(pathname, path, creator, type);
}

static Value create_database_in_subr(Value pathname, Value creator, Value type)
{
    const std::string path = path_argument(pathname);
    if (!FileExists(path.c_str()))
        raise_error_1011(6, pathname);
    return lay_database(pathname, path, creator, type);
}

static Value database_p(Value pathname)
{
    return boolean(IsDatabaseFile(path_argument(pathname)));
}

// What is wrong with a file: its text, its numbers, or both in a list.
static Value fault_value(const DatabaseFault& fault)
{
    Value list;
    for (size_t i = fault.numbers.size(); i > 0; i--)
        list = cons(make_integer(static_cast<int32_t>(fault.numbers[i - 1])), list);
    if (fault.text == nullptr)
        return list;
    const Value text = make_string(fault.text);
    return is_nil(list) ? text : cons(text, list);
}

static Value kalvex_open_database(Value pathname, Value mode_)
{
    const std::string path = path_argument(pathname);
    const int32_t mode = is_true_flag(mode_) ? integer_value(mode_) : 0;
    if (mode < 0 || mode > 2)
        raise_error(kErrorType, mode_);
    DatabaseFault fault;
    DatabaseId opened = kNoDatabase;
    const int status = OpenDatabase(path, static_cast<DatabaseMode>(mode), opened, fault);
    if (status == kDbBadFile)
        raise_error_1011(kDbBadFile, fault_value(fault));
    check_database(status, pathname);
    return make_pointer(kPointerDatabase, opened);
}

static Value kalvex_close_database(Value database_, Value skip)
{
    const DatabaseId database = database_argument(database_);
    // When that fails it stays open, so that nothing is lost.
    if (!is_true_flag(skip))
        check_database(UpdateDatabase(database, may_compact_databases()), nil);
    set_pointer(database_, 0);
    check_database(CloseDatabase(database, DatabaseClose::drop_changes), nil);
    return no_value;
}

static Value compact_database(Value database)
{
    check_database(CompactDatabase(database_argument(database)), nil);
    return no_value;
}

static Value update_database(Value database)
{
    check_database(UpdateDatabase(database_argument(database), may_compact_databases()), nil);
    return no_value;
}

static Value database_read_only_p(Value database)
{
    return boolean(ModeOfDatabase(database_argument(database)) == DatabaseMode::read);
}

static Value home_database(Value record)
{
    const DatabaseId database = HomeDatabase(resource_argument(record));
    if (database == kNoDatabase)
        raise_error_1011(kDbNotFound);
    return make_pointer(kPointerDatabase, database);
}

// ---- Finding ----

static Value count_records(Value type_, Value database)
{
    const ResType type = type_argument(type_);
    return make_integer(CountRecords(database_argument(database), type));
}

static Value count_record_types(Value database)
{
    return make_integer(CountRecordTypes(database_argument(database)));
}

static Value get_indexed_type(Value index, Value database)
{
    return make_type_string(GetIndexedType(database_argument(database), integer_value(index)));
}

static Value get_indexed_record(Value type_, Value index_, Value database, Value no_load)
{
    const ResType type = type_argument(type_);
    const int32_t index = integer_value(index_);
    const DatabaseId from = database_argument(database);
    if (index < 0)
        return nil;
    Handle record;
    check_database(GetIndexedRecord(from, type, index, load_argument(no_load), record), nil);
    return make_record(record);
}

static Value get_record(Value type_, Value id_or_name, Value database, Value no_load)
{
    const ResType type = type_argument(type_);
    const DatabaseId from = database_argument(database);
    const RecordLoad load = load_argument(no_load);
    Handle record;
    const int status =
        is_string(id_or_name)
            ? GetNamedRecord(from, type, name_argument(id_or_name), load, record)
            : GetRecord(from, type, static_cast<int32_t>(bits_argument(id_or_name)), load, record);
    if (status == kDbNotFound)
        return nil;
    check_database(status, nil);
    return make_record(record);
}

static Value unique_record_id(Value type_, Rest list)
{
    const ResType type = type_argument(type_);
    std::vector<DatabaseId> wanted;
    for (; !is_end(*list); list++) {
        if (is_true_flag(*list))
            wanted.push_back(database_argument(*list));
    }
    return make_integer(UniqueRecordId(type, wanted));
}

// ---- One record ----

static Value load_record(Value record)
{
    check_database(LoadRecord(resource_argument(record)), nil);
    return no_value;
}

static Value write_record(Value record)
{
    check_database(WriteRecord(resource_argument(record)), nil);
    return no_value;
}

static Value release_record(Value record)
{
    check_database(ReleaseRecord(resource_argument(record)), nil);
    return no_value;
}

static Value detach_record(Value record)
{
    check_database(DetachRecord(resource_argument(record)), nil);
    set_pointer_kind(record, kPointerHandle);
    return no_value;
}

static RecordInfo info_of(Value record)
{
    RecordInfo info;
    check_database(GetRecordInfo(resource_argument(record), info), nil);
    return info;
}

static Value get_record_id(Value record)
{
    return make_integer(info_of(record).id);
}

static Value get_record_name(Value record)
{
    const std::string name = info_of(record).name;
    return name.empty() ? empty_string : make_string(name.c_str());
}

static Value get_record_size(Value record)
{
    return make_integer(info_of(record).size);
}

static Value get_record_time(Value record)
{
    return make_unsigned(info_of(record).time);
}

static Value get_record_attributes(Value record)
{
    return make_fixnum(info_of(record).attributes);
}

static Value set_record_info(Value record, Value id_, Value name)
{
    const int32_t id = static_cast<int32_t>(bits_argument(id_));
    check_database(SetRecordInfo(resource_argument(record), id, name_argument(name)), nil);
    return no_value;
}

static Value set_record_attributes(Value record, Value attributes)
{
    const uint8_t byte = static_cast<uint8_t>(integer_value(attributes));
    check_database(SetRecordAttributes(resource_argument(record), byte), nil);
    return no_value;
}

static Value changed_record(Value record)
{
    check_database(ChangedRecord(resource_argument(record)), nil);
    return no_value;
}

static Value add_record(Value handle, Value type_, Value id_, Value name, Value database)
{
    const ResType type = type_argument(type_);
    const int32_t id = static_cast<int32_t>(bits_argument(id_));
    const DatabaseId to = database_argument(database);
    check_database(AddRecord(to, resource_argument(handle), type, id, name_argument(name)), nil);
    set_pointer_kind(handle, kPointerRecord);
    return no_value;
}

static Value remove_record(Value record)
{
    check_database(RemoveRecord(resource_argument(record)), nil);
    set_pointer_kind(record, kPointerHandle);
    return no_value;
}

// ---- Safety ----

static Value symbol_full;
static Value symbol_process;
static Value symbol_none;

static Value sync_symbol()
{
    const StorageSync level = GetStorageSync();
    return level == StorageSync::full      ? symbol_full
           : level == StorageSync::process ? symbol_process
                                           : symbol_none;
}

static Value set_storage_sync(Value level)
{
    const Value before = sync_symbol();
    if (level == symbol_full)
        SetStorageSync(StorageSync::full);
    else if (level == symbol_process)
        SetStorageSync(StorageSync::process);
    else if (level == symbol_none)
        SetStorageSync(StorageSync::none);
    else if (is_true_flag(level))
        raise_error(kErrorType, level);
    return before;
}

static void print_record(Value pointer)
{
    const Handle handle = resource_argument(pointer);
    RecordInfo info;
    if (handle == 0 || GetRecordInfo(handle, info) != kDbGood) {
        print_disposed(pointer);
        return;
    }
    char type[5] = {};
    put_be32(reinterpret_cast<uint8_t*>(type), info.type);
    print_format("<%s %s %d \"%s\" %x of size %d>", pointer_kind_name(pointer), type, info.id,
                 info.name.c_str(), handle, static_cast<int>(GetHandleSize(handle)));
}

static const Primitive database_primitives[] = {
    { "create-database-subr", create_database_subr,
      "(create-database-subr pathname creator type): makes an empty database; error 6 if the file "
      "exists" },
    { "create-database-in-subr", create_database_in_subr,
      "(create-database-in-subr pathname creator type): makes an existing file an empty database; "
      "error 6 if it does not exist" },
    { "database?", database_p, "(database? pathname): whether the file is a database" },
    { "kalvex-open-database", kalvex_open_database,
      "(kalvex-open-database pathname mode): opens a database; mode 0 for reading, 2 for writing, "
      "1 for "
      "writing if that is allowed. Error 1 for a file of another structure, a file error when it "
      "can't "
      "be opened" },
    { "kalvex-close-database", kalvex_close_database,
      "(kalvex-close-database database skip): writes changes, unless skip is true, and closes it; "
      "it stays open when they can't be written" },
    { "compact-database", compact_database,
      "(compact-database database): rewrites the data without gaps; error 9 when it is read-only" },
    { "update-database", update_database,
      "(update-database database): writes all changes; compacts when less than 70% of the data is "
      "in "
      "use and Compact-Databases? is true" },
    { "database-read-only?", database_read_only_p,
      "(database-read-only? database): whether it was opened for reading" },
    { "home-database", home_database, "(home-database record): the database that holds it" },
    { "count-records", count_records,
      "(count-records type database): number of records of the type" },
    { "count-record-types", count_record_types,
      "(count-record-types database): number of types that have records" },
    { "get-indexed-type", get_indexed_type,
      "(get-indexed-type index database): type number index, from 0; empty when out of range" },
    { "get-indexed-record", get_indexed_record,
      "(get-indexed-record type index database no-load): record number index, from 0; nil for a "
      "negative index, error 5 past the last. With a true no-load its data is not read" },
    { "get-record", get_record,
      "(get-record type id-or-name database no-load): record of that id or name, or nil" },
    { "load-record", load_record, "(load-record record): reads its data if that was purged" },
    { "write-record", write_record, "(write-record record): writes its data if it was changed" },
    { "release-record", release_record,
      "(release-record record): disposes of its handle; the database keeps the record" },
    { "detach-record", detach_record,
      "(detach-record record): makes it a handle of its own, which the database forgets" },
    { "unique-record-id", unique_record_id,
      "(unique-record-id type database...): id, from 0, that no record of the type has there; "
      "another "
      "one at each call" },
    { "get-record-id", get_record_id, "(get-record-id record): its id" },
    { "get-record-name", get_record_name, "(get-record-name record): its name, empty for none" },
    { "get-record-size", get_record_size,
      "(get-record-size record): bytes in memory, or stored when it is not loaded" },
    { "get-record-time", get_record_time,
      "(get-record-time record): time when it was added or last changed" },
    { "get-record-attributes", get_record_attributes,
      "(get-record-attributes record): 64 text converted, 32 purgeable, 8 protected, 4 preload, 2 "
      "changed" },
    { "set-record-info", set_record_info,
      "(set-record-info record id name): changes id and name, unless it is protected; error 9 when "
      "read-only" },
    { "set-record-attributes", set_record_attributes,
      "(set-record-attributes record byte): sets them; error 9 when read-only" },
    { "changed-record", changed_record,
      "(changed-record record): has its data written at the next update; error 9 when read-only" },
    { "add-record", add_record,
      "(add-record handle type id name database): makes the handle a record; error 7 for a null "
      "handle "
      "or one that is a record of this type, 9 when read-only" },
    { "set-storage-sync", set_storage_sync,
      "(set-storage-sync level): how safe updates of resource files and databases are from now on: "
      "full "
      "(the start), whole after a loss of power; process, whole when this program dies; none, "
      "neither. "
      "The level before; nil changes nothing" },
    { "remove-record", remove_record,
      "(remove-record record): takes it out and makes it a handle; error 8 when it is protected, 9 "
      "when read-only" },
};

void init_databases()
{
    symbol_compact_databases = intern("Compact-Databases?", symbol_t);
    symbol_full = intern("full");
    symbol_process = intern("process");
    symbol_none = intern("none");
    SetStorageSync(StorageSync::full);
    define_primitives(database_primitives);
    define_pointer_printer(kPointerRecord, print_record);
    init_typed_records();
}
