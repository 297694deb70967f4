#include "storage/journal.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "storage/bytes.h"

static constexpr uint8_t kMagic[4] = { 'K', 'V', 'X', 'J' };
static constexpr uint32_t kVersion = 1;
static constexpr uint32_t kHeaderSize = 20;
static constexpr uint32_t kRecordHeader = 8;
static constexpr uint32_t kPiece = 1 << 20; // longer ranges are saved in pieces of this size

static StorageSync sync_level = StorageSync::full;

void SetStorageSync(StorageSync level)
{
    sync_level = level;
}

StorageSync GetStorageSync()
{
    return sync_level;
}

static constexpr std::array<uint32_t, 256> make_crc_table()
{
    std::array<uint32_t, 256> table = {};
    for (uint32_t i = 0; i < 256; i++) {
        uint32_t rest = i;
        for (int bit = 0; bit < 8; bit++)
            rest = rest >> 1 ^ (rest & 1 ? 0xedb88320u : 0);
        table[i] = rest;
    }
    return table;
}

uint32_t crc32_of(const void* bytes, uint32_t count, uint32_t before)
{
    static constexpr std::array<uint32_t, 256> table = make_crc_table();
    const uint8_t* at = static_cast<const uint8_t*>(bytes);
    uint32_t crc = ~before;
    for (uint32_t i = 0; i < count; i++)
        crc = crc >> 8 ^ table[(crc ^ at[i]) & 0xff];
    return ~crc;
}

static std::string journal_path(const std::string& target_path)
{
    return target_path + "-journal";
}

// A mark of the file that no update changes: its name field and the reserved part of its header. A
// journal that lies beside a file with another mark belongs to a file that was replaced since.
static uint32_t mark_of(FileHandle target)
{
    uint8_t header[256] = {};
    const int64_t size = GetFileSize(target);
    if (size > 0)
        ReadFileAt(target, 0, header, size < 256 ? static_cast<uint32_t>(size) : 256);
    return crc32_of(header + 128, 128, crc32_of(header + 24, 57));
}

static bool flush_when_full(FileHandle file)
{
    return sync_level != StorageSync::full || FlushFileBuffers(file);
}

// ---- Saving ----

static bool begin_journal(Journal& journal, FileHandle target, const std::string& target_path)
{
    const int64_t size = GetFileSize(target);
    journal.path = journal_path(target_path);
    if (size < 0 || size > INT32_MAX)
        return false;
    journal.original_size = static_cast<uint32_t>(size);
    journal.saved.clear();
    journal.file =
        CreateFileA(journal.path.c_str(), FileAccess::read_write, FileDisposition::create_always);
    if (journal.file == kNoFile)
        return false;
    uint8_t header[kHeaderSize];
    memcpy(header, kMagic, 4);
    put_be32(header + 4, kVersion);
    put_be32(header + 8, journal.original_size);
    put_be32(header + 12, mark_of(target));
    put_be32(header + 16, crc32_of(header, 16));
    journal.end = kHeaderSize;
    return WriteFileAt(journal.file, 0, header, kHeaderSize);
}

static std::vector<ByteRange> sorted_and_merged(std::vector<ByteRange> ranges)
{
    std::sort(ranges.begin(), ranges.end(),
              [](const ByteRange& a, const ByteRange& b) { return a.offset < b.offset; });
    std::vector<ByteRange> merged;
    for (const ByteRange& range : ranges) {
        const uint64_t end = uint64_t(range.offset) + range.length;
        if (!merged.empty() && range.offset <= merged.back().offset + merged.back().length) {
            ByteRange& last = merged.back();
            const uint64_t last_end = uint64_t(last.offset) + last.length;
            last.length = static_cast<uint32_t>(std::max(end, last_end) - last.offset);
        } else if (range.length > 0) {
            merged.push_back(range);
        }
    }
    return merged;
}

// What of the ranges lies in the old file and was not saved before, cut into pieces.
static std::vector<ByteRange> unsaved_parts(const Journal& journal, std::vector<ByteRange> ranges)
{
    const uint32_t size = journal.original_size;
    std::erase_if(ranges, [&](const ByteRange& range) { return range.offset >= size; });
    for (ByteRange& range : ranges)
        range.length = std::min(range.length, size - range.offset);
    std::vector<ByteRange> parts;
    const auto add = [&](uint32_t from, uint32_t to) {
        for (; from < to; from += std::min(kPiece, to - from))
            parts.push_back({ from, std::min(kPiece, to - from) });
    };
    size_t next = 0; // in saved, which is sorted too
    for (const ByteRange& range : sorted_and_merged(std::move(ranges))) {
        uint32_t from = range.offset;
        const uint32_t end = range.offset + range.length;
        while (next < journal.saved.size() &&
               journal.saved[next].offset + journal.saved[next].length <= from)
            next++;
        for (size_t i = next; i < journal.saved.size() && journal.saved[i].offset < end; i++) {
            if (journal.saved[i].offset > from)
                add(from, journal.saved[i].offset);
            from = std::min(end, journal.saved[i].offset + journal.saved[i].length);
        }
        add(from, end);
    }
    return parts;
}

static bool save_part(Journal& journal, FileHandle target, ByteRange part)
{
    std::vector<uint8_t> record(kRecordHeader + part.length + 4);
    put_be32(record.data(), part.offset);
    put_be32(record.data() + 4, part.length);
    if (!ReadFileAt(target, part.offset, record.data() + kRecordHeader, part.length))
        return false;
    const uint32_t checked = kRecordHeader + part.length;
    put_be32(record.data() + checked, crc32_of(record.data(), checked));
    if (!WriteFileAt(journal.file, journal.end, record.data(), checked + 4))
        return false;
    journal.end += checked + 4;
    return true;
}

