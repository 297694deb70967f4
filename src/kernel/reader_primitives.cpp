// What Lisp code sees of the reader: reading from streams and strings, the syntax table, macro
// characters, keywords.
#include <cstring>
#include <string>

#include "kernel/collector.h"
#include "kernel/evaluator.h"
#include "kernel/hooks.h"
#include "kernel/primitive.h"
#include "kernel/printer.h"
#include "kernel/reader.h"
#include "kernel/stream_procedures.h"
#include "kernel/symbols.h"
#include "kernel/syntax_table.h"
#include "storage/handles.h"

static Value symbol_lambda;
static Value symbol_terminal_in;
static Value symbol_read_proc;

// ---- Streams

// Characters that were looked at on streams that can't take them back, the latest last.
struct KeptCharacter {
    Input stream;
    bool used;
};

static KeptCharacter kept_characters[4];

static bool same_stream(const Input& a, const Input& b)
{
    return a.get == b.get && a.state == b.state && a.owner == b.owner;
}

static void keep_character(const Input& stream)
{
    constexpr size_t last = std::size(kept_characters) - 1;
    memmove(kept_characters, kept_characters + 1, last * sizeof *kept_characters);
    kept_characters[last] = { stream, true };
}

static uint16_t kept_character(const Input& stream)
{
    for (KeptCharacter& kept : kept_characters)
        if (kept.used && same_stream(kept.stream, stream)) {
            kept.used = false;
            return kept.stream.current;
        }
    return kNoCharacter;
}

static void mark_kept_characters()
{
    for (const KeptCharacter& kept : kept_characters)
        if (kept.used)
            mark_value(kept.stream.owner);
}

// The stream that an argument names; nil and t for the current input as it stands.
static Value stream_of(Value argument, Value& owner)
{
    const Value stream = is_nil(argument) ? symbol_value(symbol_terminal_in) : argument;
    if (!is_object(stream) || stream == root_class)
        return stream == no_value ? nil : stream;
    owner = stream;
    return call_with_object(stream, symbol_read_proc);
}

StreamInputFrame::StreamInputFrame(Value argument) : kept_(true)
{
    Value owner;
    const Value stream = stream_of(argument, owner);
    if (!is_nil(stream) && stream != symbol_t) {
        if (!is_pair(stream))
            raise_error(kErrorType, stream);
        const Value procedure = car_of(stream);
        Input chosen = { get_procedure(procedure), 0, owner, kNoCharacter };
        if (!chosen.get && !is_nil(procedure))
            raise_error(kErrorType, stream);
        chosen.state = stream_state(stream);
        if (!same_stream(chosen, input)) {
            kept_ = false;
            chosen.current = kept_character(chosen);
            input = chosen;
        }
    }
    // What has been read to its end may have more by now.
    if (input.current == kEndOfInput)
        input.current = kNoCharacter;
    if (input.get && input.current == kNoCharacter && get_operations(input.get)->wait)
        get_operations(input.get)->wait();
}

StreamInputFrame::~StreamInputFrame()
{
    if (kept_) {
        saved_.current = input.current;
        return;
    }
    if (input.current == kNoCharacter || input.current == kEndOfInput)
        return;
    if (get_operations(input.get)->unget)
        get_operations(input.get)->unget(input.state);
    else
        keep_character(input);
}

static Value read(Value stream)
{
    StreamInputFrame frame(stream);
    Value form = read_form();
    while (form == kTokenNothing)
        form = read_form();
    if (form == kTokenEnd)
        return nil;
    if (form.tag() == kTagAddress)
        raise_error(kErrorSyntax);
    return form;
}

// A line of more than a string can hold is given in pieces.
static Value readline(Value stream)
{
    constexpr size_t kLongest = 65534;
    StreamInputFrame frame(stream);
    std::string line;
    while (line.size() < kLongest) {
        const uint32_t c = take_character();
        if (c == kEndOfInput || c == '\r')
            break;
        if (c != '\n' && c != 0)
            line.push_back(static_cast<char>(c));
    }
    if (line.empty())
        return empty_string;
    return make_string(line.data(), static_cast<uint32_t>(line.size()));
}

