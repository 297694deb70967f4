// Creating, opening and closing resource files, and the chain that open ones form.
#include "storage/resource_file.h"

#include <cstring>

#include "platform/files.h"
#include "platform/text_encoding.h"
#include "storage/bytes.h"
#include "storage/file_table.h"
#include "storage/resource_chain.h"

static constexpr size_t kLongestPath = 255;
static constexpr uint32_t kNameAt = 48; // a length byte, then the characters
static constexpr uint32_t kNameRoom = 32;
static constexpr uint32_t kTypeAt = 82;
static constexpr uint32_t kCreatorAt = 86;
static constexpr uint32_t kMarkAt = 128; // 0 in a resource file, not in a database
static constexpr uint32_t kMapHead = 16; // header and map begin with the same bytes

ResState resources;

int16_t ResError()
{
    return resources.status;
}

ResStatusFrame::ResStatusFrame() : saved(resources.status) {}

ResStatusFrame::~ResStatusFrame()
{
    resources.status = saved;
}

int CountOpenResFiles()
{
    return static_cast<int>(resources.chain.size());
}

void set_status(int16_t status)
{
    resources.status = status;
}

ResFile* res_file(int reference)
{
    for (const std::unique_ptr<ResFile>& file : resources.chain) {
        if (file->reference == reference)
            return file.get();
    }
    return nullptr;
}

// ---- Creating ----

static std::vector<uint8_t> new_file_bytes(std::string_view path, ResType creator, ResType type)
{
    std::vector<uint8_t> bytes(kResHeaderSize);
    const std::vector<uint8_t> map = ResourceMap::empty_bytes();
    memcpy(bytes.data(), map.data(), kMapHead);
    const size_t last = path.find_last_of("\\/:");
    const std::string_view name =
        path.substr(last == std::string_view::npos ? 0 : last + 1).substr(0, kNameRoom);
    bytes[kNameAt] = static_cast<uint8_t>(name.size());
    memcpy(&bytes[kNameAt + 1], name.data(), name.size());
    put_be32(&bytes[kTypeAt], type);
    put_be32(&bytes[kCreatorAt], creator);
    bytes.insert(bytes.end(), map.begin(), map.end());
    return bytes;
}

void CreateResFile(std::string_view path, ResType creator, ResType type)
{
    const std::string name(path);
    if (path.size() > kLongestPath)
        return set_status(kResCannotOpen);
    if (FileExists(name.c_str()))
        return set_status(kResExists);
    const FileHandle file =
        CreateFileA(name.c_str(), FileAccess::read_write, FileDisposition::create_always);
    if (file == kNoFile)
        return set_status(GetLastError() == kFileErrorDenied ? kResWriteProtected : kResCannotOpen);
    const std::vector<uint8_t> bytes = new_file_bytes(path, creator, type);
    const bool good = WriteFileAt(file, 0, bytes.data(), static_cast<uint32_t>(bytes.size())) &&
                      (GetStorageSync() != StorageSync::full || FlushFileBuffers(file));
    CloseHandle(file);
    if (!good)
        DeleteFileA(name.c_str());
    set_status(good ? kResGood : kResReadFailed);
}

// ---- Opening ----

int FindResFile(std::string_view path)
{
    for (auto file = resources.chain.rbegin(); file != resources.chain.rend(); ++file) {
        if (ansi_equal_without_case((*file)->path, path))
            return (*file)->reference;
    }
    return -1;
}

static bool is_resource_header(const uint8_t* header, int64_t file_size)
{
    const uint32_t data = get_be32(header);
    const uint32_t map = get_be32(header + 4);
    const uint32_t data_length = get_be32(header + 8);
    const uint32_t map_length = get_be32(header + 12);
    return get_be32(header + kMarkAt) == 0 && data == kResHeaderSize && map >= kResHeaderSize &&
           data_length <= INT32_MAX && map_length <= INT32_MAX &&
           uint64_t(data) + data_length <= map && uint64_t(map) + map_length == uint64_t(file_size);
}

static int16_t read_map(ResFile& file)
{
    uint8_t header[kResHeaderSize];
    StoredReading reading(file.stored);
    if (!reading.held)
        return kResCannotOpen;
    if (!ReadStored(file.stored, 0, header, kResHeaderSize))
        return kResReadFailed;
    if (!is_resource_header(header, GetFileSize(file.stored.file)))
        return kResCannotOpen;
    const uint32_t length = get_be32(header + 12);
    if (length < ResourceMap::kEmptySize)
        return kResCannotOpen;
    file.map.bytes.resize(length);
    if (!ReadStored(file.stored, get_be32(header + 4), file.map.bytes.data(), length))
        return kResCannotOpen;
    if (memcmp(header, file.map.bytes.data(), kMapHead) != 0)
        return kResReadFailed;
    return file.map.is_sound() ? kResGood : kResCannotOpen;
}

