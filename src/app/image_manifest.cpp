#include "app/image_manifest.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <unistd.h>

#include "app/compact_load.h"
#include "app/source_text.h"
#include "platform/file_paths.h"
#include "platform/text_encoding.h"
#include "platform/zone.h"
#include "storage/bytes.h"
#include "storage/resource_file.h"

constexpr uint32_t kTypeLoad = 0x4c6f6164; // 'Load'
constexpr uint32_t kTypePref = 0x50524546;
constexpr uint32_t kTypeVprf = 0x56505246;
constexpr uint32_t kTypeSize = 0x53495a45;
constexpr uint32_t kTypeSymb = 0x53594d42;

bool parse_type(std::string_view text, uint32_t* type)
{
    if (text.empty() || text.size() > 4)
        return false;
    uint8_t bytes[4] = { ' ', ' ', ' ', ' ' };
    memcpy(bytes, text.data(), text.size());
    *type = get_be32(bytes);
    return true;
}

std::string type_text(uint32_t type)
{
    uint8_t bytes[4];
    put_be32(bytes, type);
    return std::string(reinterpret_cast<char*>(bytes), 4);
}

// ---- Lines

namespace {

struct Line {
    std::vector<std::string> words;
    size_t next = 1;

    bool done() const { return next >= words.size(); }
    std::string take() { return done() ? std::string() : words[next++]; }
};

class ManifestReader {
public:
    ManifestReader(const std::string& folder, Manifest* manifest)
        : folder_(folder), manifest_(manifest)
    {
    }

    bool read(std::string_view text, std::string* error)
    {
        while (!text.empty() && error_.empty()) {
            const size_t end = text.find('\n');
            number_++;
            read_line(text.substr(0, end));
            text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        }
        if (!error_.empty())
            *error = "line " + std::to_string(number_) + ": " + error_;
        return error_.empty();
    }

private:
    void read_line(std::string_view text)
    {
        Line line;
        if (!split(text, &line.words) || line.words.empty())
            return;
        static const std::map<std::string, void (ManifestReader::*)(Line&)> commands = {
            { "type", &ManifestReader::read_type },
            { "creator", &ManifestReader::read_creator },
            { "title", &ManifestReader::read_title },
            { "window", &ManifestReader::read_window },
            { "spaces", &ManifestReader::read_spaces },
            { "partition", &ManifestReader::read_partition },
            { "load", &ManifestReader::read_load },
            { "resource", &ManifestReader::read_resource },
        };
        const auto command = commands.find(line.words[0]);
        if (command == commands.end()) {
            fail("\"" + line.words[0] + "\" is no line of a manifest");
            return;
        }
        (this->*command->second)(line);
        if (error_.empty() && !line.done())
            fail("\"" + line.words[line.next] + "\" is one word too many");
    }

    // Words are set apart by blanks; one in double quotes may hold blanks; "#" begins a comment.
    bool split(std::string_view text, std::vector<std::string>* words)
    {
        for (size_t i = 0; i < text.size();) {
            if (text[i] == ' ' || text[i] == '\t' || text[i] == '\r') {
                i++;
            } else if (text[i] == '#') {
                break;
            } else if (text[i] == '"') {
                const size_t end = text.find('"', i + 1);
                if (end == std::string_view::npos) {
                    fail("a quoted word is not closed");
                    return false;
                }
                words->emplace_back(text.substr(i + 1, end - i - 1));
                i = end + 1;
            } else {
                const size_t end = std::min(text.find_first_of(" \t\r", i), text.size());
                words->emplace_back(text.substr(i, end - i));
                i = end;
            }
        }
        return true;
    }

    void fail(const std::string& what)
    {
        if (error_.empty())
            error_ = what;
    }

    int64_t number(const std::string& word, int64_t least, int64_t most)
    {
        char* end = nullptr;
        errno = 0;
        const long long value = strtoll(word.c_str(), &end, 0);
        if (word.empty() || *end || errno || value < least || value > most) {
            fail("\"" + word + "\" is no number from " + std::to_string(least) + " to " +
                 std::to_string(most));
            return least;
        }
        return value;
    }

    // key=value words into numbers; keys not given keep what they have.
    void read_pairs(Line& line, std::map<std::string, int64_t>& values, int64_t most)
    {
        while (!line.done() && error_.empty()) {
            const std::string word = line.take();
            const size_t equals = word.find('=');
            const auto found = values.find(word.substr(0, equals));
            if (equals == std::string::npos || found == values.end())
                fail("\"" + word + "\" sets nothing that this line knows");
            else
                found->second = number(word.substr(equals + 1), 0, most);
        }
    }

