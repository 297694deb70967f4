// Record databases: exact bytes, compaction, damage, and interruption compared with a model.
#include <algorithm>
#include <functional>
#include <map>
#include <random>

#include "platform/clock.h"
#include "resource_test.h"
#include "storage/database.h"

class Database : public ResourceTest {
protected:
    void SetUp() override
    {
        ResourceTest::SetUp();
        use_virtual_clock(0);
    }
    void TearDown() override
    {
        AbandonAllDatabases();
        ResourceTest::TearDown();
        use_real_clock();
    }

    DatabaseId open(const std::string& name, DatabaseMode mode = DatabaseMode::write)
    {
        DatabaseId id = kNoDatabase;
        DatabaseFault fault;
        status = OpenDatabase(folder.path(name), mode, id, fault);
        return id;
    }

    DatabaseId make_db(const std::string& name)
    {
        write_whole_file(folder.path(name), {});
        EXPECT_EQ(CreateDatabase(folder.path(name), res_type("KVXA"), res_type("Data")), 0);
        return open(name);
    }

    static Handle put(DatabaseId db, ResType type, int32_t id, const std::string& text,
                      const char* name = "")
    {
        Handle record = get(db, type, id);
        if (record != 0) {
            set_text(record, text);
            ChangedRecord(record);
        } else {
            record = handle_with(text);
            EXPECT_EQ(AddRecord(db, record, type, id, name), 0);
        }
        return record;
    }

    static Handle get(DatabaseId db, ResType type, int32_t id)
    {
        Handle record = 0;
        GetRecord(db, type, id, RecordLoad::yes, record);
        return record;
    }

    static uint32_t now() { return static_cast<uint32_t>(calendar_seconds() + 2082826800); }

    int status = 0;
};

static constexpr ResType kData = res_type("DATA");

static Bytes part(const Bytes& bytes, size_t from, size_t count)
{
    return Bytes(bytes.begin() + static_cast<ptrdiff_t>(from),
                 bytes.begin() + static_cast<ptrdiff_t>(from + count));
}

static Bytes words(std::initializer_list<uint32_t> values)
{
    Bytes bytes;
    for (const uint32_t value : values) {
        for (int shift = 24; shift >= 0; shift -= 8)
            bytes.push_back(static_cast<uint8_t>(value >> shift));
    }
    return bytes;
}

TEST_F(Database, a_new_one_has_294_bytes)
{
    make_db("a");
    const Bytes bytes = read_whole_file(folder.path("a"));
    ASSERT_EQ(bytes.size(), 294u);
    EXPECT_EQ(part(bytes, 0, 16), words({ 256, 256, 0, 38 }));
    EXPECT_EQ(std::string(bytes.begin() + 16, bytes.begin() + 24), "KVXAData");
    EXPECT_EQ(part(bytes, 24, 104), Bytes(104, 0));
    EXPECT_EQ(part(bytes, 128, 8), words({ 0x02000000, 0 }));
    for (size_t pair = 0; pair < 15; pair++)
        EXPECT_EQ(part(bytes, 136 + 8 * pair, 8), words({ UINT32_MAX, 0 }));
    EXPECT_EQ(part(bytes, 256, 16), words({ 256, 256, 0, 38 }));
    EXPECT_EQ(part(bytes, 272, 10), Bytes(10, 0));
    EXPECT_EQ(part(bytes, 282, 12), words({ 34, 38, UINT32_MAX }));
    EXPECT_TRUE(IsDatabaseFile(folder.path("a")));
    EXPECT_LT(OpenResFile(folder.path("a")), 0);
}

TEST_F(Database, records_stand_as_the_layout_has_them)
{
    const DatabaseId db = make_db("a");
    put(db, kData, 70000, "hello", "Name");
    put(db, kText, -2, "xy");
    ASSERT_EQ(UpdateDatabase(db, true), 0);
    const Bytes bytes = read_whole_file(folder.path("a"));
    EXPECT_EQ(std::string(bytes.begin() + 256, bytes.begin() + 263), "helloxy");
    const uint32_t length = 34 + 4 + 2 * 12 + 2 * 26 + 5;
    EXPECT_EQ(part(bytes, 0, 16), words({ 256, 263, 7, length }));
    const size_t map = 263;
    ASSERT_EQ(bytes.size(), map + length);
    EXPECT_EQ(part(bytes, map + 26, 8), words({ 34, 34 + 4 + 24 + 52 }));
    EXPECT_EQ(part(bytes, map + 34, 28), words({ 1, kData, 0, 28, kText, 0, 54 }));
    EXPECT_EQ(part(bytes, map + 62, 8), words({ 70000, 0 }));
    EXPECT_EQ(bytes[map + 70], 0x40) << "changed is cleared, the text is ours";
    EXPECT_EQ(part(bytes, map + 72, 16), words({ 0, 5, now(), 0 }));
    EXPECT_EQ(part(bytes, map + 88, 8), words({ 0xfffffffe, UINT32_MAX }));
    EXPECT_EQ(part(bytes, map + 98, 16), words({ 5, 2, now(), 0 }));
    EXPECT_EQ(std::string(bytes.end() - 4, bytes.end()), "Name");
}

