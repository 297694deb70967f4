// An update that is interrupted anywhere leaves the file as before or as after.
#include <algorithm>
#include <functional>
#include <map>

#include "resource_test.h"

using Model = std::map<std::pair<ResType, int16_t>, std::string>;

class InterruptedUpdate : public ResourceTest {
protected:
    void SetUp() override
    {
        ResourceTest::SetUp();
        SetStorageSync(StorageSync::full);
    }

    static Model contents(const std::string& path)
    {
        Model model;
        EXPECT_GE(OpenResFile(path), 0) << "status " << ResError();
        for (int32_t i = 1; i <= Count1Types(); i++) {
            const ResType type = Get1IndType(i);
            for (int32_t index = 1; index <= Count1Resources(type); index++) {
                const Handle handle = Get1IndResource(type, index);
                ResInfo info;
                EXPECT_TRUE(GetResInfo(handle, info));
                model[{ type, info.id }] = info.name + ":" + text_of(handle);
            }
        }
        CloseAllResFiles();
        return model;
    }

    void make_start()
    {
        AbandonAllResFiles();
        std::filesystem::remove(host_path(folder.path("a")));
        std::filesystem::remove(host_path(folder.path("a-journal")));
        make("a");
        for (int16_t id = 1; id <= 6; id++)
            add(kText, id, std::string(static_cast<size_t>(20 * id), static_cast<char>('a' + id)),
                "N");
        add(kString, 1, "string");
        CloseAllResFiles();
        ASSERT_EQ(ResError(), 0);
    }

    // One session that grows, shrinks, adds, removes, renames and writes in two steps. Gives the
    // states that were reached on disk.
    static void session(const std::string& path, const std::function<void()>& reached)
    {
        const int file = OpenResFile(path);
        set_text(GetResource(kText, 2), std::string(90, 'G'));
        ChangedResource(GetResource(kText, 2));
        set_text(GetResource(kText, 3), "short");
        ChangedResource(GetResource(kText, 3));
        RmveResource(GetResource(kText, 5));
        add(res_type("NEWT"), 7, "new", "Newcomer");
        UpdateResFile(file);
        reached();
        set_text(GetResource(kText, 4), std::string(500, 'W'));
        ChangedResource(GetResource(kText, 4));
        WriteResource(GetResource(kText, 4)); // over the map
        if (ResError() == 0)                  // else the Handle has the only copy
            ReleaseResource(GetResource(kText, 4));
        set_text(GetResource(kText, 1), "in place");
        ChangedResource(GetResource(kText, 1));
        WriteResource(GetResource(kText, 1));
        UpdateResFile(file);
        reached();
        SetResInfo(GetResource(kString, 1), 2, "Renamed");
        CloseResFile(file);
        reached();
    }
};

// The states that the session passes through, found by running it undisturbed up to each of them.
static int steps_left;
struct Stop {};

TEST_F(InterruptedUpdate, is_whole_or_undone_wherever_it_stops)
{
    const std::string path = folder.path("a");
    std::vector<Model> states;
    make_start();
    states.push_back(contents(path));
    for (int stop = 1; stop <= 3; stop++) {
        make_start();
        steps_left = stop;
        try {
            session(path, [] {
                if (--steps_left == 0)
                    throw Stop();
            });
        } catch (Stop) {
        }
        AbandonAllResFiles();
        states.push_back(contents(path));
        ASSERT_NE(states[stop], states[stop - 1]);
    }

    struct Way {
        FileFault fault;
        uint32_t power_seed;
        bool power; // the power fails too, and takes what was not synced
    };
    const Way ways[] = { { FileFault::die, 0, false },    { FileFault::torn, 0, false },
                         { FileFault::refuse, 0, false }, { FileFault::full, 0, false },
                         { FileFault::die, 0, true },     { FileFault::torn, 1, true },
                         { FileFault::die, 2, true },     { FileFault::torn, 3, true } };
    for (const Way& way : ways) {
        for (uint32_t nth = 1;; nth++) {
            make_start();
            size_t reached = 0;
            size_t struck_in = 0;
            SetFileFault(way.fault, nth, way.power);
            session(path, [&] {
                reached++;
                if (FileFaultStruck() && struck_in == 0)
                    struck_in = reached;
            });
            const bool struck = FileFaultStruck();
            AbandonAllResFiles();
            if (way.power)
                LosePower(way.power_seed);
            SetFileFault(FileFault::none, 0);
            const Model now = contents(path);
            const bool known = std::find(states.begin(), states.end(), now) != states.end();
            if (way.fault == FileFault::die || way.fault == FileFault::torn) {
                const size_t least = struck ? struck_in - 1 : 3;
                ASSERT_TRUE(now == states[least] || (struck && now == states[least + 1]))
                    << "change " << nth;
                ASSERT_FALSE(file_is_there(folder.path("a-journal")));
            } else if (way.fault == FileFault::full || !struck) {
                ASSERT_TRUE(known) << "change " << nth;
            } else {
                // A step that was refused is made up for by a later one, or was told.
                ASSERT_TRUE(now == states[3] || known) << "change " << nth;
            }
            if (!struck)
                break;
            ASSERT_LT(nth, 500u);
        }
    }
}

