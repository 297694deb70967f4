#include "storage/storage_arguments.h"

#include <cstring>

#include "kernel/errors.h"
#include "kernel/printer.h"

// Never 0 but once in 65536 times: a stamp of 0 was not made from a Handle.
static uint16_t stamp_of(Handle handle)
{
    return static_cast<uint16_t>(HandleGeneration(handle) + 1);
}

Value make_handle_pointer(PointerKind kind, Handle handle)
{
    return make_pointer(kind, handle, handle == 0 ? 0 : stamp_of(handle));
}

// Without a stamp only whether something lives there can be told.
static bool is_stale(Value pointer, Handle handle)
{
    const uint16_t stamp = pointer_stamp(pointer);
    return !HandleIsLive(handle) || (stamp != 0 && stamp != stamp_of(handle));
}

Handle handle_argument(Value pointer)
{
    const Handle handle = pointer_of(pointer);
    if (is_stale(pointer, handle))
        raise_error(kErrorType, pointer);
    return handle;
}

Handle resource_argument(Value pointer)
{
    const Handle handle = pointer_of(pointer);
    return is_stale(pointer, handle) ? 0 : handle;
}

ResType type_argument(Value string)
{
    if (!is_string(string))
        raise_error(kErrorType, string);
    const char* chars = string_chars(string);
    ResType type = 0;
    bool ended = false;
    for (int i = 0; i < 4; i++) {
        ended = ended || chars[i] == 0;
        type = type << 8 | (ended ? 0 : static_cast<uint8_t>(chars[i]));
    }
    return type;
}

Value make_type_string(ResType type)
{
    if (type == 0)
        return empty_string;
    char text[5] = {};
    for (int i = 0; i < 4; i++)
        text[i] = static_cast<char>(type >> (24 - 8 * i));
    return make_string(text);
}

int16_t id_argument(Value integer)
{
    return static_cast<int16_t>(integer_value(integer));
}

std::string text_argument(Value string)
{
    if (!is_string(string))
        raise_error(kErrorType, string);
    return string_chars(string);
}

std::string name_argument(Value name)
{
    if (!is_true_flag(name))
        return {};
    return std::string(coerce_to_cstring(name)).substr(0, 255);
}

uint32_t bits_argument(Value integer)
{
    if (integer.tag() == kTagUnsignedLong)
        return unsigned_value(integer);
    return static_cast<uint32_t>(integer_value(integer));
}

uint8_t* memory_argument(Value pointer, uint32_t offset, uint32_t size)
{
    const ZoneAddress address = pointer_of(pointer) + offset;
    if (!zone_mapped(address, size))
        raise_error(kErrorType, pointer);
    return zone_pointer(address);
}