TEST_F(Database, finding_counting_and_numbering)
{
    const DatabaseId db = make_db("a");
    put(db, kData, 5, "five", "Five");
    put(db, kData, 0, "zero");
    put(db, kText, 1, "text");
    Handle record;
    EXPECT_EQ(GetNamedRecord(db, kData, "Five", RecordLoad::yes, record), 0);
    EXPECT_EQ(text_of(record), "five");
    EXPECT_EQ(GetNamedRecord(db, kData, "five", RecordLoad::yes, record), kDbNotFound);
    EXPECT_EQ(GetIndexedRecord(db, kData, 1, RecordLoad::yes, record), 0);
    EXPECT_EQ(text_of(record), "zero");
    EXPECT_EQ(GetIndexedRecord(db, kData, 2, RecordLoad::yes, record), kDbNotFound);
    record = get(db, kData, 0);
    EXPECT_EQ(CountRecords(db, kData), 2);
    EXPECT_EQ(CountRecordTypes(db), 2);
    EXPECT_EQ(GetIndexedType(db, 1), kText);
    EXPECT_EQ(GetIndexedType(db, 2), 0u);
    EXPECT_EQ(UniqueRecordId(kData, { db }), 1) << "ids begin at 0, which is taken";
    EXPECT_EQ(UniqueRecordId(kData, { db }), 2);
    EXPECT_EQ(UniqueRecordId(kText, { db }), 0);
    EXPECT_EQ(AddRecord(db, record, kData, 9, ""), kDbCannotAdd);
    EXPECT_EQ(AddRecord(db, 0, kData, 9, ""), kDbCannotAdd);
    EXPECT_EQ(HomeDatabase(record), db);
    SetRecordAttributes(record, 0x08);
    EXPECT_EQ(RemoveRecord(record), kDbProtected);
    EXPECT_EQ(CloseDatabase(db, DatabaseClose::drop_changes), 0);
    EXPECT_EQ(CloseDatabase(db, DatabaseClose::drop_changes), kDbNotFound);
    EXPECT_EQ(HandleTotal(), 0u);
    EXPECT_EQ(CountRecordTypes(open("a")), 0) << "dropped changes are not written";
}

TEST_F(Database, a_read_only_one_refuses_every_change)
{
    const DatabaseId first = make_db("a");
    put(first, kData, 1, "one");
    UpdateDatabase(first, true);
    EXPECT_EQ(open("a"), kNoDatabase) << "the writer holds it";
    EXPECT_EQ(status, kDbFileFailed);
    const DatabaseId db = open("a", DatabaseMode::write_or_read);
    ASSERT_NE(db, kNoDatabase);
    const Handle record = get(db, kData, 1);
    EXPECT_EQ(text_of(record), "one");
    EXPECT_EQ(ChangedRecord(record), kDbReadOnly);
    EXPECT_EQ(SetRecordInfo(record, 2, ""), kDbReadOnly);
    EXPECT_EQ(SetRecordAttributes(record, 0), kDbReadOnly);
    EXPECT_EQ(RemoveRecord(record), kDbReadOnly);
    EXPECT_EQ(AddRecord(db, NewHandle(1), kData, 2, ""), kDbReadOnly);
    EXPECT_EQ(CompactDatabase(db), kDbReadOnly);
    put(first, kData, 1, "changed by the writer");
    UpdateDatabase(first, true);
    Handle late;
    ReleaseRecord(record);
    EXPECT_EQ(GetRecord(db, kData, 1, RecordLoad::yes, late), kDbCannotRead)
        << "its map no longer fits the file";
}

