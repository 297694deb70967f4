// Forms from the characters of the current input, steered by the syntax table. Characters are taken
// one by one and the first that ends a token stays pending, so nothing is lost between two reads.
// What is being built is held in locals, where the collector's scan of the machine stack finds it.
#include "kernel/reader.h"

#include <cstring>
#include <string>

#include "kernel/collector.h"
#include "kernel/evaluator.h"
#include "kernel/hooks.h"
#include "kernel/stream_procedures.h"
#include "kernel/symbols.h"
#include "kernel/syntax_table.h"
#include "platform/characters.h"

Input input = { nullptr, 0, nil, kNoCharacter };
Value macro_characters[256];
Value dispatch_characters[256];

static Value symbol_quote;
static Value symbol_and;
static Value symbol_or;
static Value symbol_not;
static Value symbol_mac;
static Value symbol_machine;
static Value symbol_features;
static Value symbol_langage;
static Value symbol_load_file;

// ---- Characters

uint32_t fetch_character()
{
    const uint32_t c = input.get ? input.get(input.state) : kEndOfInput;
    input.current = static_cast<uint16_t>(c <= 255 ? c : kEndOfInput);
    return input.current;
}

static ByteInput* innermost_bytes;

static ByteInput& byte_input(uint32_t depth)
{
    ByteInput* source = innermost_bytes;
    while (source->depth != depth)
        source = source->outer;
    return *source;
}

static uint32_t get_byte(uint32_t depth)
{
    ByteInput& source = byte_input(depth);
    return source.position < source.length ? source.bytes[source.position++] : kEndOfInput;
}

ByteInput::ByteInput(const uint8_t* bytes_, uint32_t length_)
    : bytes(bytes_), length(length_), outer(innermost_bytes), depth(outer ? outer->depth + 1 : 1)
{
    innermost_bytes = this;
    input = { get_byte, depth, nil, kNoCharacter };
}

ByteInput::~ByteInput()
{
    innermost_bytes = outer;
}

uint32_t input_position()
{
    if (input.get == get_byte)
        return byte_input(input.state).position;
    if (input.get && get_operations(input.get)->position)
        return get_operations(input.get)->position(input.state);
    uint32_t position = 0;
    if (zone_mapped(input.state, 4))
        memcpy(&position, zone_pointer(input.state), 4);
    return position;
}

static uint32_t take_or_fail()
{
    const uint32_t c = take_character();
    if (c == kEndOfInput)
        raise_error(kErrorSyntax);
    return c;
}

// ---- Symbols and numbers
//
// What holds a text buffer is kept out of read_form's frame, which nests as deep as the input does.

// The text of an atom. Of one that is too long the rest is read over, so that it does not come up
// as a form of its own after the error.
struct AtomText {
    static constexpr uint32_t kLongest = 255;
    char text[kLongest + 1];
    uint32_t length = 0;

    // A NUL can't stand in a name.
    void append(uint32_t c)
    {
        if (c == 0)
            return;
        if (length < kLongest)
            text[length] = static_cast<char>(c);
        ++length;
    }

    const char* finish()
    {
        const bool too_long = length > kLongest;
        text[too_long ? kLongest : length] = 0;
        if (too_long)
            raise_error(kErrorType, make_string(text));
        return text;
    }
};

static void scan_symbol(AtomText& atom)
{
    for (;;) {
        const uint32_t c = peek_character();
        if (c == kEndOfInput)
            return;
        switch (syntax_table[c]) {
        case kSyntaxEscape:
            take_character();
            atom.append(take_or_fail());
            break;
        case kSyntaxDot:
        case kSyntaxLetter:
        case kSyntaxDigit:
        case kSyntaxSign:
            atom.append(take_character());
            break;
        default:
            return;
        }
    }
}

[[gnu::noinline]] static Value read_symbol()
{
    AtomText atom;
    scan_symbol(atom);
    return intern_dynamic(atom.finish());
}

[[gnu::noinline]] static Value read_keyword()
{
    AtomText atom;
    atom.append(':');
    scan_symbol(atom);
    const Value symbol = intern_dynamic(atom.finish());
    set_global_value(symbol, symbol);
    return symbol;
}

