// Strings: NUL-terminated bytes in the heap. Text is built in the free tail of the heap, so what
// the new string is copied from is looked up again once there is room for it.
#include <algorithm>
#include <cstring>
#include <string>

#include "kernel/frames.h"
#include "kernel/primitive.h"
#include "kernel/printer.h"
#include "kernel/reader.h"
#include "kernel/symbols.h"
#include "library/library.h"
#include "library/memory_arguments.h"
#include "platform/characters.h"

// What one request of a program may ask for.
constexpr int32_t kMostAskedFor = 32000;
constexpr uint32_t kMostOfHandle = 32767;

static uint32_t text_length(Value string)
{
    return static_cast<uint32_t>(strlen(string_chars(string)));
}

// count bytes of a string from an offset on, as a new string.
static Value copy_part(Value string, uint32_t from, uint32_t count)
{
    if (count == 0)
        return empty_string;
    ensure_text(count);
    char* const text = scratch();
    memcpy(text, string_chars(string) + from, count);
    text[count] = 0;
    return make_string(text, count);
}

// ---- Making and converting

static Value string(Value v)
{
    return coerce_to_string(v);
}

static Value copy_string(Value v)
{
    const Value text = coerce_to_string(v);
    return copy_part(text, 0, text_length(text));
}

static Value string_symbol(Value v)
{
    if (is_symbol(v))
        return v;
    return intern_dynamic(coerce_to_cstring(typed_argument(v, kTagString)));
}

static Value string_p(Value v)
{
    return boolean(is_string(v));
}

static Value char_(Value c)
{
    const char text[2] = { static_cast<char>(character_argument(c)), 0 };
    return text[0] ? make_string(text, 1) : empty_string;
}

static Value ascii(Value v)
{
    return make_fixnum(static_cast<uint8_t>(string_chars(typed_argument(v, kTagString))[0]));
}

static Value make_blanks(Value n)
{
    const int32_t length = integer_value(n);
    if (length < 0 || length > kMostAskedFor)
        raise_error(kErrorType, n);
    ensure_text(static_cast<uint32_t>(length));
    memset(scratch(), ' ', static_cast<size_t>(length));
    return make_string(scratch(), static_cast<uint32_t>(length));
}

static Value string_int(Value v)
{
    return read_integer(coerce_to_cstring(v));
}
static Value string_real(Value v)
{
    return read_number(coerce_to_cstring(v));
}

// ---- Joining and taking apart

static Value text_of(Value v)
{
    return is_symbol(v) ? symbol_name(v) : v;
}
static bool has_text(Value v)
{
    return is_string(v) || is_symbol(v);
}

static Value append_texts(Rest texts)
{
    uint32_t lengths[8]; // of the first ones, so that they are measured once
    uint32_t total = 0;
    for (uint32_t i = 0; !is_end(texts[i]); ++i) {
        const uint32_t length = text_length(text_of(texts[i]));
        if (i < std::size(lengths))
            lengths[i] = length;
        total += length;
        if (total > kLongestString)
            raise_error(kErrorType, make_unsigned(total));
    }
    if (total == 0)
        return empty_string;
    ensure_text(total);
    char* end = scratch();
    for (uint32_t i = 0; !is_end(texts[i]); ++i) {
        const char* const text = string_chars(text_of(texts[i]));
        const size_t length = i < std::size(lengths) ? lengths[i] : strlen(text);
        memcpy(end, text, length);
        end += length;
    }
    return make_string(scratch(), total);
}

// The coerced arguments need a place that the collector knows.
static Value append_coerced(Rest values)
{
    const StackFrame frame;
    for (Rest at = values; !is_end(*at); ++at) {
        const Value text = coerce_to_string(*at);
        check_lisp_stack(2);
        push(text);
    }
    push(end_of_args);
    return append_texts(frame.locals);
}

static Value string_append(Rest values)
{
    for (Rest at = values; !is_end(*at); ++at)
        if (!has_text(*at))
            return append_coerced(values);
    return append_texts(values);
}

static Value append_two(Value a, Value b)
{
    const Value run[] = { a, b, end_of_args };
    return string_append(run);
}

static Value string_length(Value v)
{
    return make_fixnum(static_cast<int32_t>(text_length(coerce_to_string(v))));
}

// A place in a text of that length; negative ones count from its end.
static uint32_t clipped(Value index, uint32_t length)
{
    const int64_t i = integer_value(index);
    const int64_t place = i < 0 ? i + length : i;
    return static_cast<uint32_t>(std::clamp<int64_t>(place, 0, length));
}