TEST_F(Database, text_is_converted_when_it_is_read_and_not_twice)
{
    DatabaseId db = make_db("a");
    for (const char* type : { "TEXT", "Text", "Txt1", "Kvx!", "text" }) {
        const ResType t = get_be32(reinterpret_cast<const uint8_t*>(type));
        SetRecordAttributes(put(db, t, 1, "caf\x8e"), kResChanged);
    }
    UpdateDatabase(db, true);
    CloseDatabase(db, DatabaseClose::update);
    db = open("a");
    EXPECT_EQ(text_of(get(db, kText, 1)), "caf\xe9");
    EXPECT_EQ(text_of(get(db, res_type("Txt1"), 1)), "caf\xe9");
    EXPECT_EQ(text_of(get(db, res_type("Kvx!"), 1)), "caf\xe9");
    EXPECT_EQ(text_of(get(db, res_type("text"), 1)), "caf\x8e");
    ChangedRecord(get(db, kText, 1));
    CloseDatabase(db, DatabaseClose::update);
    EXPECT_EQ(text_of(get(open("a"), kText, 1)), "caf\xe9");
}

TEST_F(Database, an_update_compacts_below_seven_tenths_and_not_at_them)
{
    const DatabaseId db = make_db("a");
    put(db, kData, 1, std::string(70, 'a'));
    put(db, kData, 2, std::string(30, 'b'));
    UpdateDatabase(db, true);
    RemoveRecord(get(db, kData, 2));
    UpdateDatabase(db, true);
    EXPECT_EQ(get_be32(&read_whole_file(folder.path("a"))[8]), 100u);
    put(db, kData, 1, std::string(69, 'c'));
    UpdateDatabase(db, true); // 70 of 100 are live still when it begins
    EXPECT_EQ(get_be32(&read_whole_file(folder.path("a"))[8]), 100u);
    put(db, kData, 3, "");
    UpdateDatabase(db, false);
    EXPECT_EQ(get_be32(&read_whole_file(folder.path("a"))[8]), 100u);
    put(db, kData, 3, "x");
    UpdateDatabase(db, true);
    EXPECT_EQ(get_be32(&read_whole_file(folder.path("a"))[8]), 70u);
    EXPECT_EQ(text_of(get(db, kData, 1)), std::string(69, 'c'));
}

TEST_F(Database, compaction_keeps_the_order_of_places_and_puts_changed_ones_last)
{
    DatabaseId db = make_db("a");
    for (int32_t id = 1; id <= 6; id++)
        put(db, kData, id, std::string(static_cast<size_t>(id), static_cast<char>('0' + id)));
    put(db, kText, 9, "");
    UpdateDatabase(db, false);
    put(db, kData, 2, "B"); // stays, one byte dead behind it
    RemoveRecord(get(db, kData, 4));
    UpdateDatabase(db, false);
    put(db, kData, 3, "new three");
    put(db, kData, 7, "7");
    ASSERT_EQ(CompactDatabase(db), 0);
    const Bytes bytes = read_whole_file(folder.path("a"));
    const std::string data(bytes.begin() + 256, bytes.begin() + get_be32(&bytes[4]));
    EXPECT_EQ(data, "1B555556666667new three");
    EXPECT_EQ(get_be32(&bytes[8]), data.size());
    CloseDatabase(db, DatabaseClose::drop_changes);
    db = open("a");
    EXPECT_EQ(text_of(get(db, kData, 3)), "new three");
    EXPECT_EQ(text_of(get(db, kText, 9)), "");
    EXPECT_EQ(text_of(get(db, kData, 6)), "666666");
}

TEST_F(Database, records_that_overlap_stop_a_compaction_before_anything_is_lost)
{
    DatabaseId db = make_db("a");
    put(db, kData, 1, "aaaa");
    put(db, kData, 2, "bbbb");
    CloseDatabase(db, DatabaseClose::update);
    Bytes bytes = read_whole_file(folder.path("a"));
    const size_t second = get_be32(&bytes[4]) + 34 + 4 + 12 + 26;
    put_be32(&bytes[second + 10], 2);
    write_whole_file(folder.path("a"), bytes);
    db = open("a");
    EXPECT_EQ(CompactDatabase(db), kDbOverlap);
    EXPECT_EQ(read_whole_file(folder.path("a")), bytes);
    EXPECT_EQ(text_of(get(db, kData, 2)), "aabb");
}

