// Times, attributes, type and creator of files for Lisp.
#include <cstring>

#include "kernel/errors.h"
#include "kernel/primitive.h"
#include "kernel/symbols.h"
#include "platform/file_info.h"
#include "platform/files.h"
#include "storage/bytes.h"
#include "storage/file_kind.h"
#include "storage/pathname.h"
#include "storage/storage_arguments.h"
#include "storage/storage_primitives.h"

static constexpr int64_t kEpoch = 2082826800; // a time of Lisp is the calendar's seconds plus this

// A file info block: type, creator, eight bytes of nothing, then the times of creation, last access
// and last writing.
static constexpr uint32_t kInfoSize = 40;
static constexpr uint32_t kInfoTimesAt = 16;

// ---- Times

static Value make_time(FileTime time)
{
    return make_unsigned(static_cast<uint32_t>(unix_seconds_of(time) + kEpoch));
}

static FileTime time_argument(Value time)
{
    return file_time_of(static_cast<int64_t>(bits_argument(time)) - kEpoch);
}

static Value file_creation_time(Value pathname)
{
    FileInfo info;
    return GetFileInfo(path_argument(pathname).c_str(), info) ? make_time(info.created) : nil;
}

static Value file_modification_time(Value pathname)
{
    FileInfo info;
    return GetFileInfo(path_argument(pathname).c_str(), info) ? make_time(info.written) : nil;
}

static Value file_set_creation_time(Value pathname, Value time_)
{
    const std::string path = path_argument(pathname);
    const FileTime time = time_argument(time_);
    SetFileTimes(path.c_str(), &time, nullptr, nullptr);
    return no_value;
}

static Value file_set_modification_time(Value pathname, Value time_)
{
    const std::string path = path_argument(pathname);
    const FileTime time = time_argument(time_);
    SetFileTimes(path.c_str(), nullptr, nullptr, &time);
    return no_value;
}

// ---- Attributes

static Value file_get_visible_p(Value pathname)
{
    FileInfo info;
    return boolean(GetFileInfo(path_argument(pathname).c_str(), info) && !info.hidden);
}

static Value file_set_visible_p(Value pathname, Value flag)
{
    SetFileHidden(path_argument(pathname).c_str(), !is_true_flag(flag));
    return no_value;
}

static Value file_get_locked_p(Value pathname)
{
    FileInfo info;
    return boolean(GetFileInfo(path_argument(pathname).c_str(), info) && info.read_only);
}

static Value file_set_locked_p(Value pathname, Value flag)
{
    SetFileReadOnly(path_argument(pathname).c_str(), is_true_flag(flag));
    return no_value;
}

// ---- Type and creator

static Value file_get_type(Value pathname)
{
    return make_type_string(GetFileKind(path_argument(pathname)).type);
}

static Value file_get_creator(Value pathname)
{
    return make_type_string(GetFileKind(path_argument(pathname)).creator);
}

static Value set_kind(Value pathname, const ResType* type, const ResType* creator)
{
    if (!SetFileKind(path_argument(pathname), type, creator))
        raise_file_error(pathname);
    return symbol_t;
}

static Value file_set_type(Value pathname, Value string)
{
    const ResType type = type_argument(string);
    return set_kind(pathname, &type, nullptr);
}

static Value file_set_creator(Value pathname, Value string)
{
    const ResType creator = type_argument(string);
    return set_kind(pathname, nullptr, &creator);
}

static Value get_finder_info(Value pathname, Value pointer)
{
    const FileKind kind = GetFileKind(path_argument(pathname));
    uint8_t* at = memory_argument(pointer, 0, 8);
    put_be32(at, kind.type);
    put_be32(at + 4, kind.creator);
    return no_value;
}

static Value set_finder_info(Value pathname, Value pointer)
{
    const uint8_t* at = memory_argument(pointer, 0, 8);
    const ResType type = get_be32(at);
    const ResType creator = get_be32(at + 4);
    set_kind(pathname, &type, &creator);
    return no_value;
}

// ---- Info blocks