static Value substring(Value v, Value from, Value to)
{
    const Value text = coerce_to_string(v);
    const uint32_t length = text_length(text);
    const uint32_t first = clipped(from, length);
    const uint32_t last = is_nil(to) ? length : clipped(to, length);
    return first < last ? copy_part(text, first, last - first) : empty_string;
}

// An index that names a byte of the string.
static uint32_t place_argument(Value string, Value index)
{
    typed_argument(string, kTagString);
    const uint32_t i = length_argument(index);
    if (memchr(string_chars(string), 0, std::min(i, kLongestString) + 1) != nullptr)
        raise_error(kErrorType, index);
    return i;
}

static Value string_ref(Value string, Value index)
{
    const uint32_t i = place_argument(string, index);
    return make_fixnum(static_cast<uint8_t>(string_chars(string)[i]));
}

static Value string_set_x(Value string, Value index, Value c)
{
    const uint32_t i = place_argument(string, index);
    if (i > static_cast<uint32_t>(kMostAskedFor))
        raise_error(kErrorType, index);
    string_chars(string)[i] = static_cast<char>(character_argument(c));
    return c;
}

static std::string upper_text(Value string)
{
    std::string text = string_chars(string);
    for (char& c : text)
        c = static_cast<char>(upper_table[c]);
    return text;
}

// Offset of the first match, or a negative number.
static int64_t match_offset(Value pattern, Value text, bool fold)
{
    if (fold) {
        const size_t offset = upper_text(text).find(upper_text(pattern));
        return offset == std::string::npos ? -1 : static_cast<int64_t>(offset);
    }
    const char* const begin = string_chars(text);
    const void* const match =
        memmem(begin, text_length(text), string_chars(pattern), text_length(pattern));
    return match ? static_cast<const char*>(match) - begin : -1;
}

static Value memstring(Value pattern, Value v, Value fold)
{
    const Value wanted = coerce_to_string(pattern);
    const Value text = coerce_to_string(v);
    const int64_t offset = match_offset(wanted, text, is_true_flag(fold));
    if (offset < 0)
        return nil;
    const uint32_t from = static_cast<uint32_t>(offset);
    return copy_part(text, from, text_length(text) - from);
}

// ---- Comparing

static Value empty_string_p(Value v)
{
    return boolean(is_string(v) && string_chars(v)[0] == 0);
}

static int collation(Value a, Value b)
{
    const Value first = coerce_to_string(a);
    const Value second = coerce_to_string(b);
    return compare_collated(string_chars(first), string_chars(second));
}

static Value string_less_p(Value a, Value b)
{
    return boolean(collation(a, b) < 0);
}
static Value string_not_greater_p(Value a, Value b)
{
    return boolean(collation(a, b) <= 0);
}
static Value string_greater_p(Value a, Value b)
{
    return boolean(collation(a, b) > 0);
}
static Value string_not_less_p(Value a, Value b)
{
    return boolean(collation(a, b) >= 0);
}

static bool same_bytes(Value a, Value b)
{
    const Value first = coerce_to_string(a);
    const Value second = coerce_to_string(b);
    return strcmp(string_chars(first), string_chars(second)) == 0;
}

static Value string_equal_p(Value a, Value b)
{
    return boolean(same_bytes(a, b));
}
static Value string_unequal_p(Value a, Value b)
{
    return boolean(!same_bytes(a, b));
}

static Value string_nocase_equal_p(Value a, Value b, Value ignore_accents)
{
    const Value first = coerce_to_string(a);
    const Value second = coerce_to_string(b);
    return boolean(equal_through(is_true_flag(ignore_accents) ? order_table : upper_table,
                                 string_chars(first), string_chars(second)));
}

// ---- Strings and memory

static Value string_of_bytes(const uint8_t* bytes, uint32_t count)
{
    const char* const chars = reinterpret_cast<const char*>(bytes);
    const uint32_t length = static_cast<uint32_t>(strnlen(chars, count));
    return length ? make_string(chars, length) : empty_string;
}

static Value ptr_string(Value pointer)
{
    const uint32_t length = *memory_argument(pointer, 1);
    return string_of_bytes(memory_argument(pointer, 1 + length) + 1, length);
}

static Value text_string(Value pointer, Value n)
{
    const uint32_t length = length_argument(n);
    if (length > static_cast<uint32_t>(kMostAskedFor))
        raise_error(kErrorType, n);
    return string_of_bytes(memory_argument(pointer, length), length);
}