TEST_F(Database, damaged_files_are_refused_or_sound)
{
    DatabaseId db = make_db("good");
    put(db, kData, 1, "one", "First");
    put(db, kData, 2, "two");
    put(db, kText, 3, std::string(40, 't'), "Text");
    SetRecordAttributes(get(db, kData, 2), kResChanged | kResPreload);
    CloseDatabase(db, DatabaseClose::update);
    const Bytes good = read_whole_file(folder.path("good"));
    const auto survives = [&](const Bytes& bytes) {
        write_whole_file(folder.path("bad"), bytes);
        const DatabaseId bad = open("bad");
        if (bad == kNoDatabase) {
            EXPECT_TRUE(status == kDbBadFile || status == kDbCannotRead) << status;
            return false;
        }
        for (int32_t i = 0; i < CountRecordTypes(bad); i++) {
            const ResType type = GetIndexedType(bad, i);
            for (int32_t index = 0; index < CountRecords(bad, type); index++) {
                Handle record;
                RecordInfo info;
                const int got = GetIndexedRecord(bad, type, index, RecordLoad::yes, record);
                EXPECT_TRUE(got != 0 || GetRecordInfo(record, info) == 0);
            }
        }
        Handle first;
        if (GetIndexedRecord(bad, kData, 0, RecordLoad::yes, first) == 0) {
            SetRecordInfo(first, 77, "A longer name than before");
            set_text(first, "grown data");
            ChangedRecord(first);
        }
        if (GetIndexedRecord(bad, kData, 1, RecordLoad::no, first) == 0 && RemoveRecord(first) == 0)
            DisposeHandle(first);
        const Handle fresh = handle_with("new");
        if (AddRecord(bad, fresh, res_type("NEWT"), 1, "n") != 0)
            DisposeHandle(fresh);
        UpdateDatabase(bad, true);
        CompactDatabase(bad);
        CloseDatabase(bad, DatabaseClose::update_or_compact);
        EXPECT_EQ(HandleTotal(), 0u);
        return true;
    };
    for (size_t length = 0; length < good.size(); length++)
        ASSERT_FALSE(survives(Bytes(good.begin(), good.begin() + static_cast<ptrdiff_t>(length))));
    const size_t map = get_be32(&good[4]);
    for (size_t at = 0; at < good.size(); at++) {
        if (at >= 16 && at < map && at != 128)
            continue;
        for (const uint8_t value :
             { 0x00, 0x01, 0x7f, 0x80, 0xff, good[at] ^ 1, good[at] ^ 0x10 }) {
            Bytes bad = good;
            bad[at] = value;
            if (at < 16)
                bad[map + at] = value;
            survives(bad);
        }
    }
    std::mt19937 random(11);
    int opened = 0;
    for (int round = 0; round < 1500; round++) {
        Bytes bad = good;
        for (uint32_t changes = 1 + random() % 3; changes > 0; changes--)
            bad[map + 16 + random() % (bad.size() - map - 16)] =
                static_cast<uint8_t>(random() % 90);
        opened += survives(bad);
    }
    EXPECT_GT(opened, 100);
}

// ---- Interruption ----

class InterruptedDatabase : public Database {
protected:
    using Model = std::map<std::pair<ResType, int32_t>, std::string>;

    void SetUp() override
    {
        Database::SetUp();
        SetStorageSync(StorageSync::full);
    }

    Model contents(const std::string& name)
    {
        Model model;
        const DatabaseId db = open(name);
        EXPECT_NE(db, kNoDatabase) << status;
        for (int32_t i = 0; i < CountRecordTypes(db); i++) {
            const ResType type = GetIndexedType(db, i);
            for (int32_t index = 0; index < CountRecords(db, type); index++) {
                Handle record;
                RecordInfo info;
                EXPECT_EQ(GetIndexedRecord(db, type, index, RecordLoad::yes, record), 0);
                EXPECT_EQ(GetRecordInfo(record, info), 0);
                model[{ type, info.id }] = info.name + ":" + text_of(record);
            }
        }
        CloseDatabase(db, DatabaseClose::drop_changes);
        return model;
    }

    void make_start()
    {
        AbandonAllDatabases();
        std::filesystem::remove(host_path(folder.path("a-journal")));
        const DatabaseId db = make_db("a");
        for (int32_t id = 1; id <= 5; id++)
            put(db, kData, id,
                std::string(static_cast<size_t>(30 * id), static_cast<char>('a' + id)), "N");
        ASSERT_EQ(CloseDatabase(db, DatabaseClose::update), 0);
    }

