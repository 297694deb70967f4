// Resource files: exact bytes, the chain, loading, statuses.
#include "resource_test.h"

class ResourceFile : public ResourceTest {};

static Bytes bytes_of(const char* hex)
{
    Bytes bytes;
    for (; *hex != 0; hex++) {
        if (*hex == ' ')
            continue;
        bytes.push_back(static_cast<uint8_t>(std::stoi(std::string(hex, 2), nullptr, 16)));
        hex++;
    }
    return bytes;
}

static Bytes slice(const Bytes& bytes, size_t from, size_t count)
{
    return Bytes(bytes.begin() + static_cast<ptrdiff_t>(from),
                 bytes.begin() + static_cast<ptrdiff_t>(from + count));
}

TEST_F(ResourceFile, a_new_file_has_286_bytes_that_open)
{
    CreateResFile(folder.path("New file.rsrc"), res_type("KVXA"), res_type("rsrc"));
    EXPECT_EQ(ResError(), 0);
    const Bytes bytes = read_whole_file(folder.path("New file.rsrc"));
    ASSERT_EQ(bytes.size(), 286u);
    EXPECT_EQ(slice(bytes, 0, 16), bytes_of("00000100 00000100 00000000 0000001e"));
    EXPECT_EQ(slice(bytes, 16, 32), Bytes(32, 0));
    EXPECT_EQ(bytes[48], 13);
    EXPECT_EQ(std::string(bytes.begin() + 49, bytes.begin() + 62), "New file.rsrc");
    EXPECT_EQ(slice(bytes, 62, 20), Bytes(20, 0));
    EXPECT_EQ(std::string(bytes.begin() + 82, bytes.begin() + 90), "rsrcKVXA");
    EXPECT_EQ(slice(bytes, 90, 166), Bytes(166, 0));
    EXPECT_EQ(slice(bytes, 256, 30),
              bytes_of("00000100 00000100 00000000 0000001e 00000000 0000 0000 001c 001e ffff"));
    EXPECT_EQ(OpenResFile(folder.path("New file.rsrc")), 1);
    EXPECT_EQ(ResError(), 0);
    CreateResFile(folder.path("New file.rsrc"), 0, 0);
    EXPECT_EQ(ResError(), kResExists);
    CreateResFile(folder.path("no\\such\\folder"), 0, 0);
    EXPECT_EQ(ResError(), kResCannotOpen);
}

TEST_F(ResourceFile, a_long_name_is_cut_in_the_header_only)
{
    const std::string name(40, 'n');
    make(name);
    const Bytes bytes = read_whole_file(folder.path(name));
    EXPECT_EQ(bytes[48], 32);
    EXPECT_EQ(std::string(bytes.begin() + 49, bytes.begin() + 81), std::string(32, 'n'));
    EXPECT_EQ(bytes[81], 0);
    EXPECT_EQ(OpenResFile(std::string(256, 'x')), -1);
    EXPECT_EQ(ResError(), kResCannotOpen);
}

TEST_F(ResourceFile, added_resources_stand_as_the_layout_has_them)
{
    const int file = make("a");
    add(kText, 128, "hello", "First");
    add(kString, -5, "xy");
    add(kText, 129, "", "Second");
    UpdateResFile(file);
    ASSERT_EQ(ResError(), 0);
    const Bytes bytes = read_whole_file(folder.path("a"));
    const Bytes header = bytes_of("00000100 00000113 00000013 0000005f");
    EXPECT_EQ(slice(bytes, 0, 16), header);
    EXPECT_EQ(slice(bytes, 256, 19), bytes_of("00000005 68656c6c6f 00000000 00000002 7879"));
    Bytes map = header;
    const Bytes rest = bytes_of("00000000 0000 0000 001c 0052 0001"
                                "54455854 0001 0012  53545220 0000 002a"
                                "0080 0000 00000000 00000000" // TEXT 128
                                "0081 0006 00000009 00000000" // TEXT 129
                                "fffb ffff 0000000d 00000000" // STR  -5
                                "05 4669727374 06 5365636f6e64");
    map.insert(map.end(), rest.begin(), rest.end());
    EXPECT_EQ(slice(bytes, 275, bytes.size() - 275), map);
}

