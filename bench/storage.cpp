// Resource files, and record databases beside SQLite with the same durability: one journaled and
// synced transaction for each update.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>
#include <sqlite3.h>
#include <string>
#include <unistd.h>

#include "platform/file_paths.h"
#include "storage/database.h"
#include "storage/resource_file.h"

static std::string folder;
static constexpr ResType kType = res_type("DATA");
static constexpr int kRecordSize = 100;

static double clock_ms(clockid_t clock)
{
    timespec now;
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

// Milliseconds of the best of five runs; before runs unmeasured in front of each. Writing is
// measured by the clock on the wall, since it waits for the disk, the rest by processor time.
static double best_ms(const std::function<void()>& before, const std::function<void()>& run,
                      clockid_t clock = CLOCK_PROCESS_CPUTIME_ID)
{
    double best = 1e9;
    for (int i = 0; i < 5; i++) {
        before();
        const double start = clock_ms(clock);
        run();
        const double took = clock_ms(clock) - start;
        best = took < best ? took : best;
    }
    return best;
}

static void check(bool good, const char* what)
{
    if (!good) {
        fprintf(stderr, "%s failed\n", what);
        exit(1);
    }
}

static Handle filled_handle(int i)
{
    const Handle handle = NewHandle(kRecordSize);
    memset(LockedHandle(handle).bytes, i & 0xff, kRecordSize);
    return handle;
}

// ---- Resource files ----

static void fetch_all(int count)
{
    for (int id = 0; id < count; id++) {
        const Handle handle = GetResource(kType, static_cast<int16_t>(id));
        check(handle != 0, "GetResource");
        ReleaseResource(handle);
    }
}

static void bench_resources(int count)
{
    const std::string path = system_path(folder + "/r" + std::to_string(count));
    CreateResFile(path, 0, 0);
    int file = OpenResFile(path);
    for (int id = 0; id < count; id++)
        AddResource(filled_handle(id), kType, static_cast<int16_t>(id), "");
    CloseResFile(file);
    check(ResError() == 0, "CloseResFile");
    const double opening = best_ms([] { CloseAllResFiles(); }, [&] { file = OpenResFile(path); });
    const double fetching = best_ms([] {}, [&] { fetch_all(count); });
    printf("resource file of %5d: open %.3f ms, fetch and release %.0f ns each\n", count, opening,
           fetching * 1e6 / count);
    CloseAllResFiles();
}

// ---- Databases ----

static DatabaseId open_database(const std::string& name, bool fresh)
{
    const std::string path = system_path(folder + "/" + name);
    if (fresh) {
        std::filesystem::remove(folder + "/" + name);
        CloseHandle(
            CreateFileA(path.c_str(), FileAccess::read_write, FileDisposition::create_always));
        check(CreateDatabase(path, 0, 0) == kDbGood, "CreateDatabase");
    }
    DatabaseId database;
    DatabaseFault fault;
    check(OpenDatabase(path, DatabaseMode::write, database, fault) == kDbGood, "OpenDatabase");
    return database;
}

static void put_records(DatabaseId database, int first, int count)
{
    for (int id = first; id < first + count; id++) {
        const Handle handle = filled_handle(id);
        check(AddRecord(database, handle, kType, id, "") == kDbGood, "AddRecord");
    }
    check(UpdateDatabase(database, true) == kDbGood, "UpdateDatabase");
}

static void read_records(DatabaseId database, int total, int count)
{
    for (int i = 0; i < count; i++) {
        Handle record;
        const int id = static_cast<int>(i * 7919LL % total);
        check(GetRecord(database, kType, id, RecordLoad::yes, record) == kDbGood, "GetRecord");
        ReleaseRecord(record);
    }
}

// ---- SQLite ----

static void sql(sqlite3* connection, const char* text)
{
    check(sqlite3_exec(connection, text, nullptr, nullptr, nullptr) == SQLITE_OK, text);
}

static sqlite3* open_sqlite(const std::string& name, bool fresh)
{
    const std::string path = folder + "/" + name;
    if (fresh)
        std::filesystem::remove(path);
    sqlite3* connection;
    check(sqlite3_open(path.c_str(), &connection) == SQLITE_OK, "sqlite3_open");
    sql(connection, "PRAGMA journal_mode=DELETE; PRAGMA synchronous=FULL;");
    if (fresh)
        sql(connection,
            "CREATE TABLE records (type INT, id INT, name TEXT, attributes INT, time INT, "
            "data BLOB, PRIMARY KEY (type, id)) WITHOUT ROWID");
    return connection;
}

static void put_rows(sqlite3* connection, int first, int count)
{
    sqlite3_stmt* statement;
    sql(connection, "BEGIN");
    check(sqlite3_prepare_v2(connection, "INSERT INTO records VALUES (?, ?, NULL, 64, 0, ?)", -1,
                             &statement, nullptr) == SQLITE_OK,
          "prepare");
    char data[kRecordSize];
    for (int id = first; id < first + count; id++) {
        memset(data, id & 0xff, sizeof data);
        sqlite3_bind_int64(statement, 1, kType);
        sqlite3_bind_int(statement, 2, id);
        sqlite3_bind_blob(statement, 3, data, sizeof data, SQLITE_STATIC);
        check(sqlite3_step(statement) == SQLITE_DONE, "insert");
        sqlite3_reset(statement);
    }
    sqlite3_finalize(statement);
    sql(connection, "COMMIT");
}

static void read_rows(sqlite3* connection, int total, int count)
{
    sqlite3_stmt* statement;
    check(sqlite3_prepare_v2(connection, "SELECT data FROM records WHERE type = ? AND id = ?", -1,
                             &statement, nullptr) == SQLITE_OK,
          "prepare");
    char data[kRecordSize];
    for (int i = 0; i < count; i++) {
        sqlite3_bind_int64(statement, 1, kType);
        sqlite3_bind_int(statement, 2, static_cast<int>(i * 7919LL % total));
        check(sqlite3_step(statement) == SQLITE_ROW, "select");
        memcpy(data, sqlite3_column_blob(statement, 0), sizeof data);
        sqlite3_reset(statement);
    }
    sqlite3_finalize(statement);
}

static void tell(const char* what, double ours, double theirs)
{
    printf("%-52s %9.2f ms   SQLite %9.2f ms   ratio %.2f\n", what, ours, theirs, ours / theirs);
}

static void bench_databases()
{
    DatabaseId database = kNoDatabase;
    sqlite3* connection = nullptr;
    const auto fresh = [&] {
        CloseAllDatabases(DatabaseClose::drop_changes);
        database = open_database("puts.db", true);
    };
    const auto fresh_sqlite = [&] {
        sqlite3_close(connection);
        connection = open_sqlite("puts.sqlite", true);
    };
    tell("10,000 puts, one update at the end",
         best_ms(
             fresh, [&] { put_records(database, 0, 10000); }, CLOCK_MONOTONIC),
         best_ms(
             fresh_sqlite, [&] { put_rows(connection, 0, 10000); }, CLOCK_MONOTONIC));

    fresh();
    fresh_sqlite();
    put_records(database, 0, 100);
    put_rows(connection, 0, 100);
    int next = 100;
    int next_row = 100;
    tell("100 puts, an update after each (100 records)",
         best_ms([] {},
                 [&] {
                     for (int i = 0; i < 100; i++)
                         put_records(database, next++, 1);
                 },
                 CLOCK_MONOTONIC),
         best_ms([] {},
                 [&] {
                     for (int i = 0; i < 100; i++)
                         put_rows(connection, next_row++, 1);
                 },
                 CLOCK_MONOTONIC));

    for (const int total : { 1000, 100000 }) {
        fresh();
        fresh_sqlite();
        put_records(database, 0, total);
        put_rows(connection, 0, total);
        CloseAllDatabases(DatabaseClose::update);
        sqlite3_close(connection);
        connection = nullptr;
        char text[80];
        snprintf(text, sizeof text, "opening %d records, and one read", total);
        tell(text,
             best_ms([] { CloseAllDatabases(DatabaseClose::drop_changes); },
                     [&] {
                         database = open_database("puts.db", false);
                         read_records(database, total, 1);
                     }),
             best_ms([&] { sqlite3_close(connection); },
                     [&] {
                         connection = open_sqlite("puts.sqlite", false);
                         read_rows(connection, total, 1);
                     }));
        snprintf(text, sizeof text, "10,000 reads by type and id of %d records", total);
        tell(text, best_ms([] {}, [&] { read_records(database, total, 10000); }),
             best_ms([] {}, [&] { read_rows(connection, total, 10000); }));
    }
    sqlite3_close(connection);
    CloseAllDatabases(DatabaseClose::drop_changes);
}

int main(int argc, char** argv)
{
    char pattern[] = "./kalvex-bench-XXXXXX";
    folder = argc > 1 ? argv[1] : mkdtemp(pattern);
    folder = std::filesystem::absolute(folder).string();
    for (const int count : { 50, 500, 5000 })
        bench_resources(count);
    bench_databases();
    if (argc == 1)
        std::filesystem::remove_all(folder);
    return 0;
}
