// Damaged resource files: a status and nothing worse, whatever byte is wrong.
#include <random>

#include "resource_test.h"

class DamagedResourceFile : public ResourceTest {
protected:
    // Opens a file of these bytes and, if it opens, does everything to it that reads or writes.
    bool survives(const Bytes& bytes)
    {
        write_whole_file(folder.path("bad"), bytes);
        const int file = OpenResFile(folder.path("bad"));
        if (file < 0) {
            EXPECT_TRUE(ResError() == kResReadFailed || ResError() == kResCannotOpen) << ResError();
            return false;
        }
        walk();
        change(file);
        CloseAllResFiles();
        EXPECT_EQ(HandleTotal(), 0u);
        return true;
    }

    static void walk()
    {
        for (int32_t i = 1; i <= Count1Types(); i++) {
            const ResType type = Get1IndType(i);
            for (int32_t index = 1; index <= Count1Resources(type); index++) {
                const Handle handle = Get1IndResource(type, index);
                if (handle == 0)
                    continue;
                ResInfo info;
                GetResInfo(handle, info);
                SizeResource(handle);
                GetNamedResource(type, info.name);
                GetResource(type, info.id);
            }
            UniqueID(type);
            CountResources(type);
        }
    }

    static void change(int file)
    {
        const Handle first = GetIndResource(kText, 1);
        if (first != 0) {
            SetResInfo(first, 99, "A name that is longer than any");
            SetHandleSize(first, 1000);
            ChangedResource(first);
            WriteResource(first);
        }
        const Handle second = GetIndResource(kText, 2);
        if (second != 0)
            RmveResource(second);
        const Handle fresh = handle_with("fresh");
        AddResource(fresh, res_type("NEWT"), 1, "n");
        AddResource(handle_with("more"), kString, 400, "");
        UpdateResFile(file);
        if (HomeResFile(second) < 0 && HandleIsLive(second))
            DisposeHandle(second);
    }

    Bytes good_file()
    {
        make("good");
        add(kText, 1, "one", "Eins");
        SetResAttrs(add(kText, 2, "two", "Zwei"), kResChanged | kResPreload);
        add(kString, 1, "string");
        add(res_type("PICT"), -1, std::string(50, 'p'));
        CloseAllResFiles();
        return read_whole_file(folder.path("good"));
    }
};

TEST_F(DamagedResourceFile, no_prefix_of_a_good_file_opens)
{
    const Bytes good = good_file();
    for (size_t length = 0; length < good.size(); length++)
        ASSERT_FALSE(survives(Bytes(good.begin(), good.begin() + static_cast<ptrdiff_t>(length))))
            << length;
    EXPECT_TRUE(survives(good));
}

TEST_F(DamagedResourceFile, any_byte_of_header_and_map_may_be_wrong)
{
    const Bytes good = good_file();
    const size_t map = get_be32(&good[4]);
    for (size_t at = 0; at < good.size(); at++) {
        if (at >= 16 && at < map && (at < 128 || at >= 132) && at % 5 != 0)
            continue;
        for (const uint8_t value :
             { 0x00, 0x01, 0x7f, 0x80, 0xff, good[at] ^ 1, good[at] ^ 0x10 }) {
            Bytes bad = good;
            bad[at] = value;
            if (at < 16)
                bad[map + at] = value; // both copies agree on the damage
            survives(bad);
            if (HasFailure())
                FAIL() << at;
        }
    }
}

TEST_F(DamagedResourceFile, maps_of_random_bytes_do_no_harm)
{
    const Bytes good = good_file();
    const size_t map = get_be32(&good[4]);
    std::mt19937 random(7);
    int opened = 0;
    for (int round = 0; round < 3000; round++) {
        Bytes bad = good;
        for (uint32_t changes = 1 + random() % 4; changes > 0; changes--) {
            const size_t at = map + 16 + random() % (bad.size() - map - 16);
            bad[at] = static_cast<uint8_t>(random() % 3 == 0 ? random() : random() % 100);
        }
        opened += survives(bad);
    }
    EXPECT_GT(opened, 100) << "the test would see nothing but refusals";
}

TEST_F(DamagedResourceFile, a_length_that_reaches_beyond_the_data_is_a_read_error)
{
    Bytes bad = good_file();
    put_be32(&bad[256], 0x7fffffff);
    write_whole_file(folder.path("bad"), bad);
    OpenResFile(folder.path("bad"));
    EXPECT_EQ(GetResource(kText, 1), 0u);
    EXPECT_EQ(ResError(), kResReadFailed);
    EXPECT_EQ(text_of(GetResource(kText, 2)), "two") << "the others are as they were";
}