    ManifestEntry& add(ManifestEntry::Content content, uint32_t type, int id)
    {
        if (!seen_.insert({ type, id }).second)
            fail(type_text(type) + " " + std::to_string(id) + " is there already");
        ManifestEntry entry;
        entry.content = content;
        entry.type = type;
        entry.id = id;
        entry.line = number_;
        manifest_->entries.push_back(entry);
        return manifest_->entries.back();
    }

    std::string path(const std::string& word) const
    {
        return word.empty() || word[0] == '/' ? word : folder_ + word;
    }

    void read_type(Line& line)
    {
        if (!parse_type(line.take(), &manifest_->file_type))
            fail("a type has four characters");
    }
    void read_creator(Line& line)
    {
        if (!parse_type(line.take(), &manifest_->creator))
            fail("a creator has four characters");
    }

    void read_title(Line& line)
    {
        const std::string title = ansi_from_utf8(line.take()).substr(0, 255);
        add(ManifestEntry::bytes, kTypePref, 258).data = static_cast<char>(title.size()) + title;
    }

    void read_window(Line& line)
    {
        std::map<std::string, int64_t> values = {
            { "width", 640 }, { "height", 480 }, { "flags", 0 }, { "flags2", 0 }, { "language", 0 }
        };
        read_pairs(line, values, 65535);
        uint8_t bytes[9] = {};
        bytes[2] = static_cast<uint8_t>(values["flags"]);
        bytes[3] = static_cast<uint8_t>(values["language"]);
        put_be16(bytes + 4, static_cast<uint16_t>(values["width"]));
        put_be16(bytes + 6, static_cast<uint16_t>(values["height"]));
        bytes[8] = static_cast<uint8_t>(values["flags2"]);
        add(ManifestEntry::bytes, kTypePref, 257).data.assign(reinterpret_cast<char*>(bytes), 9);
    }

    void read_spaces(Line& line)
    {
        static const char* const keys[] = { "symbols",       "lisp-stack",     "prolog-stack",
                                            "nodes",         "heap",           "reserve",
                                            "machine-stack", "spare-to-nodes", "spare-to-reserve" };
        std::map<std::string, int64_t> values;
        for (const char* key : keys)
            values[key] = 0;
        read_pairs(line, values, UINT32_MAX);
        uint8_t bytes[36];
        for (int i = 0; i < 9; i++)
            put_be32(bytes + 4 * i, static_cast<uint32_t>(values[keys[i]]));
        add(ManifestEntry::bytes, kTypeVprf, 256).data.assign(reinterpret_cast<char*>(bytes), 36);
    }

    void read_partition(Line& line)
    {
        const uint32_t size = static_cast<uint32_t>(number(line.take(), 0, UINT32_MAX));
        uint8_t bytes[10] = {};
        put_be32(bytes + 2, size);
        put_be32(bytes + 6, size);
        add(ManifestEntry::bytes, kTypeSize, -1).data.assign(reinterpret_cast<char*>(bytes), 10);
    }

    void read_load(Line& line)
    {
        const std::string form = line.take();
        if (form != "text" && form != "compact") {
            fail("a load is \"text\" or \"compact\"");
            return;
        }
        ManifestEntry& entry =
            add(form == "text" ? ManifestEntry::load_text : ManifestEntry::load_compact, kTypeLoad,
                next_load_++);
        entry.path = path(line.take());
        if (entry.path.empty())
            fail("a load names a file");
        entry.name = ansi_from_utf8(line.take());
    }

    void read_resource(Line& line)
    {
        uint32_t type = 0;
        if (!parse_type(ansi_from_utf8(line.take()), &type)) {
            fail("a resource type has four characters");
            return;
        }
        ManifestEntry& entry =
            add(ManifestEntry::bytes, type, static_cast<int>(number(line.take(), -32768, 32767)));
        while (!line.done() && error_.empty())
            read_option(line, line.take(), entry);
    }

    void read_option(Line& line, const std::string& word, ManifestEntry& entry)
    {
        if (word == "name") {
            entry.name = ansi_from_utf8(line.take());
        } else if (word == "attributes") {
            entry.attributes = static_cast<int>(number(line.take(), 0, 255));
        } else if (word == "file") {
            entry.content = ManifestEntry::file;
            entry.path = path(line.take());
        } else if (word == "string") {
            entry.data += ansi_from_utf8(line.take());
        } else if (word == "hex") {
            do
                read_hex(line.take(), entry);
            while (!line.done() && is_hex(line.words[line.next]));
        } else {
            fail("\"" + word + "\" says nothing about a resource");
        }
    }