[[gnu::noinline]] static Value read_number_or_symbol()
{
    AtomText atom;
    uint32_t digits = 0;
    uint32_t marks = 0;
    uint32_t others = 0;
    for (uint32_t c; (c = peek_character()) != kEndOfInput; atom.append(c)) {
        const uint8_t syntax = syntax_table[c];
        if (c == dot_mark) {
            ++marks;
        } else if (syntax == kSyntaxDigit) {
            ++digits;
        } else if (syntax == kSyntaxLetter || syntax == kSyntaxDot || syntax == kSyntaxEscape) {
            ++others;
        } else if (syntax != kSyntaxSign) {
            break;
        }
        take_character();
        if (syntax == kSyntaxEscape && c != dot_mark)
            c = take_or_fail();
    }
    const char* const text = atom.finish();
    if (others == 0 && digits > 0 && marks <= 1) {
        const Value number = read_number(text);
        if (!is_nil(number))
            return number;
    }
    return intern_dynamic(text);
}

// ---- Strings

// Up to the closing quote. Line feeds are dropped, and NULs, which would cut the string.
[[gnu::noinline]] static Value read_string()
{
    constexpr uint32_t kLongest = 65534;
    char start[1024];
    uint32_t count = 0;
    std::string rest;
    for (;;) {
        uint32_t c = take_or_fail();
        if (syntax_table[c] == kSyntaxString)
            break;
        if (syntax_table[c] == kSyntaxEscape)
            c = take_or_fail();
        if (c == '\n' || c == 0)
            continue;
        if (count < sizeof start)
            start[count++] = static_cast<char>(c);
        else if (rest.size() <= kLongest)
            rest.push_back(static_cast<char>(c));
    }
    if (count == 0)
        return empty_string;
    if (rest.empty())
        return make_string(start, count);
    rest.insert(0, start, count);
    if (rest.size() > kLongest)
        raise_error(kErrorType, make_string(rest.data(), AtomText::kLongest));
    return make_string(rest.data(), static_cast<uint32_t>(rest.size()));
}

// ---- Lists

Value read_list(Value terminator, AtEnd at_end)
{
    Value first;
    Value last;
    for (;;) {
        const Value form = read_form();
        if (form.tag() != kTagAddress) [[likely]] {
            const Value cell = cons(form, nil);
            if (is_nil(first))
                first = cell;
            else
                set_cdr(last, cell);
            last = cell;
            continue;
        }
        if (form == kTokenNothing)
            continue;
        if (form == terminator || (form == kTokenEnd && at_end == AtEnd::closes))
            return first;
        if (form != kTokenDot)
            raise_error(kErrorSyntax);

        const Value tail = read_datum();
        Value close = read_form();
        while (close == kTokenNothing)
            close = read_form();
        if (close != terminator && !(close == kTokenEnd && at_end == AtEnd::closes))
            raise_error(kErrorSyntax);
        if (is_nil(first))
            return tail;
        set_cdr(last, tail);
        return first;
    }
}

Value read_datum()
{
    Value form = read_form();
    while (form == kTokenNothing)
        form = read_form();
    if (form.tag() == kTagAddress)
        raise_error(kErrorSyntax);
    return form;
}

// (name file-id start . end), the text between the braces being bytes start to end of the stream.
static Value read_source_reference()
{
    const Value file = symbol_value(symbol_load_file);
    if (!is_true_flag(file))
        raise_error(kErrorType, file);
    const uint32_t start = input_position();
    const Value forms = read_list(kTokenBrace, AtEnd::fails);
    const uint32_t end = input_position() - 1;

    Value name = is_pair(forms) ? car_of(forms) : nil;
    if (is_pair(name)) {
        const Value rest = cdr_of(name);
        name = is_pair(rest) ? car_of(rest) : nil;
    }
    const Value from = make_unsigned(start);
    const Value to = make_unsigned(end);
    const Value places = cons(from, to);
    const Value where = cons(file, places);
    return cons(name, where);
}

// ---- Macro characters

static Value call_macro(Value function)
{
    const Value form = call_value(function);
    if (form.tag() == kTagAddress)
        raise_error(kErrorType, function);
    return form == no_value ? kTokenNothing : form;
}

