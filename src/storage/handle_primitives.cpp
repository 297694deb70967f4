// Handles, plain blocks and raw memory for Lisp. An address is checked against what is mapped
// before it is followed; nothing else about it is known.
#include <cstring>

#include "kernel/errors.h"
#include "kernel/hooks.h"
#include "kernel/primitive.h"
#include "kernel/printer.h"
#include "kernel/symbols.h"
#include "storage/bytes.h"
#include "storage/storage_arguments.h"
#include "storage/storage_primitives.h"

// ---- Plain blocks and addresses

static Value plain_pointer(uint32_t word)
{
    return make_pointer(kPointerPlain, word);
}

static uint32_t sum_of(Rest integers)
{
    uint32_t sum = 0;
    for (; !is_end(*integers); integers++)
        sum += bits_argument(*integers);
    return sum;
}

static Value new_ptr(Value size)
{
    return make_pointer(kPointerMemory, NewPtr(bits_argument(size)));
}

static Value dispose_ptr(Value pointer)
{
    if (!PtrIsLive(pointer_of(pointer)))
        raise_error(kErrorType, pointer);
    DisposePtr(pointer_of(pointer));
    set_pointer(pointer, 0);
    return no_value;
}

static Value add_ptr(Value pointer, Rest offsets)
{
    return plain_pointer(pointer_of(pointer) + sum_of(offsets));
}

static Value null_ptr()
{
    return plain_pointer(0);
}

static Value null_ptr_p(Value pointer)
{
    return boolean(pointer_of(pointer) == 0);
}

static Value ptr_equal_p(Value a, Value b)
{
    return boolean(pointer_of(a) == pointer_of(b));
}

static Value number_to_pointer(Value integer)
{
    return plain_pointer(bits_argument(integer));
}

static Value pointer_to_number(Value pointer)
{
    return make_integer(static_cast<int32_t>(pointer_of(pointer)));
}

// ---- Reading and writing memory

static uint32_t width_bytes(int32_t width)
{
    switch (width) {
    case 1:
        return 1;
    case 2:
    case 3:
    case -2:
    case -3:
        return 2;
    case 4:
    case -4:
        return 4;
    default:
        return 0;
    }
}

static Value mref(Value width_, Value pointer, Rest offsets)
{
    const int32_t width = integer_value(width_);
    const uint32_t size = width_bytes(width);
    if (size == 0)
        raise_error(kErrorType, make_integer(width));
    const uint8_t* at = memory_argument(pointer, sum_of(offsets), size);
    uint16_t word;
    uint32_t longword;
    memcpy(&word, at, size < 2 ? 1 : 2);
    memcpy(&longword, at, size < 4 ? 1 : 4);
    switch (width) {
    case 1:
        return make_fixnum(*at);
    case 2:
        return make_fixnum(word);
    case 3:
        return make_fixnum(static_cast<int16_t>(word));
    case 4:
        return make_integer(static_cast<int32_t>(longword));
    case -2:
        return make_fixnum(get_be16(at));
    case -3:
        return make_fixnum(static_cast<int16_t>(get_be16(at)));
    default:
        return make_integer(static_cast<int32_t>(get_be32(at)));
    }
}

// Widths 1 and 2 take small integers only; 3, the signed one, is for reading.
static Value mset(Value width_, Value value, Rest place)
{
    const int32_t width = integer_value(width_);
    const uint32_t size = width_bytes(width);
    const bool is_long = value.tag() == kTagLong || value.tag() == kTagUnsignedLong;
    if (size == 0 || width == 3 || width == -3 || !(is_fixnum(value) || (size == 4 && is_long)))
        raise_error(kErrorType, make_integer(width));
    const uint32_t bits = bits_argument(value);
    if (is_end(place[0]))
        raise_error(kErrorType);
    uint8_t* at = memory_argument(place[0], sum_of(place + 1), size);
    const uint16_t word = static_cast<uint16_t>(bits);
    switch (width) {
    case 1:
        *at = static_cast<uint8_t>(bits);
        break;
    case 2:
        memcpy(at, &word, 2);
        break;
    case 4:
        memcpy(at, &bits, 4);
        break;
    case -2:
        put_be16(at, word);
        break;
    default:
        put_be32(at, bits);
        break;
    }
    return value;
}

static Value equal_block_p(Value a, Value b, Value count_)
{
    const int32_t count = integer_value(count_);
    if (count <= 0)
        return symbol_t;
    const uint32_t size = static_cast<uint32_t>(count);
    const uint8_t* first = memory_argument(a, 0, size);
    return boolean(memcmp(first, memory_argument(b, 0, size), size) == 0);
}

static Value block_move(Value source, Value destination, Value count_)
{
    const int32_t count = integer_value(count_);
    if (count <= 0)
        return no_value;
    const uint32_t size = static_cast<uint32_t>(count);
    const uint8_t* from = memory_argument(source, 0, size);
    BlockMove(from, memory_argument(destination, 0, size), size);
    return no_value;
}

// ---- Handles

static Value new_handle(Value size)
{
    return make_handle_pointer(kPointerHandle, NewHandle(bits_argument(size)));
}

static Value copy_handle(Value handle)
{
    return make_handle_pointer(kPointerHandle, CopyHandle(handle_argument(handle)));
}

static Value dispose_handle(Value handle)
{
    DisposeHandle(handle_argument(handle));
    set_pointer(handle, 0);
    return no_value;
}

static Value get_handle_size(Value handle)
{
    return make_unsigned(GetHandleSize(handle_argument(handle)));
}

static Value set_handle_size(Value handle, Value size)
{
    const Handle changed = handle_argument(handle);
    SetHandleSize(changed, bits_argument(size));
    return no_value;
}

