// Files as streams of bytes for Lisp. An open file is a pointer to six bytes outside the heap, a
// file handle and a write flag; a closed one is a null pointer.
#include <cstring>

#include "kernel/errors.h"
#include "kernel/evaluator.h"
#include "kernel/hooks.h"
#include "kernel/primitive.h"
#include "kernel/reader.h"
#include "kernel/stream_procedures.h"
#include "kernel/symbols.h"
#include "platform/file_info.h"
#include "platform/files.h"
#include "storage/pathname.h"
#include "storage/resource_errors.h"
#include "storage/resource_file.h"
#include "storage/storage_arguments.h"
#include "storage/storage_primitives.h"

static constexpr uint32_t kDescriptorSize = 6;
static constexpr uint32_t kWriteFlagAt = 4;
static constexpr uint32_t kCopyChunk = 512 * 1024;
static constexpr uint32_t kEndOfFile = 65535;

// ---- Descriptors

static bool is_open(uint32_t word)
{
    return PtrIsLive(word) && GetPtrSize(word) == kDescriptorSize;
}

static FileHandle handle_of_word(uint32_t word)
{
    FileHandle handle;
    memcpy(&handle, zone_pointer(word), sizeof handle);
    return handle;
}

static FileHandle file_argument(Value file)
{
    if (pointer_kind(file) != kPointerFile || !is_open(pointer_of(file)))
        raise_error(kErrorType, file);
    return handle_of_word(pointer_of(file));
}

static Value make_file(FileHandle handle, bool write)
{
    const Ptr descriptor = NewPtr(kDescriptorSize);
    if (descriptor == 0) {
        CloseHandle(handle);
        raise_error(kErrorNoMemory);
    }
    const uint16_t flag = write;
    memcpy(zone_pointer(descriptor), &handle, sizeof handle);
    memcpy(zone_pointer(descriptor) + kWriteFlagAt, &flag, sizeof flag);
    return make_pointer(kPointerFile, descriptor);
}

static Value file_open(Value pathname, Value write_)
{
    const std::string path = path_argument(pathname);
    const bool write = is_true_flag(write_);
    if (write && IsReadOnlyDisc(path.c_str()))
        raise_error(kErrorFile, make_fixnum(kFileErrorDenied));
    const FileHandle handle =
        CreateFileA(path.c_str(), write ? FileAccess::read_write : FileAccess::read,
                    FileDisposition::open_existing);
    if (handle == kNoFile)
        raise_file_error(pathname);
    return make_file(handle, write);
}

static Value file_close(Value file)
{
    CloseHandle(file_argument(file));
    DisposePtr(pointer_of(file));
    set_pointer(file, 0);
    return no_value;
}

static Value file_read_only_p(Value file)
{
    return boolean(!FileIsWritable(file_argument(file)));
}

// ---- Position and length

static int64_t signed_argument(Value integer)
{
    if (integer.tag() == kTagUnsignedLong)
        return unsigned_value(integer);
    return integer_value(integer);
}

static Value file_get_pos(Value file)
{
    const int64_t position = SetFilePointer(file_argument(file), 0, FileOrigin::current);
    return make_unsigned(static_cast<uint32_t>(position));
}

static Value file_set_pos(Value file, Value position)
{
    const FileHandle handle = file_argument(file);
    if (SetFilePointer(handle, signed_argument(position), FileOrigin::start) < 0)
        raise_file_error(file);
    return no_value;
}

static Value file_length(Value file)
{
    if (file.tag() == kTagPointer)
        return make_unsigned(static_cast<uint32_t>(GetFileSize(file_argument(file))));
    FileInfo info;
    if (!GetFileInfo(path_argument(file).c_str(), info))
        raise_file_error(file);
    return make_unsigned(static_cast<uint32_t>(info.size));
}

static Value file_set_length(Value file, Value length)
{
    const FileHandle handle = file_argument(file);
    const int64_t size = signed_argument(length);
    return boolean(size >= 0 && SetFileSize(handle, static_cast<uint64_t>(size)));
}