bool IsResourceFile(std::string_view path)
{
    if (path.size() > kLongestPath)
        return false;
    if (FindResFile(path) >= 0)
        return true;
    ResFile file;
    if (!OpenStoredFile(file.stored, std::string(path), OpenMode::read))
        return false;
    const bool good = read_map(file) == kResGood;
    CloseStoredFile(file.stored);
    return good;
}

// The file may be open by another spelling of its path; one set of Handles then serves both.
static int same_open_file(const StoredFile& stored)
{
    for (const std::unique_ptr<ResFile>& file : resources.chain) {
        if (SameFile(file->stored.file, stored.file))
            return file->reference;
    }
    return -1;
}

static void preload(ResFile& file)
{
    for (int type = 0; type < file.map.type_count(); type++) {
        for (int entry = 0; entry < file.map.entry_count(type); entry++)
            load_entry(file, { type, entry }, LoadMode::preload);
    }
}

// Leaves the file open and numbered, or closed with the status that is told.
static int16_t open_new(ResFile& file)
{
    int16_t status = read_map(file);
    if (status == kResGood) {
        file.reference = GetFileReference(file.stored.file);
        if (file.reference < 0)
            status = kResCannotOpen;
    }
    if (status != kResGood)
        CloseStoredFile(file.stored);
    return status;
}

int OpenResFile(std::string_view path)
{
    set_status(kResGood);
    const int known = FindResFile(path);
    if (known >= 0)
        return known;
    std::unique_ptr<ResFile> file = std::make_unique<ResFile>();
    file->path = path;
    if (path.size() > kLongestPath ||
        !OpenStoredFile(file->stored, file->path, OpenMode::write_or_read)) {
        set_status(kResCannotOpen);
        return -1;
    }
    const int same = same_open_file(file->stored);
    if (same >= 0) {
        CloseStoredFile(file->stored);
        return same;
    }
    const int16_t status = open_new(*file);
    if (status != kResGood) {
        set_status(status);
        return -1;
    }
    file->map.set_attributes(file->map.attributes() & ~(kMapCompact | kMapChanged));
    file->map.clear_handles();
    resources.chain.push_back(std::move(file));
    ResFile& opened = *resources.chain.back();
    resources.current = opened.reference;
    resources.counts_dirty = true;
    preload(opened);
    set_status(kResGood);
    return opened.reference;
}

// ---- Closing ----

static void dispose_handles(ResFile& file)
{
    for (int type = 0; type < file.map.type_count(); type++) {
        for (int entry = 0; entry < file.map.entry_count(type); entry++) {
            const Handle handle = file.map.handle({ type, entry });
            if (handle != 0)
                DisposeHandle(handle);
        }
    }
}

// Takes the file at a place of the chain out of it; the next older one may become current.
static std::unique_ptr<ResFile> unlink_file(size_t place)
{
    std::unique_ptr<ResFile> file = std::move(resources.chain[place]);
    resources.chain.erase(resources.chain.begin() + static_cast<ptrdiff_t>(place));
    if (resources.current == file->reference)
        resources.current = place == 0 ? 0 : resources.chain[place - 1]->reference;
    FreeFileReference(file->reference);
    resources.counts_dirty = true;
    return file;
}

void CloseResFile(int reference)
{
    size_t place = 0;
    while (place < resources.chain.size() && resources.chain[place]->reference != reference)
        place++;
    if (place == resources.chain.size())
        return set_status(kResUnknownFile);
    UpdateResFile(reference);
    const std::unique_ptr<ResFile> file = unlink_file(place);
    dispose_handles(*file);
    CloseStoredFile(file->stored);
}

void CloseAllResFiles()
{
    while (!resources.chain.empty())
        CloseResFile(resources.chain.back()->reference);
}

void AbandonAllResFiles()
{
    while (!resources.chain.empty())
        AbandonStoredFile(unlink_file(resources.chain.size() - 1)->stored);
    resources = ResState();
}

// ---- The chain ----

void UseResFile(int reference)
{
    if (reference != 0 && res_file(reference) == nullptr)
        return set_status(kResUnknownFile);
    resources.current = reference;
    set_status(kResGood);
}

int CurResFile()
{
    return resources.current;
}

FileHandle ResFileHandle(int reference)
{
    const ResFile* file = res_file(reference);
    return file == nullptr ? kNoFile : file->stored.file;
}

uint16_t GetResFileAttrs(int reference)
{
    const ResFile* file = res_file(reference);
    set_status(file == nullptr ? kResUnknownFile : kResGood);
    return file == nullptr ? 0 : file->map.attributes();
}

void SetResFileAttrs(int reference, uint16_t attributes)
{
    ResFile* file = res_file(reference);
    set_status(file == nullptr ? kResUnknownFile : kResGood);
    if (file != nullptr)
        file->map.set_attributes(attributes);
}
