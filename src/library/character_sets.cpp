// Conversions between the character sets of Mac, ANSI and ISO files, and single characters.
#include <algorithm>
#include <cstring>

#include "kernel/primitive.h"
#include "kernel/printer.h"
#include "kernel/symbols.h"
#include "library/library.h"
#include "library/memory_arguments.h"
#include "library/text_conversion.h"

static Value upper_char(Value c)
{
    return make_fixnum(upper_table[character_argument(c)]);
}
static Value lower_char(Value c)
{
    return make_fixnum(lower_table[character_argument(c)]);
}

static Value alpha_char_p(Value c)
{
    const int32_t code = integer_value(c);
    return boolean(code >= 0 && code <= 255 && is_alphabetic(static_cast<uint8_t>(code)));
}

static Value char_p(Value v)
{
    return boolean(is_fixnum(v));
}

// ---- In place

static CompactText compact_argument(Value flag)
{
    return is_true_flag(flag) ? CompactText::yes : CompactText::no;
}

static Value bad_byte(int bad)
{
    return cons(make_fixnum(bad), nil);
}

static Value mac_ibm(Value pointer, Value capacity, Value length, Value compact)
{
    const uint32_t room = length_argument(capacity);
    const uint32_t count = length_argument(length);
    uint8_t* const text = memory_argument(pointer, count);
    if (has_line_feed(text, count))
        return make_unsigned(count);
    const uint32_t converted = length_with_line_feeds(text, count);
    if (converted > room)
        return nil;
    memory_argument(pointer, converted);
    const int bad = convert_mac_text(text, count, compact_argument(compact));
    return bad == kAllConverted ? make_unsigned(converted) : bad_byte(bad);
}

static Value mac_ibm_ptr(Value pointer, Value length, Value compact)
{
    const uint32_t count = length_argument(length);
    uint8_t* const text = memory_argument(pointer, count);
    const int bad = translate_text(mac_to_ansi, text, count, compact_argument(compact));
    return bad == kAllConverted ? nil : make_fixnum(bad);
}

static Value ibm_mac(Value pointer, Value capacity, Value length)
{
    length_argument(capacity);
    const uint32_t count = length_argument(length);
    return make_unsigned(convert_ansi_text(memory_argument(pointer, count), count));
}

static Value iso_mac(Value pointer, Value capacity, Value length, Value compact)
{
    length_argument(capacity);
    const uint32_t count = length_argument(length);
    uint8_t* const text = memory_argument(pointer, count);
    const int bad = translate_text(iso_to_mac, text, count, compact_argument(compact));
    return bad == kAllConverted ? make_unsigned(count) : bad_byte(bad);
}

static Value remove_cr_lf(Value pointer, Value length)
{
    const uint32_t count = length_argument(length);
    return make_unsigned(remove_line_feeds(memory_argument(pointer, count), count));
}

// ---- Strings

// A new string through a table; with refuse, nil when a byte has no equivalent.
static Value translated(const CharacterTable& table, Value v, bool refuse)
{
    const Value text = coerce_to_string(v);
    const uint32_t length = static_cast<uint32_t>(strlen(string_chars(text)));
    if (length == 0)
        return empty_string;
    ensure_text(length);
    const char* const from = string_chars(text);
    char* const to = scratch();
    for (uint32_t i = 0; i < length; ++i) {
        const uint8_t c = table[from[i]];
        if (c == 0 && refuse)
            return nil;
        to[i] = static_cast<char>(c);
    }
    to[length] = 0;
    return make_string(to, length);
}

static Value upper_string(Value v)
{
    return translated(upper_table, v, false);
}
static Value lower_string(Value v)
{
    return translated(lower_table, v, false);
}
static Value remove_accent(Value v)
{
    return translated(accent_table, v, false);
}
static Value mac_ibm_string(Value v)
{
    return translated(mac_to_ansi, v, true);
}
static Value ibm_mac_string(Value v)
{
    return translated(ansi_to_mac, v, true);
}

static const Primitive character_primitives[] = {
    { "upper-char", upper_char,
      "(upper-char char): the capital of a letter; error 2 outside 0 to 255" },
    { "lower-char", lower_char, "(lower-char char): the small letter; error 2 outside 0 to 255" },
    { "alpha-char?", alpha_char_p, "(alpha-char? char): whether it is a letter or a digit" },
    { "char?", char_p, "(char? value): whether it is an immediate integer" },
    { "upper-string", upper_string, "(upper-string value): a new string in capitals" },
    { "lower-string", lower_string, "(lower-string value): a new string in small letters" },
    { "remove-accent", remove_accent, "(remove-accent value): a new string without accents" },
    { "mac->ibm", mac_ibm,
      "(mac->ibm pointer capacity length compact): turns Mac text into ANSI in place, carriage "
      "returns into line ends; the new length, nil when it passes capacity, or a list of the byte "
      "that has no equivalent; compact keeps bytes below 32; a text with line feeds stays" },
    { "mac->ibm-ptr", mac_ibm_ptr,
      "(mac->ibm-ptr pointer length compact): turns Mac text into ANSI in place byte for byte; "
      "nil, "
      "or the first byte without equivalent (the text then stays); compact skips compact codes" },
    { "mac->ibm-string", mac_ibm_string,
      "(mac->ibm-string value): a new string in ANSI; nil when a byte has no equivalent" },
    { "ibm->mac", ibm_mac,
      "(ibm->mac pointer capacity length): turns ANSI text into Mac text in place, line ends into "
      "carriage returns; the new length" },
    { "ibm->mac-string", ibm_mac_string,
      "(ibm->mac-string value): a new string in Mac Roman; nil when a byte has no equivalent" },
    { "iso->mac", iso_mac,
      "(iso->mac pointer capacity length compact): turns ISO text into Mac text in place; the "
      "length, or a list of the byte that has no equivalent (the text then stays)" },
    { "remove-cr-lf", remove_cr_lf,
      "(remove-cr-lf pointer length): drops all line feeds in place; the new length" },
};

void init_character_sets()
{
    define_primitives(character_primitives);
}