static Value file_eof_p(Value file)
{
    const FileHandle handle = file_argument(file);
    return boolean(SetFilePointer(handle, 0, FileOrigin::current) >= GetFileSize(handle));
}

// ---- Bytes

static uint32_t count_argument(Value count)
{
    const int32_t n = integer_value(count);
    if (n < 0)
        raise_error(kErrorType, count);
    return static_cast<uint32_t>(n);
}

static Value file_read_block(Value file, Value pointer, Value count)
{
    const FileHandle handle = file_argument(file);
    const uint32_t size = count_argument(count);
    const int64_t moved = ReadFile(handle, memory_argument(pointer, 0, size), size);
    if (moved < 0)
        raise_file_error(file);
    return make_integer(static_cast<int32_t>(moved));
}

static Value file_write_block(Value file, Value pointer, Value count)
{
    const FileHandle handle = file_argument(file);
    const uint32_t size = count_argument(count);
    const int64_t moved = WriteFile(handle, memory_argument(pointer, 0, size), size);
    if (moved < 0)
        raise_file_error(file);
    return make_integer(static_cast<int32_t>(moved));
}

static uint32_t read_character(uint32_t word)
{
    uint8_t byte;
    if (!is_open(word))
        raise_error(kErrorType);
    return ReadFile(handle_of_word(word), &byte, 1) == 1 ? byte : kEndOfFile;
}

static void write_character(uint32_t character, uint32_t word)
{
    const uint8_t byte = static_cast<uint8_t>(character);
    if (!is_open(word))
        raise_error(kErrorType);
    if (WriteFile(handle_of_word(word), &byte, 1) != 1)
        raise_file_error(nil);
}

static void unread_character(uint32_t word)
{
    if (is_open(word))
        SetFilePointer(handle_of_word(word), -1, FileOrigin::current);
}

static uint32_t character_position(uint32_t word)
{
    if (!is_open(word))
        return 0;
    return static_cast<uint32_t>(SetFilePointer(handle_of_word(word), 0, FileOrigin::current));
}

static Value file_read_ch(Value file)
{
    file_argument(file);
    return make_fixnum(static_cast<int32_t>(read_character(pointer_of(file))));
}

static Value file_write_ch(Value file, Value character)
{
    file_argument(file);
    write_character(static_cast<uint32_t>(integer_value(character)), pointer_of(file));
    return no_value;
}

static Value flush_stream(Value file)
{
    if (!FlushFileBuffers(file_argument(file)))
        raise_file_error(file);
    return no_value;
}

static Value flushvol(Value, Value)
{
    return no_value;
}

// ---- Whole files

// The first name "kalvex1.tmp", "kalvex2.tmp"... in the temporary folder that is free.
static std::string free_temporary_path()
{
    std::string folder = GetTempPathA();
    if (folder.size() > 200)
        folder.clear();
    for (int n = 1;; n++) {
        const std::string path = folder + "kalvex" + std::to_string(n) + ".tmp";
        if (!FileExists(path.c_str()) && !FolderExists(path.c_str()))
            return path;
    }
}

static Value create_failed(Value pathname, Value silent, int16_t status)
{
    if (is_true_flag(silent))
        return nil;
    if (status == kResExists)
        raise_error(kErrorAccess, pathname);
    if (status != 0)
        raise_resource_status(status);
    raise_file_error(pathname);
}

static Value kalvex_file_create(Value pathname, Value type_, Value creator_, Value data,
                                Value overwrite, Value silent)
{
    const bool temporary = !is_true_flag(pathname);
    const std::string path = temporary ? free_temporary_path() : path_argument(pathname);
    const ResType type = is_true_flag(type_) ? type_argument(type_) : 0;
    const ResType creator = is_true_flag(creator_) ? type_argument(creator_) : 0;
    if (FileExists(path.c_str())) {
        if (!is_true_flag(overwrite) || FindResFile(path) >= 0)
            return create_failed(pathname, silent, kResExists);
        if (!DeleteFileA(path.c_str()))
            return create_failed(pathname, silent, 0);
    }
    if (is_true_flag(data)) {
        CreateResFile(path, creator, type);
        if (ResError() != 0)
            return create_failed(pathname, silent, ResError());
    } else {
        const FileHandle file =
            CreateFileA(path.c_str(), FileAccess::read_write, FileDisposition::create_always);
        if (file == kNoFile)
            return create_failed(pathname, silent, 0);
        CloseHandle(file);
    }
    if (!temporary)
        return pathname;
    SetFileHidden(path.c_str(), true);
    return make_pathname_list(path);
}