static bool has_feature(Value expression)
{
    check_stack();
    if (is_symbol(expression)) {
        Value features = symbol_value(symbol_features);
        for (uint32_t i = 0; is_pair(features) && i < spaces.node_count; ++i) {
            if (car_of(features) == expression)
                return true;
            features = cdr_of(features);
        }
        return false;
    }
    if (!is_pair(expression))
        raise_error(kErrorType, expression);
    const Value head = car_of(expression);
    Value operands = cdr_of(expression);
    if (head == symbol_not) {
        if (!is_pair(operands) || !is_nil(cdr_of(operands)))
            raise_error(kErrorType, expression);
        return !has_feature(car_of(operands));
    }
    if (head != symbol_and && head != symbol_or)
        raise_error(kErrorType, expression);
    bool result = head == symbol_and;
    for (; is_pair(operands); operands = cdr_of(operands)) {
        // All operands are looked at, so that a bad one is told whatever stands before it.
        const bool found = has_feature(car_of(operands));
        result = head == symbol_and ? result && found : result || found;
    }
    if (!is_nil(operands))
        raise_error(kErrorType, expression);
    return result;
}

static Value read_conditional()
{
    const bool wanted = has_feature(read_datum());
    const Value form = read_form();
    if (form.tag() == kTagAddress && form != kTokenNothing)
        raise_error(kErrorSyntax);
    return wanted ? form : kTokenNothing;
}

static Value read_vector()
{
    const Value list = read_list(kTokenClose, AtEnd::fails);
    uint32_t count = 0;
    Value rest = list;
    for (; is_pair(rest); rest = cdr_of(rest))
        ++count;
    if (!is_nil(rest))
        raise_error(kErrorSyntax);
    if (2 + 4 * count > 65535)
        raise_error(kErrorType, make_integer(static_cast<int32_t>(count)));
    const Value vector = make_vector(count, nil);
    rest = list;
    for (uint32_t i = 0; i < count; ++i, rest = cdr_of(rest))
        vector_set(vector, i, car_of(rest));
    return vector;
}

struct CharacterName {
    const char* name;
    uint8_t code;
};

static const CharacterName character_names[] = {
    { "enter", 3 }, { "info", 5 }, { "backspace", 8 }, { "tab", 9 }, { "linefeed", 10 },
    { "vtab", 11 }, { "return", 13 }, { "escape", 27 }, { "left-arrow", 28 },
    { "right-arrow", 29 }, { "up-arrow", 30 }, { "down-arrow", 31 }, { "space", 32 },
    { "left-parenthesis", 40 }, { "right-parenthesis", 41 }, { "check-mark", 42 },
    { "triangle", 43 }, { "question-mark", 47 }, { "semi-colon", 59 }, { "left-bracket", 91 },
    { "right-bracket", 93 }, { "angle", 176 }, { "ellipsis", 201 },
};

static Value character_value(uint32_t c)
{
    if (symbol_value(symbol_machine) == symbol_mac)
        c = ansi_to_mac[static_cast<uint8_t>(c)];
    return make_fixnum(static_cast<int32_t>(c));
}

// A name of one character is that character; longer ones are looked up.
[[gnu::noinline]] static Value read_character()
{
    const uint32_t c = peek_character();
    if (c == kEndOfInput)
        raise_error(kErrorSyntax);
    if (syntax_table[c] != kSyntaxLetter && syntax_table[c] != kSyntaxSign)
        return character_value(take_character());
    AtomText atom;
    scan_symbol(atom);
    const char* const name = atom.finish();
    if (atom.length == 1)
        return character_value(c);
    for (const CharacterName& row : character_names)
        if (strcmp(row.name, name) == 0)
            return make_fixnum(row.code);
    raise_error(kErrorType, intern_dynamic(name));
}

// The text for the language of the user out of #{key text key text...}.
static Value read_language_text()
{
    const Value texts = read_list(kTokenBrace, AtEnd::fails);
    if (!is_pair(texts))
        raise_error(kErrorType, texts);
    const Value language = symbol_value(symbol_langage);
    for (Value rest = texts; is_pair(rest);) {
        const Value text = cdr_of(rest);
        if (!is_pair(text))
            break;
        if (car_of(rest) == language)
            return car_of(text);
        rest = cdr_of(text);
    }
    const Value first = cdr_of(texts);
    return is_pair(first) ? car_of(first) : nil;
}