TEST_F(ResourceFile, what_was_written_is_read_back)
{
    make("a");
    add(kText, 1, "one", "Eins");
    add(kText, 2, std::string(100000, 'z'));
    add(kText, 3, "");
    CloseAllResFiles();
    EXPECT_EQ(HandleTotal(), 0u);
    OpenResFile(folder.path("a"));
    EXPECT_EQ(text_of(GetResource(kText, 1)), "one");
    EXPECT_EQ(text_of(GetNamedResource(kText, "Eins")), "one");
    EXPECT_EQ(GetNamedResource(kText, "eins"), 0u) << "names compare byte for byte";
    EXPECT_EQ(ResError(), kResNotFound);
    EXPECT_EQ(GetNamedResource(kText, ""), 0u) << "no name never matches";
    EXPECT_EQ(text_of(Get1IndResource(kText, 2)), std::string(100000, 'z'));
    EXPECT_EQ(text_of(GetResource(kText, 3)), "");
    ResInfo info;
    ASSERT_TRUE(GetResInfo(GetResource(kText, 1), info));
    EXPECT_EQ(info.id, 1);
    EXPECT_EQ(info.type, kText);
    EXPECT_EQ(info.name, "Eins");
}

TEST_F(ResourceFile, files_that_break_a_rule_are_refused)
{
    make("good");
    add(kText, 1, "one");
    CloseAllResFiles();
    const Bytes good = read_whole_file(folder.path("good"));
    const auto status_with = [&](auto change) {
        Bytes bytes = good;
        change(bytes);
        write_whole_file(folder.path("bad"), bytes);
        EXPECT_EQ(OpenResFile(folder.path("bad")), -1);
        return ResError();
    };
    EXPECT_EQ(status_with([](Bytes& b) { b.push_back(0); }), kResCannotOpen);
    EXPECT_EQ(status_with([](Bytes& b) { b[128] = 2; }), kResCannotOpen);
    EXPECT_EQ(status_with([](Bytes& b) { b[3] = 1; }), kResCannotOpen);
    EXPECT_EQ(status_with([](Bytes& b) { b[8] = 0x80; }), kResCannotOpen);
    EXPECT_EQ(status_with([](Bytes& b) { b[10] = 1; }), kResCannotOpen);
    EXPECT_EQ(status_with([](Bytes& b) { b[263 + 11] ^= 1; }), kResReadFailed);
    EXPECT_EQ(status_with([](Bytes& b) { b.resize(200); }), kResReadFailed);
    EXPECT_EQ(status_with([](Bytes& b) { b[263 + 24] = 0x7f; }), kResCannotOpen);
    EXPECT_EQ(status_with([](Bytes& b) { b[263 + 29] = 9; }), kResCannotOpen);
    EXPECT_EQ(status_with([](Bytes& b) { b[263 + 37] = 0; }), kResCannotOpen);
    EXPECT_EQ(OpenResFile(folder.path("none")), -1);
    EXPECT_EQ(OpenResFile(folder.path("")), -1) << "a folder";
    EXPECT_EQ(CurResFile(), 0);
}

TEST_F(ResourceFile, a_file_already_open_keeps_its_reference_and_the_current_file)
{
    const int a = make("a");
    const int b = make("b");
    EXPECT_EQ(a, 1);
    EXPECT_EQ(b, 2);
    EXPECT_EQ(OpenResFile(folder.path("A")), a);
    EXPECT_EQ(OpenResFile(folder.path(".\\a")), a) << "another spelling of one file";
    EXPECT_EQ(CurResFile(), b);
    UseResFile(99);
    EXPECT_EQ(ResError(), kResUnknownFile);
    EXPECT_EQ(CurResFile(), b);
    CloseResFile(99);
    EXPECT_EQ(ResError(), kResUnknownFile);
    CloseResFile(b);
    EXPECT_EQ(CurResFile(), a) << "the next older file";
    EXPECT_EQ(make("c"), 2) << "the search begins at the number given last";
    CloseResFile(a);
    EXPECT_EQ(make("d"), 3);
    UseResFile(0);
    EXPECT_EQ(GetResource(kText, 1), 0u);
    EXPECT_EQ(ResError(), kResNotFound);
    EXPECT_EQ(Get1Resource(kText, 1), 0u);
    EXPECT_EQ(ResError(), kResNotFound);
}