static Value hlock(Value handle)
{
    return plain_pointer(zone_address(HLock(handle_argument(handle))));
}

static Value hunlock(Value handle)
{
    HUnlock(handle_argument(handle));
    return no_value;
}

static Value hpurge(Value handle)
{
    HPurge(handle_argument(handle));
    return no_value;
}

static Value hnopurge(Value handle)
{
    HNoPurge(handle_argument(handle));
    return no_value;
}

static Value hgetstate(Value)
{
    raise_error(kErrorNotHere);
}

static Value hsetstate(Value, Value)
{
    raise_error(kErrorNotHere);
}

static Value compact_memory(Value needed)
{
    return make_unsigned(PurgeMemory(bits_argument(needed)));
}

static Value space_available_p(Value bytes)
{
    const int64_t wanted = bytes.tag() == kTagUnsignedLong ? int64_t(unsigned_value(bytes))
                                                           : int64_t(integer_value(bytes));
    return boolean(wanted < int64_t(MemoryAvailable()));
}

static void dispose_pointer(Value pointer)
{
    const uint32_t word = pointer_of(pointer);
    if (pointer_kind(pointer) == kPointerMemory && PtrIsLive(word))
        DisposePtr(word);
    else if (pointer_kind(pointer) == kPointerHandle && resource_argument(pointer) != 0)
        DisposeHandle(word);
    set_pointer(pointer, 0);
}

// ---- How they print

static void print_sized(Value pointer, uint32_t size)
{
    print_format("<%s %x of size %d>", pointer_kind_name(pointer), pointer_of(pointer),
                 static_cast<int>(size));
}

static void print_memory_pointer(Value pointer)
{
    if (PtrIsLive(pointer_of(pointer)))
        print_sized(pointer, GetPtrSize(pointer_of(pointer)));
    else
        print_disposed(pointer);
}

static void print_handle(Value pointer)
{
    const Handle handle = resource_argument(pointer);
    if (handle != 0)
        print_sized(pointer, GetHandleSize(handle));
    else
        print_disposed(pointer);
}

static const Primitive handle_primitives[] = {
    { "new-ptr", new_ptr,
      "(new-ptr size): memory pointer to a block of size bytes that never moves; a null one when "
      "memory is refused" },
    { "dispose-ptr", dispose_ptr,
      "(dispose-ptr pointer): frees a block of new-ptr and makes the pointer null; error 2 for any "
      "other" },
    { "add-ptr", add_ptr,
      "(add-ptr pointer integer...): plain pointer that many bytes further on" },
    { "mref", mref,
      "(mref width pointer offset...): number stored at pointer plus offsets. Width 1: byte; 2, 3: "
      "16 "
      "bits without and with sign; 4: 32 bits; negative: big-endian. Error 2 for another width or "
      "an "
      "address that is not memory" },
    { "mset", mset,
      "(mset width value pointer offset...): value, stored at pointer plus offsets in width 1, 2, "
      "4, "
      "-2 or -4, as for mref. Error 2 for another width, for a value that is no small integer "
      "where "
      "the width is not 4, or an address that is not memory" },
    { "equal-block?", equal_block_p,
      "(equal-block? pointer pointer count): whether count bytes are equal; t for a count below "
      "1" },
    { "block-move", block_move,
      "(block-move source destination count): copies count bytes between pointers; the blocks may "
      "overlap" },
    { "new-handle", new_handle,
      "(new-handle size): handle of a relocatable block; a null one when memory is refused" },
    { "copy-handle", copy_handle, "(copy-handle handle): new handle with the same bytes" },
    { "dispose-handle", dispose_handle,
      "(dispose-handle handle): frees the block, locked or not, and makes the handle null; error 2 "
      "if it is dead" },
    { "get-handle-size", get_handle_size,
      "(get-handle-size handle): bytes in the block; 0 when it is empty or was purged" },
    { "set-handle-size", set_handle_size,
      "(set-handle-size handle size): resizes the block, which may move; it stays as it is when "
      "memory is refused" },
    { "reallocate-handle", set_handle_size,
      "(reallocate-handle handle size): the same as set-handle-size" },
    { "hlock", hlock,
      "(hlock handle): pointer to the block, which stays until hunlock; locks nest; error 60 when "
      "the "
      "handle is empty" },
    { "hunlock", hunlock, "(hunlock handle): takes one lock off" },
    { "hpurge", hpurge, "(hpurge handle): lets the block be thrown away when memory is short" },
    { "hnopurge", hnopurge, "(hnopurge handle): keeps the block" },
    { "hgetstate", hgetstate, "(hgetstate handle): error 47, not available here" },
    { "hsetstate", hsetstate, "(hsetstate handle state): error 47, not available here" },
    { "compact-memory", compact_memory,
      "(compact-memory bytes): bytes available, after emptying all purgeable handles if no more "
      "than "
      "bytes were" },
    { "space-available?", space_available_p,
      "(space-available? bytes): whether more than bytes are available" },
    { "null-ptr", null_ptr, "(null-ptr): null pointer" },
    { "null-ptr?", null_ptr_p, "(null-ptr? pointer): whether the pointer is null" },
    { "ptr-equal?", ptr_equal_p,
      "(ptr-equal? pointer pointer): whether both hold the same word; their kinds do not matter" },
    { "number->pointer", number_to_pointer,
      "(number->pointer integer): plain pointer to that address" },
    { "pointer->number", pointer_to_number,
      "(pointer->number pointer): the pointer's word as an integer" },
};

void init_handles()
{
    define_primitives(handle_primitives);
    define_pointer_printer(kPointerMemory, print_memory_pointer);
    define_pointer_printer(kPointerHandle, print_handle);
    hooks.dispose_pointer = dispose_pointer;
}