static Value copy_file_info(Value from, Value to)
{
    const std::string source = path_argument(from);
    const std::string target = path_argument(to);
    FileInfo info;
    if (!GetFileInfo(source.c_str(), info))
        return nil;
    const FileKind kind = GetFileKind(source);
    if (!SetFileKind(target, &kind.type, &kind.creator) ||
        !SetFileTimes(target.c_str(), &info.created, &info.accessed, &info.written))
        return nil;
    return no_value;
}

static Value get_file_info(Value pathname)
{
    const std::string path = path_argument(pathname);
    FileInfo info;
    if (!GetFileInfo(path.c_str(), info))
        raise_file_error(pathname);
    const FileKind kind = GetFileKind(path);
    const Ptr block = NewPtrChecked(kInfoSize);
    uint8_t* at = zone_pointer(block);
    memset(at, 0, kInfoSize);
    put_be32(at, kind.type);
    put_be32(at + 4, kind.creator);
    const FileTime times[3] = { info.created, info.accessed, info.written };
    memcpy(at + kInfoTimesAt, times, sizeof times);
    return make_pointer(kPointerMemory, block);
}

static Value set_file_info(Value pathname, Value block)
{
    const std::string path = path_argument(pathname);
    const uint8_t* at = memory_argument(block, 0, kInfoSize);
    const ResType type = get_be32(at);
    const ResType creator = get_be32(at + 4);
    FileTime times[3];
    memcpy(times, at + kInfoTimesAt, sizeof times);
    set_kind(pathname, &type, &creator);
    if (!SetFileTimes(path.c_str(), &times[0], &times[1], &times[2]))
        raise_file_error(pathname);
    return no_value;
}

static Value dispose_file_info(Value block)
{
    if (!PtrIsLive(pointer_of(block)))
        raise_error(kErrorType, block);
    DisposePtr(pointer_of(block));
    set_pointer(block, 0);
    return no_value;
}

static const Primitive file_info_primitives[] = {
    { "file-creation-time", file_creation_time,
      "(file-creation-time pathname): time of its creation, nil if it is not there" },
    { "file-modification-time", file_modification_time,
      "(file-modification-time pathname): time of the last change, nil if it is not there" },
    { "file-set-creation-time", file_set_creation_time,
      "(file-set-creation-time pathname time): sets it, where the file system can keep it" },
    { "file-set-modification-time", file_set_modification_time,
      "(file-set-modification-time pathname time): sets it" },
    { "file-get-visible?", file_get_visible_p,
      "(file-get-visible? pathname): whether the file is there and not hidden" },
    { "file-set-visible?", file_set_visible_p,
      "(file-set-visible? pathname flag): hides it when flag is nil" },
    { "file-get-locked?", file_get_locked_p,
      "(file-get-locked? pathname): whether the file is write-protected" },
    { "file-set-locked?", file_set_locked_p,
      "(file-set-locked? pathname flag): protects it, or takes the protection off" },
    { "file-get-type", file_get_type,
      "(file-get-type pathname): four characters, from the file's header or its extension" },
    { "file-get-creator", file_get_creator,
      "(file-get-creator pathname): four characters, \"????\" where none is kept" },
    { "file-set-type", file_set_type,
      "(file-set-type pathname string): sets the type of a resource file or database; t" },
    { "file-set-creator", file_set_creator,
      "(file-set-creator pathname string): sets the creator of a resource file or database; t" },
    { "get-finder-info", get_finder_info,
      "(get-finder-info pathname pointer): stores type and creator, eight bytes, at the pointer" },
    { "set-finder-info", set_finder_info,
      "(set-finder-info pathname pointer): sets type and creator from eight bytes" },
    { "copy-file-info", copy_file_info,
      "(copy-file-info from to): gives a file another one's type, creator and times; nil on "
      "failure" },
    { "get-file-info", get_file_info,
      "(get-file-info pathname): memory pointer to 40 bytes: type, creator, 8 bytes, the times of "
      "creation, access and writing" },
    { "set-file-info", set_file_info,
      "(set-file-info pathname block): sets what get-file-info gives" },
    { "dispose-file-info", dispose_file_info, "(dispose-file-info block): frees the block" },
};

void init_file_info()
{
    define_primitives(file_info_primitives);
}
