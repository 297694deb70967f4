// kalvex-image: packs Image files, and looks into them.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "app/compact_load.h"
#include "app/image_manifest.h"
#include "app/source_text.h"
#include "platform/file_paths.h"
#include "platform/text_encoding.h"
#include "platform/zone.h"
#include "storage/bytes.h"
#include "storage/handles.h"
#include "storage/resource_file.h"
#include "storage/storage_errors.h"

static const char kUsage[] =
    "kalvex-image build MANIFEST -o FILE     packs the sources that a manifest names\n"
    "kalvex-image list FILE                  type, id, attributes, size and name of each resource\n"
    "kalvex-image extract FILE TYPE ID [-o OUT]   the bytes of one resource, on standard output\n"
    "kalvex-image check FILE                 looks for what boot would stumble over\n";

static int complain(const std::string& what)
{
    fprintf(stderr, "kalvex-image: %s\n", what.c_str());
    return 1;
}

static int build(const std::string& manifest_path, const std::string& output)
{
    std::string text, error;
    if (!read_host_file(manifest_path, &text, &error))
        return complain(error);
    Manifest manifest;
    const std::string folder = manifest_path.substr(0, manifest_path.rfind('/') + 1);
    if (!parse_manifest(text, folder, &manifest, &error))
        return complain(manifest_path + ": " + error);
    if (!build_image(manifest, output, &error))
        return complain(error);
    return 0;
}

// ---- Looking into a file

namespace {

struct Item {
    ResInfo info;
    uint8_t attributes;
    int32_t size;
    Handle handle;
};

} // namespace

static bool open_image(const std::string& path)
{
    zone_open();
    return OpenResFile(system_path(path)) >= 0;
}

// Every resource of the open file, type by type in the order of its map. One whose data cannot be
// read has a null handle.
static std::vector<Item> all_items()
{
    std::vector<Item> items;
    for (int32_t t = 1; t <= Count1Types(); t++) {
        const uint32_t type = Get1IndType(t);
        const int32_t count = Count1Resources(type);
        for (int32_t i = 1; i <= count; i++) {
            Item item = {};
            item.info.type = type;
            item.handle = Get1IndResource(type, i);
            if (item.handle) {
                GetResInfo(item.handle, item.info);
                item.attributes = GetResAttrs(item.handle);
                item.size = SizeResource(item.handle);
            }
            items.push_back(item);
        }
    }
    return items;
}

static std::string handle_bytes(Handle handle)
{
    const uint32_t size = GetHandleSize(handle);
    if (size == 0)
        return "";
    const LockedHandle locked(handle);
    return std::string(reinterpret_cast<char*>(locked.bytes), size);
}

static int list(const std::string& path)
{
    if (!open_image(path))
        return complain(path + ": is no resource file");
    for (const Item& item : all_items()) {
        const std::string type = utf8_from_ansi(type_text(item.info.type));
        if (!item.handle) {
            printf("'%s'      ?  cannot be read\n", type.c_str());
            continue;
        }
        printf("'%s' %6d  %02x %8d  %s\n", type.c_str(), item.info.id, item.attributes, item.size,
               utf8_from_ansi(item.info.name).c_str());
    }
    CloseAllResFiles();
    return 0;
}

static int extract(const std::string& path, const std::string& type_word,
                   const std::string& id_word, const std::string& output)
{
    uint32_t type;
    char* end;
    const long id = strtol(id_word.c_str(), &end, 10);
    if (!parse_type(ansi_from_utf8(type_word), &type) || id_word.empty() || *end || id < -32768 ||
        id > 32767)
        return complain("\"" + type_word + "\" \"" + id_word + "\" names no resource");
    if (!open_image(path))
        return complain(path + ": is no resource file");
    const Handle handle = Get1Resource(type, static_cast<int16_t>(id));
    if (!handle)
        return complain(path + ": has no '" + type_word + "' " + id_word);
    const std::string bytes = handle_bytes(handle);
    CloseAllResFiles();
    FILE* file = output.empty() ? stdout : fopen(output.c_str(), "wb");
    if (!file)
        return complain(output + ": " + strerror(errno));
    const bool written = fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    if ((file != stdout ? fclose(file) : fflush(file)) != 0 || !written)
        return complain(output + ": cannot be written");
    return 0;
}