static Value readch(Value stream)
{
    StreamInputFrame frame(stream);
    return make_fixnum(static_cast<int32_t>(take_character()));
}

static Value parse(Value string)
{
    const std::string text = string_chars(coerce_to_string(string));
    ByteInput bytes(reinterpret_cast<const uint8_t*>(text.data()), static_cast<uint32_t>(text.size()));
    return read_list(kTokenEnd, AtEnd::closes);
}

static Value read_delimited_list(Value end_closes, Value terminator)
{
    const uint32_t token = static_cast<uint32_t>(integer_value(terminator));
    if (token > kPayloadMask)
        raise_error(kErrorType, terminator);
    return read_list(Value(kTagAddress, token), is_true_flag(end_closes) ? AtEnd::closes : AtEnd::fails);
}

// ---- The dot mark

static uint32_t character_argument(Value v)
{
    if (!is_fixnum(v) || fixnum_value(v) < 0 || fixnum_value(v) > 255)
        raise_error(kErrorType, v);
    return static_cast<uint32_t>(fixnum_value(v));
}

struct DotMarkFrame : Frame {
    explicit DotMarkFrame(uint8_t mark) { dot_mark = mark; }
    ~DotMarkFrame() { dot_mark = saved_; }

private:
    const uint8_t saved_ = dot_mark;
};

static Value with_dot_mark(Value character, Value function)
{
    DotMarkFrame frame(static_cast<uint8_t>(character_argument(character)));
    return call_value(function);
}

// ---- Keywords and variables

static Value symbol_argument(Value v)
{
    if (v.tag() == kTagVariable)
        return variable_symbol(v);
    if (!is_symbol(v))
        raise_error(kErrorType, v);
    return v;
}

// Symbol and keyword know each other by the index of their entries, as far as it fits the field.
static Value linked_symbol(Value symbol)
{
    const int16_t link = symbol_of(symbol)->keyword_link;
    return link < 0 ? nil : Value(kTagSymbol, link * sizeof(SymbolEntry));
}

static void link_symbols(Value a, Value b)
{
    const uint32_t index_a = a.payload() / sizeof(SymbolEntry);
    const uint32_t index_b = b.payload() / sizeof(SymbolEntry);
    if (index_a > INT16_MAX || index_b > INT16_MAX)
        return;
    symbol_of(a)->keyword_link = static_cast<int16_t>(index_b);
    symbol_of(b)->keyword_link = static_cast<int16_t>(index_a);
}

static Value symbol_to_keyword(Value v)
{
    const Value symbol = symbol_argument(v);
    const std::string name = symbol_chars(symbol);
    if (name[0] == ':')
        return symbol;
    const Value mate = linked_symbol(symbol);
    if (!is_nil(mate))
        return mate;
    const Value keyword = intern_dynamic((':' + name).c_str());
    set_global_value(keyword, keyword);
    link_symbols(symbol, keyword);
    return keyword;
}

static Value keyword_to_symbol(Value keyword)
{
    if (!is_symbol(keyword))
        raise_error(kErrorType, keyword);
    const std::string name = symbol_chars(keyword);
    if (name[0] != ':')
        raise_error(kErrorType, keyword);
    const Value mate = linked_symbol(keyword);
    if (!is_nil(mate))
        return mate;
    const Value symbol = intern_dynamic(name.c_str() + 1);
    link_symbols(symbol, keyword);
    return symbol;
}

static Value genvarlog(Value symbol)
{
    if (!is_symbol(symbol))
        raise_error(kErrorType, symbol);
    return make_variable(symbol, make_fixnum(0).bits());
}

// ---- Syntax and macro characters

static Value typech(Value character, Value syntax)
{
    const uint32_t c = character_argument(character);
    if (!is_nil(syntax)) {
        if (!is_fixnum(syntax) || fixnum_value(syntax) < 0 || fixnum_value(syntax) > kLastSyntaxClass)
            raise_error(kErrorType, syntax);
        syntax_table[c] = static_cast<uint8_t>(fixnum_value(syntax));
    }
    return make_fixnum(syntax_table[c]);
}

static Value get_macro_character(Value character)
{
    return macro_characters[character_argument(character)];
}

static Value set_macro_character(Value character, Value function)
{
    macro_characters[character_argument(character)] = function;
    return no_value;
}

