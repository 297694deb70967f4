// Streams: character procedures with a state word. Their states are small structures in zone memory
// that Lisp code can reach too, so each use checks what they point to.
#include "library/streams.h"

#include <algorithm>
#include <cstring>

#include "kernel/collector.h"
#include "kernel/evaluator.h"
#include "kernel/hooks.h"
#include "kernel/stream_procedures.h"
#include "kernel/symbols.h"
#include "library/library.h"
#include "library/memory_arguments.h"

// What both kinds of memory stream begin with.
struct BufferStruct {
    uint32_t position;
    uint32_t size;
    ZoneAddress data;
};

struct HandleStruct : BufferStruct {
    Handle handle;
};
static_assert(sizeof(BufferStruct) == 12 && sizeof(HandleStruct) == 16);

constexpr uint32_t kGrowth = 1024;

template <class Struct> static Struct& struct_at(uint32_t address, Value told = nil)
{
    if (!PtrIsLive(address) || GetPtrSize(address) < sizeof(Struct))
        raise_error(kErrorType, told);
    return *reinterpret_cast<Struct*>(zone_pointer(address));
}

template <class Struct> static Struct& struct_argument(Value pointer)
{
    return struct_at<Struct>(pointer_of(pointer), pointer);
}

template <class Struct> static Value make_struct(const Struct& contents)
{
    const Ptr address = NewPtrChecked(sizeof contents);
    memcpy(zone_pointer(address), &contents, sizeof contents);
    return make_pointer(kPointerMemory, address);
}

static uint32_t count_argument(Value v)
{
    return is_nil(v) ? 0 : length_argument(v);
}

// The memory that a stream is made over must hold all its size promises.
static ZoneAddress data_argument(Value pointer, uint32_t size)
{
    const ZoneAddress data = is_nil(pointer) ? 0 : pointer_of(pointer);
    if (size > 0 && !zone_mapped(data, size))
        raise_error(kErrorType, pointer);
    return data;
}

// ---- Memory streams

static uint32_t next_character(BufferStruct& from)
{
    if (from.position >= from.size || !zone_mapped(from.data + from.position, 1))
        return kEndOfInput;
    return *zone_pointer(from.data + from.position++);
}

// Runs while a frame is left, so it raises nothing.
static void step_back(uint32_t state)
{
    if (!PtrIsLive(state) || GetPtrSize(state) < sizeof(BufferStruct))
        return;
    BufferStruct& stream = *reinterpret_cast<BufferStruct*>(zone_pointer(state));
    if (stream.position > 0)
        --stream.position;
}

static uint32_t get_handle(uint32_t state)
{
    return next_character(struct_at<HandleStruct>(state));
}

static uint32_t get_buffer(uint32_t state)
{
    return next_character(struct_at<BufferStruct>(state));
}

// Moves the text to a larger Handle. What lies between the text and the position is zero.
static void grow(HandleStruct& stream, uint32_t extra)
{
    const uint64_t wanted = uint64_t(std::max(stream.position, stream.size)) + extra;
    if (wanted > INT32_MAX)
        raise_error(kErrorNoMemory);
    const uint32_t size = static_cast<uint32_t>(wanted);
    const Handle larger = NewHandleChecked(size);
    uint8_t* const data = HLock(larger);
    const uint32_t kept = zone_mapped(stream.data, stream.size) ? stream.size : 0;
    memcpy(data, zone_pointer(stream.data), kept);
    memset(data + kept, 0, size - kept);
    if (HandleIsLive(stream.handle)) {
        HUnlock(stream.handle);
        DisposeHandle(stream.handle);
    }
    stream.handle = larger;
    stream.data = zone_address(data);
    stream.size = size;
}

static void put_handle(uint32_t character, uint32_t state)
{
    HandleStruct& stream = struct_at<HandleStruct>(state);
    if (stream.position >= stream.size)
        grow(stream, kGrowth);
    if (!zone_mapped(stream.data + stream.position, 1))
        raise_error(kErrorType);
    *zone_pointer(stream.data + stream.position++) = static_cast<uint8_t>(character);
}