    // Adds, changes, removals, a record written by itself, both compactions. reached is told after
    // each step with what the file should hold then.
    void session(const std::function<void(const Model&)>& reached)
    {
        const DatabaseId db = open("a");
        if (db == kNoDatabase)
            return;
        Model model;
        for (int32_t id = 1; id <= 5; id++)
            model[{ kData, id }] =
                "N:" + std::string(static_cast<size_t>(30 * id), static_cast<char>('a' + id));
        const auto set = [&](int32_t id, const std::string& text) {
            put(db, kData, id, text);
            const auto known = model.find({ kData, id });
            const bool named = known != model.end() && known->second[0] == 'N';
            model[{ kData, id }] = (named ? "N:" : ":") + text;
        };
        set(2, std::string(100, 'G'));
        set(6, "added");
        UpdateDatabase(db, false);
        reached(model);
        set(3, std::string(20, 's'));
        set(4, std::string(200, 'W'));
        WriteRecord(get(db, kData, 4)); // over the map
        const Handle gone = get(db, kData, 1);
        RemoveRecord(gone);
        DisposeHandle(gone);
        model.erase({ kData, 1 });
        UpdateDatabase(db, false);
        reached(model);
        set(5, "changed before the compaction");
        CompactDatabase(db);
        reached(model);
        set(2, "z");
        set(4, "y");
        UpdateDatabase(db, false);
        reached(model);
        set(7, "makes it compact"); // little is in use now
        UpdateDatabase(db, true);
        reached(model);
        SetRecordInfo(get(db, kData, 7), 8, "Renamed");
        model[{ kData, 8 }] = "Renamed:makes it compact";
        model.erase({ kData, 7 });
        CloseDatabase(db, DatabaseClose::update);
        reached(model);
    }
};

TEST_F(InterruptedDatabase, is_as_before_or_as_after_wherever_it_stops)
{
    make_start();
    std::vector<Model> states = { contents("a") };
    make_start();
    session([&](const Model& model) { states.push_back(model); });
    ASSERT_EQ(states.size(), 7u);
    ASSERT_EQ(contents("a"), states.back());

    struct Way {
        FileFault fault;
        uint32_t power_seed;
        bool power;
    };
    const Way ways[] = { { FileFault::die, 0, false },    { FileFault::torn, 0, false },
                         { FileFault::refuse, 0, false }, { FileFault::full, 0, false },
                         { FileFault::die, 0, true },     { FileFault::torn, 1, true },
                         { FileFault::torn, 2, true } };
    for (const Way& way : ways) {
        for (uint32_t nth = 1;; nth++) {
            make_start();
            size_t reached = 0;
            size_t struck_in = 0;
            SetFileFault(way.fault, nth, way.power);
            session([&](const Model&) {
                reached++;
                if (FileFaultStruck() && struck_in == 0)
                    struck_in = reached;
            });
            const bool struck = FileFaultStruck();
            AbandonAllDatabases();
            if (way.power)
                LosePower(way.power_seed);
            SetFileFault(FileFault::none, 0);
            const Model now = contents("a");
            if (way.fault == FileFault::refuse) {
                // A later update makes up for it; after the last, closing, there is none.
                const bool last = struck_in == states.size() - 1;
                ASSERT_TRUE(now == states.back() || (last && now == states[struck_in - 1]))
                    << "change " << nth;
            } else {
                const size_t least = struck ? struck_in - 1 : states.size() - 1;
                ASSERT_TRUE(now == states[least] || (struck && now == states[least + 1]))
                    << "way " << (&way - ways) << ", change " << nth;
            }
            ASSERT_FALSE(file_is_there(folder.path("a-journal")));
            if (!struck)
                break;
            ASSERT_LT(nth, 500u);
        }
    }
}

// A long random life against a map, reopened now and then.
TEST_F(InterruptedDatabase, agrees_with_a_model_over_a_random_life)
{
    SetStorageSync(StorageSync::process);
    std::mt19937 random(5);
    Model model;
    DatabaseId db = make_db("a");
    const ResType types[] = { kData, res_type("MORE"), res_type("LAST") };
    for (int step = 0; step < 4000; step++) {
        const ResType type = types[random() % 3];
        const int32_t id = static_cast<int32_t>(random() % 40);
        const uint32_t what = random() % 20;
        if (what < 9) {
            const std::string text(random() % 80, static_cast<char>('a' + random() % 26));
            put(db, type, id, text, "");
            model[{ type, id }] = ":" + text;
        } else if (what < 13 && model.count({ type, id })) {
            const Handle record = get(db, type, id);
            ASSERT_EQ(RemoveRecord(record), 0);
            DisposeHandle(record);
            model.erase({ type, id });
        } else if (what < 15) {
            PurgeMemory(UINT32_MAX);
        } else if (what == 15) {
            ASSERT_EQ(UpdateDatabase(db, random() % 2 == 0), 0);
        } else if (what == 16) {
            ASSERT_EQ(CompactDatabase(db), 0);
        } else if (what == 17) {
            const Handle record = get(db, type, id);
            ASSERT_EQ(record != 0, model.count({ type, id }) == 1);
            ASSERT_TRUE(record == 0 || WriteRecord(record) == 0);
        } else if (what == 18 && random() % 8 == 0) {
            ASSERT_EQ(CloseDatabase(db, DatabaseClose::update_or_compact), 0);
            ASSERT_EQ(contents("a"), model) << step;
            db = open("a");
        }
    }
}