// The character is evaluated, which leaves one that is written out as it is.
static uint32_t macro_argument(Value arguments)
{
    if (!is_pair(arguments))
        raise_error(kErrorType, arguments);
    return character_argument(eval(car_of(arguments)));
}

static Value macro_function(Value arguments)
{
    return compile_alone(symbol_lambda, cons(nil, cdr_of(arguments)));
}

static Value dmc(Value arguments)
{
    const uint32_t c = macro_argument(arguments);
    macro_characters[c] = macro_function(arguments);
    syntax_table[c] = kSyntaxMacro;
    return no_value;
}

static Value ddc(Value arguments)
{
    const uint32_t c = macro_argument(arguments);
    dispatch_characters[c] = macro_function(arguments);
    return no_value;
}

static Value set_symbols_table(Value resource)
{
    if (is_nil(resource)) {
        remove_compact_symbols();
        return no_value;
    }
    const Handle handle = pointer_of(resource);
    if (!HandleIsLive(handle) || GetHandleSize(handle) < 2)
        raise_error(kErrorType, resource);
    const LockedHandle table(handle);
    if (!install_compact_symbols(table.bytes, GetHandleSize(handle)))
        raise_error(kErrorType, resource);
    return no_value;
}

// ----

static const Primitive reader_primitives[] = {
    { "read", read,
      "(read stream): the next form of the stream, nil at its end; error 25 at a stray closer or in an "
      "unfinished form. stream: a pair (procedure . pointer), an object that answers one to read-proc, "
      "nil for the value of terminal-in, t for the current input; anything else is error 2" },
    { "readline", readline,
      "(readline stream): the text up to the next carriage return, which is used up, without line "
      "feeds; \"\" at the end. stream as for read" },
    { "readch", readch,
      "(readch stream): the next character as an integer, 65535 at the end. stream as for read" },
    { "parse", parse,
      "(parse string): list of all forms in the string; error 25 at a stray closer or in a form that "
      "is not finished" },
    { "read-delimited-list", read_delimited_list,
      "(read-delimited-list at-end? token): forms of the current input up to the token (2 for a closing "
      "parenthesis, 18 for a closing brace), as a list; the end of input closes it too with a true "
      "at-end?, else it is error 25" },
    { "with-dot-mark", with_dot_mark,
      "(with-dot-mark char function): calls function without arguments while char is the decimal mark "
      "of numbers read and printed; its result. Error 2 when char is not 0 to 255" },
    { "symbol->keyword", symbol_to_keyword,
      "(symbol->keyword symbol): the keyword of that name; a variable gives that of its symbol, a "
      "keyword itself; error 2 for anything else" },
    { "keyword->symbol", keyword_to_symbol,
      "(keyword->symbol keyword): the symbol of that name without its colon; error 2 when it has none" },
    { "genvarlog", genvarlog,
      "(genvarlog symbol): a fresh variable of that name with index 0; error 2 for another type" },
    { "typech", typech,
      "(typech char class): sets the syntax class (0 to 21) of a character unless class is nil, and "
      "answers the class; error 2 for another char or class" },
    { "get-macro-character", get_macro_character,
      "(get-macro-character char): function of a macro character, nil for none" },
    { "set-macro-character", set_macro_character,
      "(set-macro-character char function): sets what a character of class 4 calls, without arguments, "
      "for its form; a result of no-value stands for nothing. No value" },
    { "set-symbols-table", set_symbols_table,
      "(set-symbols-table resource): installs the names that compact bytes stand for; nil removes them. "
      "Error 2 when the resource is not loaded or damaged. No value" },
    Primitive::special("dmc", dmc,
      "(dmc char body...): makes char a macro character that calls (lambda () body...). No value" ),
    Primitive::special("ddc", ddc,
      "(ddc char body...): makes # followed by char call (lambda () body...). No value" ),
};

void init_reader_primitives()
{
    for (KeptCharacter& kept : kept_characters)
        kept.used = false;
    add_root_marker(mark_kept_characters);
    symbol_lambda = intern("lambda");
    symbol_terminal_in = intern("terminal-in", nil);
    symbol_read_proc = intern("read-proc");
    define_primitives(reader_primitives);
}