    static bool is_hex(const std::string& word)
    {
        return !word.empty() && word.size() % 2 == 0 &&
               word.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
    }

    void read_hex(const std::string& word, ManifestEntry& entry)
    {
        if (!is_hex(word)) {
            fail("\"" + word + "\" is no pair of hexadecimal digits");
            return;
        }
        for (size_t i = 0; i < word.size(); i += 2)
            entry.data += static_cast<char>(strtol(word.substr(i, 2).c_str(), nullptr, 16));
    }

    const std::string folder_;
    Manifest* const manifest_;
    std::string error_;
    int number_ = 0;
    int next_load_ = 0;
    std::set<std::pair<uint32_t, int>> seen_;
};

} // namespace

bool parse_manifest(std::string_view text, const std::string& folder, Manifest* manifest,
                    std::string* error)
{
    *manifest = Manifest();
    return ManifestReader(folder, manifest).read(text, error);
}

// ---- Building

static bool add_resource(const ManifestEntry& entry, const std::string& data, std::string* error)
{
    const Handle handle = NewHandle(static_cast<uint32_t>(data.size()));
    if (!handle) {
        *error = "no memory";
        return false;
    }
    if (!data.empty()) {
        const LockedHandle locked(handle);
        memcpy(locked.bytes, data.data(), data.size());
    }
    AddResource(handle, entry.type, static_cast<int16_t>(entry.id), entry.name);
    if (ResError() == 0 && entry.attributes != 0)
        SetResAttrs(handle, static_cast<uint8_t>(entry.attributes | GetResAttrs(handle)));
    if (ResError() == 0)
        return true;
    *error = type_text(entry.type) + " " + std::to_string(entry.id) + ": status " +
             std::to_string(ResError());
    return false;
}

static bool entry_data(const ManifestEntry& entry, SymbolTable* symbols, std::string* data,
                       std::string* error)
{
    if (entry.content == ManifestEntry::bytes) {
        *data = entry.data;
        return true;
    }
    if (!read_host_file(entry.path, data, error))
        return false;
    if (entry.content == ManifestEntry::load_text)
        *data = lisp_text(*data);
    else if (entry.content == ManifestEntry::load_compact)
        *data = compact_load(lisp_text(*data), symbols);
    return true;
}

static bool add_all(const Manifest& manifest, std::string* error)
{
    SymbolTable symbols;
    bool compact = false;
    for (const ManifestEntry& entry : manifest.entries) {
        std::string data;
        if (!entry_data(entry, &symbols, &data, error) || !add_resource(entry, data, error))
            return false;
        compact |= entry.content == ManifestEntry::load_compact;
    }
    if (!compact)
        return true;
    ManifestEntry table;
    table.type = kTypeSymb;
    return add_resource(table, symbols.resource(), error);
}

static bool fill_image(const Manifest& manifest, const std::string& path, std::string* error)
{
    const std::string system = system_path(path);
    CreateResFile(system, manifest.creator, manifest.file_type);
    if (ResError() != 0) {
        *error = path + ": cannot be made";
        return false;
    }
    const int reference = OpenResFile(system);
    if (reference < 0) {
        *error = path + ": cannot be opened again";
        return false;
    }
    bool good = add_all(manifest, error);
    CloseResFile(reference);
    if (good && ResError() != 0) {
        *error = path + ": status " + std::to_string(ResError());
        good = false;
    }
    return good;
}

// The file is made under its own name, which it holds, in a folder that goes away with it.
bool build_image(const Manifest& manifest, const std::string& output_path, std::string* error)
{
    zone_open();
    const size_t slash = output_path.rfind('/') + 1;
    std::string folder = output_path.substr(0, slash) + ".image-XXXXXX";
    if (!mkdtemp(folder.data())) {
        *error = folder + ": " + strerror(errno);
        return false;
    }
    const std::string fresh = folder + "/" + output_path.substr(slash);
    bool good = fill_image(manifest, fresh, error);
    if (good && rename(fresh.c_str(), output_path.c_str()) != 0) {
        *error = output_path + ": " + strerror(errno);
        good = false;
    }
    unlink(fresh.c_str());
    rmdir(folder.c_str());
    return good;
}