static Value file_remove(Value pathname, Value quiet)
{
    const std::string path = path_argument(pathname);
    const bool done = DeleteFileA(path.c_str());
    if (is_true_flag(quiet))
        return boolean(done);
    if (!done)
        raise_file_error(pathname);
    return no_value;
}

static Value file_rename(Value from, Value to)
{
    const std::string old = path_argument(from);
    return boolean(MoveFileA(old.c_str(), path_argument(to).c_str()));
}

struct OpenFileFrame {
    explicit OpenFileFrame(FileHandle opened) : file(opened) {}
    ~OpenFileFrame() { CloseHandle(file); }
    OpenFileFrame(const OpenFileFrame&) = delete;
    OpenFileFrame& operator=(const OpenFileFrame&) = delete;
    const FileHandle file;
};

// A block as large as can be had, at most a chunk; error 9 when there is none.
static Ptr copy_buffer(uint32_t& size)
{
    for (size = kCopyChunk; size > 0; size /= 2) {
        const Ptr buffer = NewPtr(size);
        if (buffer != 0)
            return buffer;
    }
    raise_error(kErrorNoMemory);
}

static void copy_bytes(FileHandle from, FileHandle to, Value from_name, Value to_name,
                       Value function)
{
    uint32_t size;
    struct Buffer {
        ~Buffer()
        {
            if (PtrIsLive(block))
                DisposePtr(block);
        }
        const Ptr block;
    } const buffer{ copy_buffer(size) };
    for (;;) {
        const int64_t got = ReadFile(from, zone_pointer(buffer.block), size);
        if (got < 0)
            raise_file_error(from_name);
        if (got == 0)
            return;
        if (WriteFile(to, zone_pointer(buffer.block), static_cast<uint32_t>(got)) < 0)
            raise_file_error(to_name);
        if (is_true_flag(function))
            call_value(function, make_integer(static_cast<int32_t>(got)));
    }
}

// A new file beside the target, under a name that nothing has.
static FileHandle create_part(const std::string& target, std::string& part)
{
    part = target + "-copy";
    for (int n = 2;; n++) {
        const FileHandle file =
            CreateFileA(part.c_str(), FileAccess::read_write, FileDisposition::create_new);
        if (file != kNoFile || GetLastError() != kFileErrorExists)
            return file;
        part = target + "-copy" + std::to_string(n);
    }
}

// The copy is made beside its place and put there when it is whole.
static Value copy_file(Value from, Value to, Value function)
{
    const std::string source = path_argument(from);
    const std::string target = path_argument(to);
    if (FileExists(target.c_str()) && !FileMayBeWritten(target.c_str())) {
        SetLastError(kFileErrorDenied);
        raise_file_error(to);
    }
    const OpenFileFrame read(
        CreateFileA(source.c_str(), FileAccess::read, FileDisposition::open_existing));
    if (read.file == kNoFile)
        raise_file_error(from);
    std::string part;
    struct Part {
        ~Part()
        {
            if (!done)
                DeleteFileA(path.c_str());
        }
        const std::string& path;
        bool done;
    } copy{ part, true };
    {
        const OpenFileFrame write(create_part(target, part));
        if (write.file == kNoFile)
            raise_file_error(to);
        copy.done = false;
        copy_bytes(read.file, write.file, from, to, function);
    }
    if (!ReplaceFileA(part.c_str(), target.c_str()))
        raise_file_error(to);
    copy.done = true;
    return no_value;
}