static Value new_handle_struct(Value position, Value size, Value pointer, Value handle)
{
    HandleStruct stream = {};
    stream.position = count_argument(position);
    stream.size = count_argument(size);
    stream.handle = is_nil(handle) ? 0 : handle_argument(handle);
    if (!is_nil(pointer)) {
        stream.data = data_argument(pointer, stream.size);
    } else {
        const uint32_t there = stream.handle ? GetHandleSize(stream.handle) : 0;
        if (stream.size > there)
            raise_error(kErrorType, size);
        if (there > 0)
            stream.data = zone_address(HLock(stream.handle));
    }
    if (stream.handle == 0)
        stream.handle = NewHandleChecked(0);
    return make_struct(stream);
}

// The struct is left empty: what its Handle becomes from now on is not its business.
static Value adjust_handle_struct(Value pointer)
{
    HandleStruct& stream = struct_argument<HandleStruct>(pointer);
    const Handle handle = stream.handle;
    if (!HandleIsLive(handle))
        raise_error(kErrorType, pointer);
    const uint32_t size = stream.position;
    HUnlock(handle);
    const uint32_t there = GetHandleSize(handle);
    SetHandleSizeChecked(handle, size);
    if (size > there) {
        const LockedHandle locked(handle);
        memset(locked.bytes + there, 0, size - there);
    }
    stream.size = 0;
    stream.data = 0;
    stream.handle = 0;
    return make_handle_pointer(kPointerHandle, handle);
}

static Value handle_putc(Value character, Value pointer)
{
    const int32_t c = integer_value(character);
    put_handle(static_cast<uint8_t>(c), pointer_of(pointer));
    return character;
}

static Value handle_getc(Value pointer)
{
    return make_fixnum(static_cast<int32_t>(get_handle(pointer_of(pointer))));
}

static Value handle_get_pos(Value pointer)
{
    return make_unsigned(struct_argument<HandleStruct>(pointer).position);
}

static Value handle_set_pos(Value pointer, Value position)
{
    HandleStruct& stream = struct_argument<HandleStruct>(pointer);
    stream.position = length_argument(position);
    return no_value;
}

static Value handle_write_block(Value pointer, Value source, Value count)
{
    HandleStruct& stream = struct_argument<HandleStruct>(pointer);
    const uint32_t n = length_argument(count);
    if (n == 0)
        return no_value;
    uint32_t from = zone_address(memory_argument(source, n));
    if (uint64_t(stream.position) + n > stream.size) {
        // The source may lie in the very text that moves.
        const bool own = from - stream.data < stream.size;
        const uint32_t offset = from - stream.data;
        grow(stream, n + kGrowth);
        if (own)
            from = stream.data + offset;
    }
    if (!zone_mapped(stream.data + stream.position, n))
        raise_error(kErrorType, pointer);
    BlockMove(zone_pointer(from), zone_pointer(stream.data + stream.position), n);
    stream.position += n;
    return no_value;
}

static Value handle_eof_p(Value pointer)
{
    const HandleStruct& stream = struct_argument<HandleStruct>(pointer);
    return boolean(stream.position >= stream.size);
}

static Value new_buffer_struct(Value position, Value size, Value pointer)
{
    BufferStruct stream = {};
    stream.position = count_argument(position);
    stream.size = count_argument(size);
    stream.data = data_argument(pointer, stream.size);
    return make_struct(stream);
}

static Value buffer_getc(Value pointer)
{
    return make_fixnum(static_cast<int32_t>(get_buffer(pointer_of(pointer))));
}

static Value buffer_set_pos(Value pointer, Value position)
{
    BufferStruct& stream = struct_argument<BufferStruct>(pointer);
    stream.position = length_argument(position);
    return no_value;
}

// ---- Streams written in Lisp: the state word is the selector

static Value send_to(Value owner, Value selector, const Value* arguments)
{
    if (!is_object(owner))
        raise_error(kErrorType, owner);
    return call_with_object_run(owner, selector, arguments);
}