TEST_F(ResourceFile, a_search_goes_from_the_current_file_to_older_ones)
{
    const int older = make("older");
    add(kString, 128, "old");
    add(kString, 5, "only old");
    const int newer = make("newer");
    add(kString, 128, "new");
    EXPECT_EQ(text_of(GetResource(kString, 128)), "new");
    EXPECT_EQ(text_of(GetResource(kString, 5)), "only old");
    EXPECT_EQ(Get1Resource(kString, 5), 0u);
    EXPECT_EQ(ResError(), kResNotFound);
    EXPECT_EQ(CountResources(kString), 3);
    EXPECT_EQ(Count1Resources(kString), 1);
    EXPECT_EQ(text_of(GetIndResource(kString, 1)), "new");
    EXPECT_EQ(text_of(GetIndResource(kString, 3)), "only old");
    UseResFile(older);
    EXPECT_EQ(text_of(GetResource(kString, 128)), "old");
    EXPECT_EQ(text_of(GetIndResource(kString, 1)), "new") << "indexes start at the chain's top";
    EXPECT_EQ(HomeResFile(GetIndResource(kString, 1)), newer);
    EXPECT_EQ(GetIndResource(kString, 0), 0u);
    EXPECT_EQ(ResError(), 0);
    EXPECT_EQ(GetIndResource(kString, 4), 0u);
    EXPECT_EQ(ResError(), kResNotFound);
    EXPECT_EQ(HomeResFile(NewHandle(3)), -1);
    EXPECT_EQ(ResError(), kResNotFound);
}

TEST_F(ResourceFile, purged_and_released_resources_come_back)
{
    make("a");
    const Handle first = add(kText, 1, "one");
    SetResAttrs(first, GetResAttrs(first) | kResPurgeable);
    PurgeMemory(UINT32_MAX);
    EXPECT_EQ(text_of(first), "one") << "what is not on disk yet is not purged";
    UpdateResFile(CurResFile());
    PurgeMemory(UINT32_MAX);
    EXPECT_TRUE(HandleIsEmpty(first));
    EXPECT_EQ(SizeResource(first), 3) << "without loading";
    EXPECT_TRUE(HandleIsEmpty(first));
    SetResLoad(0);
    EXPECT_EQ(GetResource(kText, 1), first);
    EXPECT_TRUE(HandleIsEmpty(first));
    ReleaseResource(first);
    EXPECT_EQ(ResError(), 0);
    const Handle again = GetResource(kText, 1);
    EXPECT_EQ(text_of(again), "one") << "one seen for the first time is read all the same";
    SetResLoad(1);
    PurgeMemory(UINT32_MAX);
    LoadResource(again);
    EXPECT_EQ(text_of(again), "one");
    DetachResource(again);
    EXPECT_EQ(HomeResFile(again), -1);
    EXPECT_EQ(text_of(again), "one");
    EXPECT_NE(GetResource(kText, 1), again);
}

TEST_F(ResourceFile, a_handle_disposed_of_behind_the_maps_back_is_read_anew)
{
    make("a");
    const Handle first = add(kText, 1, "one");
    add(kText, 2, "two");
    UpdateResFile(CurResFile());
    DisposeHandle(first);
    const Handle other = handle_with("stranger");
    ASSERT_EQ(other, first);
    EXPECT_EQ(HomeResFile(other), -1);
    const Handle again = GetResource(kText, 1);
    EXPECT_NE(again, other);
    EXPECT_EQ(text_of(again), "one");
    DisposeHandle(again);
    ReleaseResource(GetResource(kText, 2));
    const Handle two = GetResource(kText, 2);
    EXPECT_EQ(text_of(two), "two");
    EXPECT_EQ(text_of(GetResource(kText, 1)), "one");
    EXPECT_EQ(text_of(GetResource(kText, 2)), "two");
    CloseAllResFiles();
    EXPECT_EQ(text_of(other), "stranger");
}