static void drop_journal(Journal& journal)
{
    CloseHandle(journal.file);
    journal.file = kNoFile;
    journal.saved.clear();
}

bool SaveInJournal(Journal& journal, FileHandle target, const std::string& target_path,
                   const std::vector<ByteRange>& ranges)
{
    if (sync_level == StorageSync::none && journal.file == kNoFile)
        return true;
    const bool fresh = journal.file == kNoFile;
    bool good = !fresh || begin_journal(journal, target, target_path);
    const std::vector<ByteRange> parts =
        good ? unsaved_parts(journal, ranges) : std::vector<ByteRange>();
    for (size_t i = 0; good && i < parts.size(); i++)
        good = save_part(journal, target, parts[i]);
    good = good && (parts.empty() || flush_when_full(journal.file)) &&
           (!fresh || sync_level != StorageSync::full || FlushFolderOf(journal.path.c_str()));
    if (good) {
        journal.saved.insert(journal.saved.end(), parts.begin(), parts.end());
        journal.saved = sorted_and_merged(std::move(journal.saved));
    } else if (fresh && journal.file != kNoFile) {
        drop_journal(journal); // nothing was written to the target yet
        DeleteFileA(journal.path.c_str());
    }
    return good;
}

// ---- Ending ----

// True when no journal is left. That its name is gone for good is not asked: were it to come back
// after a loss of power, the file would be as before the update, and whole.
static bool remove_journal(const std::string& path)
{
    if (!DeleteFileA(path.c_str()) && FileExists(path.c_str()))
        return false;
    if (sync_level == StorageSync::full)
        FlushFolderOf(path.c_str());
    return true;
}

bool CommitJournal(Journal& journal, FileHandle target)
{
    if (journal.file == kNoFile)
        return true;
    if (!flush_when_full(target) || !remove_journal(journal.path))
        return false;
    drop_journal(journal);
    return true;
}

// Whether the journal's header is whole; the update has not begun when it is not.
static bool read_header(FileHandle file, uint8_t* header)
{
    return ReadFileAt(file, 0, header, kHeaderSize) && memcmp(header, kMagic, 4) == 0 &&
           get_be32(header + 4) == kVersion && get_be32(header + 16) == crc32_of(header, 16);
}

// The record at offset, empty when there is none that is whole.
static std::vector<uint8_t> read_record(FileHandle file, uint32_t at, uint32_t target_size)
{
    uint8_t head[kRecordHeader];
    if (!ReadFileAt(file, at, head, kRecordHeader))
        return {};
    const uint32_t offset = get_be32(head);
    const uint32_t length = get_be32(head + 4);
    if (length > kPiece || offset > target_size || length > target_size - offset)
        return {};
    std::vector<uint8_t> record(kRecordHeader + length + 4);
    const uint32_t checked = kRecordHeader + length;
    if (!ReadFileAt(file, at, record.data(), checked + 4) ||
        get_be32(record.data() + checked) != crc32_of(record.data(), checked))
        return {};
    return record;
}

// No two records overlap, so their order does not matter.
static bool put_back(FileHandle file, FileHandle target, uint32_t original_size)
{
    for (uint32_t at = kHeaderSize;;) {
        const std::vector<uint8_t> record = read_record(file, at, original_size);
        if (record.empty())
            break;
        const uint32_t length = get_be32(record.data() + 4);
        if (!WriteFileAt(target, get_be32(record.data()), record.data() + kRecordHeader, length))
            return false;
        at += static_cast<uint32_t>(record.size());
    }
    return (GetFileSize(target) == original_size || SetFileSize(target, original_size)) &&
           flush_when_full(target);
}

bool RollBackJournal(Journal& journal, FileHandle target)
{
    if (journal.file == kNoFile)
        return true;
    if (!put_back(journal.file, target, journal.original_size))
        return false;
    remove_journal(journal.path); // one that stays puts the same bytes back again
    drop_journal(journal);
    return true;
}

// A journal found beside the target: unbegun when its update had not begun, foreign when it belongs
// to another file that had the target's name.
enum class JournalState { absent, unreadable, unbegun, foreign, hot };

static JournalState open_journal(FileHandle target, const std::string& path, FileHandle& file,
                                 uint8_t* header)
{
    if (!FileExists(path.c_str()))
        return JournalState::absent;
    file = CreateFileA(path.c_str(), FileAccess::read, FileDisposition::open_existing);
    if (file == kNoFile)
        return JournalState::unreadable;
    if (!read_header(file, header))
        return JournalState::unbegun;
    return get_be32(header + 12) == mark_of(target) ? JournalState::hot : JournalState::foreign;
}

bool JournalIsHot(FileHandle target, const std::string& target_path)
{
    uint8_t header[kHeaderSize];
    FileHandle file = kNoFile;
    const JournalState state = open_journal(target, journal_path(target_path), file, header);
    if (file != kNoFile)
        CloseHandle(file);
    return state == JournalState::hot || state == JournalState::unreadable;
}

JournalFound RestoreFromJournal(FileHandle target, const std::string& target_path)
{
    const std::string path = journal_path(target_path);
    uint8_t header[kHeaderSize];
    FileHandle file = kNoFile;
    const JournalState state = open_journal(target, path, file, header);
    const bool put = state == JournalState::hot && put_back(file, target, get_be32(header + 8));
    if (file != kNoFile)
        CloseHandle(file);
    if (put || state == JournalState::unbegun)
        remove_journal(path); // one that stays puts the same bytes back again
    if (state == JournalState::hot)
        return put ? JournalFound::restored : JournalFound::failed;
    return state == JournalState::unreadable ? JournalFound::failed : JournalFound::none;
}