// A wild word is no symbol of the table.
static Value selector_of(uint32_t state)
{
    const Value selector = Value::from_bits(state);
    const bool known = is_symbol(selector) && selector.payload() % sizeof(SymbolEntry) == 0 &&
                       selector.payload() / sizeof(SymbolEntry) < spaces.symbol_count &&
                       symbol_of(selector)->name != 0;
    if (!known)
        raise_error(kErrorType);
    return selector;
}

static Value general_putc(Value character, Value selector)
{
    const Value run[] = { character, end_of_args };
    return send_to(output.owner, selector, run);
}

static Value general_getc(Value selector)
{
    const Value run[] = { end_of_args };
    return send_to(input.owner, selector, run);
}

static void put_general(uint32_t character, uint32_t state)
{
    general_putc(make_fixnum(static_cast<int32_t>(character)), selector_of(state));
}

static uint32_t get_general(uint32_t state)
{
    const Value answer = general_getc(selector_of(state));
    const int32_t c = is_fixnum(answer) ? fixnum_value(answer) : -1;
    return c >= 0 && c <= 255 ? static_cast<uint32_t>(c) : kEndOfInput;
}

// ---- The edit stream

static struct {
    Ptr block;
    uint32_t length;
    uint32_t position;
    uint32_t last; // the character that was read last
    bool again;    // it is to be read once more
} edit_in;

static struct {
    char text[98];
    uint32_t count;
    Value owner; // of the characters that wait
} edit_out;

bool (*edit_source)();

static Value symbol_print_string;

static void release_edit_text()
{
    if (PtrIsLive(edit_in.block))
        DisposePtr(edit_in.block);
    edit_in = {};
}

void set_edit_text(Ptr block, uint32_t length)
{
    release_edit_text();
    edit_in.block = block;
    edit_in.length = length;
    if (length == 0)
        release_edit_text();
}

static bool edit_text_left()
{
    return edit_in.again || edit_in.position < edit_in.length;
}

static uint32_t get_edit(uint32_t)
{
    if (edit_in.again) {
        edit_in.again = false;
        return edit_in.last;
    }
    // The program may have disposed of the block behind our back.
    if (edit_in.block == 0 || !PtrIsLive(edit_in.block))
        return kEndOfInput;
    const uint32_t c = *zone_pointer(edit_in.block + edit_in.position++);
    if (edit_in.position >= edit_in.length)
        release_edit_text();
    edit_in.last = c;
    return c;
}

// The line end that ended a line's last form is not kept: the next reader is to wait for a new
// line.
static void unget_edit(uint32_t)
{
    const bool at_end = edit_in.position >= edit_in.length;
    edit_in.again = !(at_end && edit_in.last <= ' ');
}

static void wait_for_edit_text()
{
    while (!edit_text_left()) {
        if (!edit_source) {
            hooks.poll_events();
            return;
        }
        if (!edit_source())
            return;
    }
}

// The text goes to the owner it was printed for, whoever owns the output by now.
static void flush_edit()
{
    if (edit_out.count == 0)
        return;
    const Value text = make_string(edit_out.text, edit_out.count);
    const Value owner = edit_out.owner;
    edit_out.count = 0;
    edit_out.owner = nil;
    if (is_object(owner))
        call_with_object(owner, symbol_print_string, text);
}

static void put_edit(uint32_t character, uint32_t)
{
    if (edit_out.count > 0 &&
        (edit_out.count == sizeof edit_out.text || !(edit_out.owner == output.owner)))
        flush_edit();
    edit_out.owner = output.owner;
    edit_out.text[edit_out.count++] = static_cast<char>(character);
}

static Value editputc(Value character)
{
    put_edit(static_cast<uint8_t>(integer_value(character)), 0);
    return character;
}

static Value editgetc()
{
    return make_fixnum(static_cast<int32_t>(get_edit(0)));
}

static Value set_lecture(Value pointer, Value length)
{
    const uint32_t count = length_argument(length);
    const Ptr block = pointer_of(pointer);
    if (!PtrIsLive(block))
        raise_error(kErrorType, pointer);
    if (count > GetPtrSize(block))
        raise_error(kErrorType, length);
    set_pointer(pointer, 0);
    set_edit_text(block, count);
    return no_value;
}