static Value read_dispatch()
{
    const uint32_t c = take_or_fail();
    if (!is_nil(dispatch_characters[c]))
        return call_macro(dispatch_characters[c]);
    switch (c) {
    case '(':
        return read_vector();
    case '\\':
        return read_character();
    case '{':
        return read_language_text();
    default:
        return call_macro(nil);
    }
}

static Value read_macro(uint32_t c)
{
    switch (c) {
    case '\'': {
        const Value operands = cons(read_datum(), nil);
        return cons(symbol_quote, operands);
    }
    case ':':
        return read_keyword();
    case '_':
        return make_variable(read_symbol());
    case '&':
        return read_conditional();
    case '#':
        return read_dispatch();
    default:
        return call_macro(macro_characters[c]);
    }
}

// ---- Forms

// The first character of a form, not used up; kEndOfInput when there is none.
static uint32_t skip_to_form()
{
    for (;;) {
        uint32_t c = peek_character();
        if (c == kEndOfInput || syntax_table[c] < kSyntaxComment)
            return c;
        if (syntax_table[c] == kSyntaxComment)
            while (c != kEndOfInput && syntax_table[c] != kSyntaxLineEnd) {
                take_character();
                c = peek_character();
            }
        take_character();
    }
}

Value read_form()
{
    check_stack();
    const uint32_t c = skip_to_form();
    if (c == kEndOfInput)
        return kTokenEnd;
    switch (syntax_table[c]) {
    case kSyntaxEscape:
    case kSyntaxLetter:
        return read_symbol();
    case kSyntaxDigit:
    case kSyntaxSign:
        return read_number_or_symbol();
    default:
        break;
    }
    take_character();
    switch (syntax_table[c]) {
    case kSyntaxOpen:
        return read_list(kTokenClose, AtEnd::fails);
    case kSyntaxClose:
    case kSyntaxOtherClose:
        return kTokenClose;
    case kSyntaxDot:
        return kTokenDot;
    case kSyntaxMacro:
        return read_macro(c);
    case kSyntaxString:
        return read_string();
    case kSyntaxOpenBrace:
        return read_source_reference();
    case kSyntaxCloseBrace:
        return kTokenBrace;
    case kSyntaxIllegal:
        raise_error(kErrorType, make_fixnum(static_cast<int32_t>(c)));
    default:
        return read_compact(c);
    }
}

// ---- Loading

// Puts the value of Load-File back.
struct LoadFileFrame : Frame {
    explicit LoadFileFrame(Value id) { set_global_value(symbol_load_file, id); }
    ~LoadFileFrame() { set_global_value(symbol_load_file, saved_); }

private:
    const Value saved_ = global_value(symbol_load_file);
};

void load_bytes(const uint8_t* text, uint32_t length, Value id)
{
    ObjectFrame at_root(root_class);
    EventFlagFrame no_events;
    LoadFileFrame loading(id);
    const std::string copy(reinterpret_cast<const char*>(text), length);
    ByteInput bytes(reinterpret_cast<const uint8_t*>(copy.data()), length);
    for (;;) {
        const Value form = read_form();
        if (form == kTokenEnd)
            return;
        if (form == kTokenNothing)
            continue;
        if (form.tag() == kTagAddress)
            raise_error(kErrorSyntax);
        eval_toplevel(form);
    }
}

static void mark_reader()
{
    mark_value(input.owner);
    for (int i = 0; i < 256; ++i) {
        mark_value(macro_characters[i]);
        mark_value(dispatch_characters[i]);
    }
}

void init_reader()
{
    reset_syntax_table();
    dot_mark = '.';
    innermost_bytes = nullptr;
    for (int i = 0; i < 256; ++i)
        macro_characters[i] = dispatch_characters[i] = nil;
    remove_compact_symbols();
    add_root_marker(mark_reader);
    symbol_quote = intern("quote");
    symbol_and = intern("and");
    symbol_or = intern("or");
    symbol_not = intern("not");
    symbol_mac = intern("mac");
    symbol_machine = intern("Machine");
    symbol_features = intern("Features");
    symbol_langage = intern("Langage");
    symbol_load_file = intern("Load-File", nil);
    init_reader_primitives();
}