// ---- Loading

static Value load(Value pathname)
{
    const std::string path = path_argument(pathname);
    struct Text {
        ~Text()
        {
            if (HandleIsLive(handle))
                DisposeHandle(handle);
        }
        Handle handle = 0;
    } text;
    uint32_t size = 0;
    {
        const OpenFileFrame file(
            CreateFileA(path.c_str(), FileAccess::read, FileDisposition::open_existing));
        if (file.file == kNoFile)
            raise_file_error(pathname);
        const int64_t length = GetFileSize(file.file);
        if (length > INT32_MAX)
            raise_error(kErrorNoMemory);
        size = static_cast<uint32_t>(length);
        text.handle = NewHandleChecked(size);
        if (size > 0 && !ReadFileAt(file.file, 0, LockedHandle(text.handle).bytes, size))
            raise_file_error(pathname);
    }
    if (size > 0)
        load_bytes(LockedHandle(text.handle).bytes, size, pathname);
    return no_value;
}

static Value load_from_handle(Value handle_, Value id)
{
    const Handle handle = handle_argument(handle_);
    if (!HandleIsEmpty(handle))
        load_bytes(LockedHandle(handle).bytes, GetHandleSize(handle), id);
    return no_value;
}

static const Primitive file_primitives[] = {
    { "file-open", file_open,
      "(file-open pathname write?): open file at its first byte; with a true write? it may be "
      "changed. "
      "Error 31 when it is not there, 32, 36 or 46 for what else stands in the way" },
    { "file-close", file_close, "(file-close file): closes it and makes the pointer null" },
    { "file-get-pos", file_get_pos, "(file-get-pos file): position in bytes" },
    { "file-set-pos", file_set_pos, "(file-set-pos file position): goes there" },
    { "file-read-block", file_read_block,
      "(file-read-block file pointer n): reads up to n bytes to the pointer; how many there were" },
    { "file-write-block", file_write_block,
      "(file-write-block file pointer n): writes n bytes from the pointer; how many" },
    { "file-eof?", file_eof_p, "(file-eof? file): whether the position is at the end" },
    { "file-read-ch", file_read_ch, "(file-read-ch file): the next byte, 65535 at the end" },
    { "file-write-ch", file_write_ch, "(file-write-ch file char): writes one byte" },
    { "file-length", file_length, "(file-length pathname-or-file): length in bytes" },
    { "file-set-length", file_set_length,
      "(file-set-length file length): cuts or lengthens it; whether it could" },
    { "file-read-only?", file_read_only_p,
      "(file-read-only? file): whether it was opened for reading only" },
    { "flush-stream", flush_stream, "(flush-stream file): has what was written stand on disk" },
    { "flushvol", flushvol, "(flushvol a b): nothing, here" },
    { "kalvex-file-create", kalvex_file_create,
      "(kalvex-file-create pathname type creator data? overwrite? silent?): makes an empty file, "
      "or an "
      "empty resource file with a true data?; with nil as pathname a temporary one. Its pathname; "
      "on "
      "failure an error (33 for one that exists, unless overwrite?), or nil with a true silent?" },
    { "file-remove", file_remove,
      "(file-remove pathname quiet): removes it; with a true quiet whether it could, else an error "
      "when not" },
    { "file-rename", file_rename,
      "(file-rename old new): whether the file could be given the new name; replaces none" },
    { "copy-file", copy_file,
      "(copy-file from to function): copies a file's bytes; function is called with the size of "
      "each "
      "part. An existing file is replaced when the copy is whole" },
    { "load", load,
      "(load pathname): reads and evaluates all forms of a file; error 31 when it is not there" },
    { "load-from-handle", load_from_handle,
      "(load-from-handle handle id): evaluates all forms of a text in memory, with id as "
      "Load-File" },
};

void init_files()
{
    define_primitives(file_primitives);
    GetOperations more;
    more.unget = unread_character;
    more.position = character_position;
    register_get(file_read_ch, read_character, more);
    register_put(file_write_ch, write_character);
}