static Value eof_lecture_p()
{
    return boolean(!edit_text_left());
}

static Value edit_wait()
{
    wait_for_edit_text();
    return make_unsigned(edit_in.length);
}

// ---- Registration

static const Primitive stream_primitives[] = {
    Primitive(
        "general-putc", general_putc,
        "(general-putc char selector): sends selector with char to the owner of the current "
        "output; in a stream, the selector takes the pointer's place; error 2 without an owner")
        .optional(),
    Primitive("general-getc", general_getc,
              "(general-getc selector): sends selector to the owner of the current input, for a "
              "character or anything else at the end; error 2 without an owner")
        .optional(),
    { "new-handle-struct", new_handle_struct,
      "(new-handle-struct position size pointer handle): state of a stream over a handle, as a "
      "memory pointer; without a handle over a new empty one, without a pointer over the locked "
      "handle's bytes; error 2 when size passes what is there" },
    { "adjust-handle-struct", adjust_handle_struct,
      "(adjust-handle-struct struct): the stream's handle, unlocked and cut to position" },
    Primitive("handle-putc", handle_putc,
              "(handle-putc char struct): stores a byte and steps on; grows the handle by 1024 at "
              "its end")
        .optional(),
    Primitive("handle-getc", handle_getc, "(handle-getc struct): the next byte, 65535 at the end")
        .optional(),
    { "handle-get-pos", handle_get_pos, "(handle-get-pos struct): the position, in bytes" },
    { "handle-set-pos", handle_set_pos,
      "(handle-set-pos struct position): reads or writes there next; error 2 when negative" },
    { "handle-write-block", handle_write_block,
      "(handle-write-block struct pointer n): stores n bytes from pointer; error 2 when they are "
      "not "
      "all there" },
    { "handle-eof?", handle_eof_p, "(handle-eof? struct): whether position has reached size" },
    { "new-buffer-struct", new_buffer_struct,
      "(new-buffer-struct position size pointer): state of a stream that reads size bytes at "
      "pointer, as a memory pointer" },
    Primitive("buffer-getc", buffer_getc, "(buffer-getc struct): the next byte, 65535 at the end")
        .optional(),
    { "buffer-set-pos", buffer_set_pos, "(buffer-set-pos struct position): reads there next" },
    Primitive("editgetc", editgetc,
              "(editgetc): the next character of the edit stream, 65535 when there is none")
        .optional(),
    Primitive("editputc", editputc,
              "(editputc char): adds a character to what is sent to the output's owner as "
              "print-string")
        .optional(),
    { "set-lecture", set_lecture,
      "(set-lecture pointer length): gives the edit stream a block of text to read; the pointer is "
      "cleared, the block belongs to the stream; error 2 when it is no memory pointer's block or "
      "is shorter" },
    { "eof-lecture?", eof_lecture_p, "(eof-lecture?): whether the edit stream has been read up" },
    { "edit-wait", edit_wait,
      "(edit-wait): pumps events until the edit stream has text; its length, 0 when none will "
      "come" },
};

static void mark_edit_owner()
{
    mark_value(edit_out.owner);
}

void init_streams()
{
    symbol_print_string = intern("print-string");
    edit_in = {};
    edit_out.count = 0;
    edit_out.owner = nil;
    edit_source = nullptr;
    hooks.flush_output = flush_edit;
    add_root_marker(mark_edit_owner);
    register_get(handle_getc, get_handle, { .unget = step_back });
    register_put(handle_putc, put_handle);
    register_get(buffer_getc, get_buffer, { .unget = step_back });
    register_get(editgetc, get_edit, { .unget = unget_edit, .wait = wait_for_edit_text });
    register_put(editputc, put_edit);
    register_get(general_getc, get_general);
    register_put(general_putc, put_general);
    input = { get_edit, 0, nil, kNoCharacter };
    define_primitives(stream_primitives);
}