TEST_F(InterruptedUpdate, a_refused_write_is_told_and_a_second_try_succeeds)
{
    make_start();
    const std::string path = folder.path("a");
    const Model before = contents(path);
    for (uint32_t nth = 1;; nth++) {
        make_start();
        const int file = OpenResFile(path);
        set_text(GetResource(kText, 2), std::string(90, 'G'));
        ChangedResource(GetResource(kText, 2));
        add(kText, 77, "added");
        SetFileFault(FileFault::refuse, nth);
        UpdateResFile(file);
        const bool struck = FileFaultStruck();
        SetFileFault(FileFault::none, 0);
        if (!struck)
            break;
        if (ResError() != 0) {
            EXPECT_EQ(ResError(), kResWriteFailed);
            UpdateResFile(file);
            EXPECT_EQ(ResError(), 0);
        }
        CloseAllResFiles();
        Model after = before;
        after[{ kText, 2 }] = "N:" + std::string(90, 'G');
        after[{ kText, 77 }] = ":added";
        ASSERT_EQ(contents(path), after) << nth;
    }
}

TEST_F(InterruptedUpdate, a_second_opener_reads_and_cannot_write)
{
    make_start();
    const std::string path = folder.path("a");
    StoredFile first;
    ASSERT_TRUE(OpenStoredFile(first, path, OpenMode::write_or_read));
    EXPECT_TRUE(first.writable);
    StoredFile second;
    EXPECT_FALSE(OpenStoredFile(second, path, OpenMode::write));
    EXPECT_EQ(GetLastError(), kFileErrorInUse);
    const int file = OpenResFile(path);
    ASSERT_GE(file, 0);
    EXPECT_EQ(text_of(GetResource(kString, 1)), "string");
    const Bytes before = read_whole_file(path);
    add(kText, 50, "never");
    UpdateResFile(file);
    EXPECT_EQ(ResError(), kResWriteFailed);
    CloseAllResFiles();
    EXPECT_EQ(read_whole_file(path), before);
    CloseStoredFile(first);
    ASSERT_TRUE(OpenStoredFile(second, path, OpenMode::write)) << "the lock went with the file";
    CloseStoredFile(second);
}

TEST_F(InterruptedUpdate, a_journal_of_another_file_is_left_alone)
{
    make_start();
    const std::string path = folder.path("a");
    const int file = OpenResFile(path);
    set_text(GetResource(kText, 4), std::string(500, 'W'));
    ChangedResource(GetResource(kText, 4));
    WriteResource(GetResource(kText, 4));
    (void)file;
    AbandonAllResFiles();
    ASSERT_TRUE(file_is_there(folder.path("a-journal")));
    std::filesystem::remove(host_path(path));
    make("b");
    add(kText, 1, "other");
    CloseAllResFiles();
    std::filesystem::rename(host_path(folder.path("b")), host_path(path));
    const Model found = contents(path);
    EXPECT_EQ(found.size(), 1u);
    EXPECT_EQ(found.at({ kText, 1 }), ":other");
}
