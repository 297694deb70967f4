// A process that changes a database and a resource file without a pause is killed at some moment,
// again and again: what it leaves always opens, and each record is one that was written whole.
#include <csignal>
#include <fcntl.h>
#include <random>
#include <sys/wait.h>

#include "resource_test.h"
#include "storage/database.h"

class KilledProcess : public ResourceTest {
protected:
    // A text that tells by itself whether it is whole: a number, and what follows from it.
    static std::string text_of_seed(uint32_t seed)
    {
        std::mt19937 random(seed);
        std::string text = std::to_string(seed) + ":";
        for (uint32_t length = random() % 300; length > 0; length--)
            text += static_cast<char>('a' + random() % 26);
        return text;
    }

    static bool is_whole(Handle handle)
    {
        const std::string text = text_of(handle);
        const unsigned long seed = strtoul(text.c_str(), nullptr, 10);
        return text == text_of_seed(static_cast<uint32_t>(seed));
    }

    static void change_record(DatabaseId database, std::mt19937& random)
    {
        const int32_t id = static_cast<int32_t>(random() % 50);
        Handle record;
        if (GetRecord(database, kText, id, RecordLoad::yes, record) != kDbGood) {
            AddRecord(database, handle_with(text_of_seed(random())), kText, id, "n");
        } else if (random() % 5 == 0) {
            RemoveRecord(record);
            DisposeHandle(record);
        } else {
            set_text(record, text_of_seed(random()));
            ChangedRecord(record);
        }
    }

    static void change_resource(std::mt19937& random)
    {
        const int16_t id = static_cast<int16_t>(random() % 50);
        const Handle resource = GetResource(kString, id);
        if (resource == 0) {
            AddResource(handle_with(text_of_seed(random())), kString, id, "n");
        } else if (random() % 5 == 0) {
            RmveResource(resource);
            DisposeHandle(resource);
        } else {
            set_text(resource, text_of_seed(random()));
            ChangedResource(resource);
            if (random() % 4 == 0)
                WriteResource(resource);
        }
    }

    // Never returns; an exit of its own is a fault.
    [[noreturn]] void work(uint32_t seed, int started) const
    {
        std::mt19937 random(seed);
        bool told = false;
        DatabaseId database;
        DatabaseFault fault;
        if (OpenDatabase(folder.path("d"), DatabaseMode::write, database, fault) != kDbGood)
            _exit(1);
        const int file = OpenResFile(folder.path("r"));
        while (file > 0) {
            for (int i = 0; i < 5; i++) {
                change_record(database, random);
                change_resource(random);
            }
            if (random() % 7 == 0)
                CompactDatabase(database);
            else
                UpdateDatabase(database, true);
            UpdateResFile(file);
            if (!told)
                told = write(started, "", 1) == 1;
        }
        _exit(2);
    }

    // Records that the files hold; each must be whole.
    int count_whole() const
    {
        DatabaseId database;
        DatabaseFault fault;
        EXPECT_EQ(OpenDatabase(folder.path("d"), DatabaseMode::write, database, fault), kDbGood);
        int count = 0;
        for (int32_t i = 0; i < CountRecords(database, kText); i++, count++) {
            Handle record;
            EXPECT_EQ(GetIndexedRecord(database, kText, i, RecordLoad::yes, record), kDbGood);
            EXPECT_TRUE(is_whole(record));
        }
        CloseDatabase(database, DatabaseClose::drop_changes);
        EXPECT_GT(OpenResFile(folder.path("r")), 0) << ResError();
        for (int32_t i = 1; i <= Count1Resources(kString); i++, count++)
            EXPECT_TRUE(is_whole(Get1IndResource(kString, i)));
        CloseAllResFiles();
        return count;
    }
};

TEST_F(KilledProcess, leaves_files_that_open_with_every_record_whole)
{
    write_whole_file(folder.path("d"), {});
    ASSERT_EQ(CreateDatabase(folder.path("d"), 0, 0), kDbGood);
    CreateResFile(folder.path("r"), 0, 0);
    std::mt19937 random(9);
    int journals = 0;
    int records = 0;
    for (uint32_t round = 0; round < 80 && !HasFailure(); round++) {
        int started[2];
        ASSERT_EQ(pipe2(started, O_NONBLOCK), 0);
        const pid_t child = fork();
        if (child == 0)
            work(round, started[1]);
        char byte;
        for (int i = 0; i < 10000 && read(started[0], &byte, 1) != 1; i++)
            usleep(1000);
        usleep(random() % 25000);
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        close(started[0]);
        close(started[1]);
        ASSERT_TRUE(WIFSIGNALED(status)) << "round " << round;
        journals +=
            file_is_there(folder.path("d-journal")) || file_is_there(folder.path("r-journal"));
        records += count_whole();
    }
    EXPECT_GT(journals, 0) << "no kill struck amid an update";
    EXPECT_GT(records, 1000);
}