TEST_F(ResourceFile, data_that_grows_moves_behind_and_data_that_shrinks_stays)
{
    const int file = make("a");
    const Handle first = add(kText, 1, "12345");
    add(kText, 2, "abc");
    UpdateResFile(file);
    const size_t before = read_whole_file(folder.path("a")).size();
    set_text(first, "12");
    ChangedResource(first);
    UpdateResFile(file);
    Bytes bytes = read_whole_file(folder.path("a"));
    EXPECT_EQ(bytes.size(), before);
    EXPECT_EQ(slice(bytes, 256, 9), bytes_of("00000002 31323334 35")) << "a dead tail";
    set_text(first, "123");
    ChangedResource(first);
    UpdateResFile(file);
    bytes = read_whole_file(folder.path("a"));
    EXPECT_EQ(get_be32(&bytes[4]), 256u + 9 + 7 + 7) << "the length word alone counts as room";
    EXPECT_EQ(slice(bytes, 272, 7), bytes_of("00000003 313233"));
    set_text(first, "");
    ChangedResource(first);
    UpdateResFile(file);
    EXPECT_EQ(SizeResource(first), 0);
    CloseAllResFiles();
    OpenResFile(folder.path("a"));
    EXPECT_EQ(text_of(GetResource(kText, 2)), "abc");
    EXPECT_EQ(text_of(GetResource(kText, 1)), "");
}

TEST_F(ResourceFile, removal_leaves_a_hole_until_the_map_is_written)
{
    const int file = make("a");
    const Handle first = add(kText, 1, "one", "A name");
    add(kText, 2, "two", "Two");
    const Handle string = add(kString, 1, "s");
    UpdateResFile(file);
    const Bytes full = read_whole_file(folder.path("a"));
    RmveResource(string);
    RmveResource(first);
    EXPECT_EQ(ResError(), 0);
    EXPECT_EQ(GetResFileAttrs(file), 0x60);
    EXPECT_EQ(Count1Types(), 1);
    EXPECT_EQ(text_of(Get1IndResource(kText, 1)), "two");
    EXPECT_EQ(text_of(first), "one") << "the Handle lives on";
    RmveResource(first);
    EXPECT_EQ(ResError(), kResRemoveFailed);
    UpdateResFile(file);
    const Bytes bytes = read_whole_file(folder.path("a"));
    EXPECT_EQ(full.size() - bytes.size(), 8u + 12 + 12 + 7);
    EXPECT_EQ(GetResFileAttrs(file), 0);
    const Handle two = GetResource(kText, 2);
    SetResAttrs(two, kResProtected);
    RmveResource(two);
    EXPECT_EQ(ResError(), kResRemoveFailed);
    SetResInfo(two, 9, "other");
    EXPECT_EQ(ResError(), 0);
    EXPECT_EQ(GetResource(kText, 2), two) << "protected: nothing changes";
}

TEST_F(ResourceFile, adding_needs_a_current_file_and_a_handle_that_is_new)
{
    const Handle handle = handle_with("x");
    AddResource(handle, kText, 1, "");
    EXPECT_EQ(ResError(), kResAddFailed);
    make("a");
    AddResource(0, kText, 1, "");
    EXPECT_EQ(ResError(), kResAddFailed);
    AddResource(handle, kText, 1, "");
    EXPECT_EQ(ResError(), 0);
    make("b");
    AddResource(handle, kText, 2, "");
    EXPECT_EQ(ResError(), kResAddFailed) << "held under this type in another file";
    AddResource(handle, kString, 2, "");
    EXPECT_EQ(ResError(), 0);
    EXPECT_EQ(SizeResource(add(kText, 4, "")), -1) << "no data anywhere yet";
}

TEST_F(ResourceFile, names_and_ids_change_in_place_when_they_fit)
{
    const int file = make("a");
    const Handle handle = add(kText, 1, "one", "Long name");
    add(kText, 2, "two", "Two");
    SetResInfo(handle, 7, "Short");
    EXPECT_EQ(GetResource(kText, 1), 0u);
    EXPECT_EQ(GetResource(kText, 7), handle);
    UpdateResFile(file);
    const size_t before = read_whole_file(folder.path("a")).size();
    SetResInfo(handle, 7, "A much longer name");
    SetResInfo(GetResource(kText, 2), 2, "");
    UpdateResFile(file);
    EXPECT_EQ(read_whole_file(folder.path("a")).size(), before + 19)
        << "old names stay as they are";
    CloseAllResFiles();
    OpenResFile(folder.path("a"));
    EXPECT_EQ(text_of(GetNamedResource(kText, "A much longer name")), "one");
    ResInfo info;
    GetResInfo(GetResource(kText, 2), info);
    EXPECT_EQ(info.name, "");
}