// ---- Checking

namespace {

class ImageCheck {
public:
    int run()
    {
        const std::vector<Item> items = all_items();
        for (const Item& item : items) {
            if (!item.handle)
                fault(item.info, "cannot be read");
        }
        check_size("VPRF", 256, 36);
        check_size("SIZE", -1, 6);
        check_size("PREF", 257, 4);
        check_title();
        check_symbols();
        check_loads(items);
        return faults_ ? 1 : 0;
    }

private:
    void fault(const ResInfo& info, const std::string& what)
    {
        ++faults_;
        printf("'%s' %d: %s\n", utf8_from_ansi(type_text(info.type)).c_str(), info.id,
               what.c_str());
    }

    static ResInfo naming(const char* type, int id)
    {
        ResInfo info;
        parse_type(type, &info.type);
        info.id = static_cast<int16_t>(id);
        return info;
    }

    static Handle find(const char* type, int id)
    {
        const ResInfo info = naming(type, id);
        return Get1Resource(info.type, info.id);
    }

    void check_size(const char* type, int id, uint32_t least)
    {
        const Handle handle = find(type, id);
        if (handle && GetHandleSize(handle) < least)
            fault(naming(type, id), "is shorter than " + std::to_string(least) + " bytes");
    }

    void check_title()
    {
        const Handle handle = find("PREF", 258);
        if (!handle)
            return;
        const std::string bytes = handle_bytes(handle);
        if (bytes.empty() || static_cast<uint8_t>(bytes[0]) >= bytes.size())
            fault(naming("PREF", 258), "is no counted string");
    }

    void check_symbols()
    {
        const Handle handle = find("SYMB", 0);
        if (!handle)
            return;
        const std::string bytes = handle_bytes(handle);
        if (bytes.size() < 2) {
            fault(naming("SYMB", 0), "has no count");
            return;
        }
        symbol_count_ = get_be16(reinterpret_cast<const uint8_t*>(bytes.data()));
        size_t names = 0;
        for (size_t i = 2; i < bytes.size(); i++)
            names += bytes[i] == 0;
        if (names < symbol_count_)
            fault(naming("SYMB", 0), "holds fewer names than it counts");
    }

    void check_loads(const std::vector<Item>& items)
    {
        int count = 0;
        while (find("Load", count))
            count++;
        if (count == 0)
            fault(naming("Load", 0), "is missing: nothing is loaded");
        for (const Item& item : items) {
            if (item.info.type != naming("Load", 0).type || !item.handle)
                continue;
            if (item.info.id >= count || item.info.id < 0)
                fault(item.info, "comes behind a gap: it is never loaded");
            if (const char* wrong = check_compact_load(handle_bytes(item.handle), symbol_count_))
                fault(item.info, wrong);
        }
    }

    size_t symbol_count_ = 0;
    int faults_ = 0;
};

} // namespace

static int check(const std::string& path)
{
    if (!open_image(path))
        return complain(path + ": is no resource file");
    const int status = ImageCheck().run();
    CloseAllResFiles();
    return status;
}

// ---- Command line

// Takes "-o FILE" out of the words.
static bool take_output(std::vector<std::string>* words, std::string* output)
{
    for (size_t i = 0; i < words->size(); i++) {
        if ((*words)[i] != "-o")
            continue;
        if (i + 1 == words->size())
            return false;
        *output = (*words)[i + 1];
        words->erase(words->begin() + i, words->begin() + i + 2);
        return true;
    }
    return true;
}

int main(int count, char** arguments)
{
    std::vector<std::string> words(arguments + 1, arguments + count);
    std::string output;
    const bool sound = take_output(&words, &output);
    const std::string command = words.empty() ? "" : words[0];
    try {
        if (sound && command == "build" && words.size() == 2 && !output.empty())
            return build(words[1], output);
        if (sound && command == "list" && words.size() == 2)
            return list(words[1]);
        if (sound && command == "extract" && words.size() == 4)
            return extract(words[1], words[2], words[3], output);
        if (sound && command == "check" && words.size() == 2)
            return check(words[1]);
    } catch (const StorageError& error) {
        return complain("storage error " + std::to_string(error.code));
    }
    fputs(kUsage, stderr);
    return 2;
}