static Value put_string(Value string, Value pointer)
{
    const uint32_t length = std::min(text_length(typed_argument(string, kTagString)), 255u);
    uint8_t* const place = memory_argument(pointer, 1 + length);
    place[0] = static_cast<uint8_t>(length);
    memcpy(place + 1, string_chars(string), length);
    return no_value;
}

static Value put_string_text(Value string, Value pointer)
{
    const uint32_t length = text_length(typed_argument(string, kTagString));
    memcpy(memory_argument(pointer, length), string_chars(string), length);
    return no_value;
}

static Value string_handle(Value string)
{
    const uint32_t length = text_length(typed_argument(string, kTagString));
    const Handle handle = NewHandleChecked(length);
    if (length > 0) {
        const LockedHandle locked(handle);
        memcpy(locked.bytes, string_chars(string), length);
    }
    return make_handle_pointer(kPointerHandle, handle);
}

static Value handle_string(Value pointer)
{
    const Handle handle = handle_argument(pointer);
    const uint32_t length = std::min(GetHandleSize(handle), kMostOfHandle);
    if (length == 0)
        return empty_string;
    const LockedHandle locked(handle);
    return string_of_bytes(locked.bytes, length);
}

static const Primitive string_primitives[] = {
    { "string", string,
      "(string value): its text: a string itself, a symbol's name, or as printed" },
    { "symbol->string", string, "(symbol->string symbol): the symbol's name" },
    { "string->symbol", string_symbol,
      "(string->symbol string): the symbol of that name, made if there is none; error 2 on no "
      "string" },
    { "string?", string_p, "(string? value): whether it is a string" },
    { "char", char_, "(char integer): a string of that one byte; error 2 outside 0 to 255" },
    { "ascii", ascii, "(ascii string): its first byte, 0 for an empty one" },
    { "make-string", make_blanks,
      "(make-string n): a string of n blanks; error 2 when negative or above 32000" },
    { "copy-string", copy_string, "(copy-string value): a new string of its text" },
    Primitive("string-append", string_append,
              "(string-append value...): the texts joined; error 2 with the length when it passes "
              "65535")
        .two(append_two),
    { "string-length", string_length, "(string-length value): bytes of its text" },
    { "string-ref", string_ref,
      "(string-ref string i): byte i as an integer, from 0; error 2 past the end" },
    { "string-set!", string_set_x,
      "(string-set! string i char): stores a byte; the char; error 2 past the end or above 32000" },
    { "substring", substring,
      "(substring value from to): bytes from up to to, or to the end when to is nil; negative ones "
      "count from the end, both are clipped" },
    { "memstring", memstring,
      "(memstring pattern text fold): text from the first match to its end, or nil; fold ignores "
      "case" },
    { "empty-string?", empty_string_p,
      "(empty-string? value): whether it is a string without bytes" },
    { "string<?", string_less_p, "(string<? a b): whether text a is sorted before b" },
    { "string<=?", string_not_greater_p, "(string<=? a b): whether a is not sorted behind b" },
    { "string>?", string_greater_p, "(string>? a b): whether text a is sorted behind b" },
    { "string>=?", string_not_less_p, "(string>=? a b): whether a is not sorted before b" },
    { "string=?", string_equal_p, "(string=? a b): whether the texts are the same bytes" },
    { "string/=?", string_unequal_p, "(string/=? a b): whether the texts differ" },
    { "string-nocase=?", string_nocase_equal_p,
      "(string-nocase=? a b ignore-accents): whether the texts are the same but for case, or for "
      "case and accents" },
    { "string->int", string_int, "(string->int value): the integer its text reads as, or nil" },
    { "string->real", string_real, "(string->real value): the number its text reads as, or nil" },
    { "ptr->string", ptr_string,
      "(ptr->string pointer): the counted string at the pointer; error 2 outside memory" },
    { "text->string", text_string,
      "(text->string pointer n): n bytes, up to a 0; error 2 when n is negative or above 32000" },
    { "put-string", put_string,
      "(put-string string pointer): stores a counted string of at most 255 bytes" },
    { "put-string-text", put_string_text,
      "(put-string-text string pointer): stores the bytes, without a 0 behind them" },
    { "string->handle", string_handle, "(string->handle string): a new handle of the bytes" },
    { "handle->string", handle_string,
      "(handle->string handle): its bytes, up to a 0 or 32767 of them" },
};

void init_strings()
{
    define_primitives(string_primitives);
}