TEST_F(ResourceFile, unique_ids_rise_and_begin_anew_with_another_type)
{
    make("a");
    EXPECT_EQ(UniqueID(kText), 128);
    EXPECT_EQ(UniqueID(kText), 129);
    EXPECT_EQ(UniqueID(kString), 128);
    EXPECT_EQ(UniqueID(kText), 128);
    add(kString, 128, "s");
    add(kString, 129, "t");
    EXPECT_EQ(UniqueID(kString), 130);
    make("b");
    add(kString, 131, "u");
    add(kString, 132, "u");
    EXPECT_EQ(UniqueID(kString), 133);
}

TEST_F(ResourceFile, a_map_marked_read_only_is_never_written)
{
    const int file = make("a");
    add(kText, 1, "one");
    SetResFileAttrs(file, 0x80 | GetResFileAttrs(file));
    const Bytes before = read_whole_file(folder.path("a"));
    WriteResource(GetResource(kText, 1));
    UpdateResFile(file);
    EXPECT_EQ(ResError(), 0);
    EXPECT_EQ(read_whole_file(folder.path("a")), before);
}

TEST_F(ResourceFile, preload_reads_on_opening_only_what_asks_for_it)
{
    make("a");
    const Handle early = add(kText, 1, "early");
    add(kText, 2, "late");
    SetResAttrs(early, GetResAttrs(early) | kResPreload);
    CloseAllResFiles();
    OpenResFile(folder.path("a"));
    EXPECT_EQ(HandleTotal(), 5u);
    const int16_t status = ResError();
    EXPECT_EQ(status, 0);
}

TEST_F(ResourceFile, counted_strings_and_patterns_are_bounded_by_their_resource)
{
    make("a");
    add(res_type("STR#"), 1, std::string("\0\3\2ab\0\1c", 8));
    add(res_type("STR#"), 2, std::string("\0\5\2ab\11c", 7)); // ends inside a string
    add(res_type("PAT#"), 1, std::string("\0\2ABCDEFGHabcdefgh", 18));
    uint8_t buffer[256];
    const auto string_at = [&](int16_t id, int32_t index) {
        GetIndString(buffer, id, index);
        return std::string(reinterpret_cast<char*>(buffer + 1), buffer[0]);
    };
    EXPECT_EQ(string_at(1, 1), "ab");
    EXPECT_EQ(string_at(1, 2), "");
    EXPECT_EQ(string_at(1, 3), "c");
    EXPECT_EQ(string_at(1, 4), "");
    EXPECT_EQ(string_at(1, 0), "");
    EXPECT_EQ(string_at(2, 2), "");
    EXPECT_EQ(string_at(2, 4), "");
    EXPECT_EQ(string_at(9, 1), "");
    EXPECT_EQ(CountIndStrings(1), 3);
    EXPECT_EQ(CountIndStrings(9), 0);
    memset(buffer, '.', 9);
    GetIndPattern(buffer, 1, 2);
    EXPECT_EQ(memcmp(buffer, "abcdefgh.", 9), 0);
    GetIndPattern(buffer, 1, 3);
    GetIndPattern(buffer, 0, 2);
    GetIndPattern(buffer, 0, 0);
    EXPECT_EQ(memcmp(buffer, "abcdefgh.", 9), 0);
    GetIndPattern(buffer, 0, 4);
    EXPECT_EQ(memcmp(buffer, "\xaa\x55\xaa\x55\xaa\x55\xaa\x55.", 9), 0);
}

TEST_F(ResourceFile, five_thousand_resources_fit_and_one_too_many_is_refused)
{
    const int file = make("a");
    for (int16_t id = 0; id < 5000; id++)
        add(kText, id, std::to_string(id));
    UpdateResFile(file);
    ASSERT_EQ(ResError(), 0);
    CloseAllResFiles();
    OpenResFile(folder.path("a"));
    for (int16_t id = 0; id < 5000; id++)
        ASSERT_EQ(text_of(GetResource(kText, id)), std::to_string(id));
    int16_t id = 5000;
    do
        AddResource(handle_with("x"), kText, id++, "");
    while (ResError() == 0);
    EXPECT_EQ(ResError(), kResAddFailed);
    CloseAllResFiles();
    EXPECT_EQ(ResError(), 0);
    OpenResFile(folder.path("a"));
    EXPECT_EQ(Count1Resources(kText), id - 1);
}
