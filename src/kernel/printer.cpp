// Any value as characters on the current output. Printing may call Lisp (`print-self`,
// `write-proc`, a stream written in Lisp), so no address into the heap is kept from one character
// to the next.
#include "kernel/printer.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "kernel/collector.h"
#include "kernel/evaluator.h"
#include "kernel/hooks.h"
#include "kernel/number_text.h"
#include "kernel/object_layout.h"
#include "kernel/primitive.h"
#include "kernel/stream_procedures.h"
#include "kernel/symbols.h"
#include "kernel/syntax_table.h"

Output output = { nullptr, 0, nil };
uint32_t printer_escapes = 0;

constexpr uint32_t kStringEscapes = kTagString << 24;
constexpr uint32_t kSymbolEscapes = kTagSymbol << 24;

enum class Form { princ, write, display };

static struct {
    Value write_proc, print_self, terminal_out;
    bool inside_print_self;
} printer;

static PointerPrinter pointer_printers[16];

// ---- Characters

void print_char(uint32_t character)
{
    check_stack();
    if (output.put)
        output.put(character & 0xff, output.state);
}

void print_text(const char* text)
{
    for (; *text; ++text)
        print_char(static_cast<uint8_t>(*text));
}

void print_string(Value string)
{
    uint32_t i = 0;
    while (const char c = string_chars(string)[i++])
        print_char(static_cast<uint8_t>(c));
}

void print_format(const char* format, ...)
{
    char text[256];
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(text, sizeof text, format, arguments);
    if (length < static_cast<int>(sizeof text)) {
        print_text(text);
    } else {
        std::string longer(static_cast<size_t>(length), 0);
        vsnprintf(longer.data(), longer.size() + 1, format, again);
        print_text(longer.c_str());
    }
    va_end(again);
    va_end(arguments);
}

void flush_output()
{
    hooks.flush_output();
}

static bool needs_escape(uint8_t c)
{
    const uint8_t syntax = syntax_table[c];
    if (syntax == kSyntaxString || syntax == kSyntaxEscape)
        return true;
    return printer_escapes == kSymbolEscapes && c != ':' && syntax != kSyntaxDot &&
           (syntax < kSyntaxLetter || syntax > kSyntaxSign);
}

// By the escape rule that holds now.
static void print_escaped(Value string)
{
    if (printer_escapes == 0) {
        print_string(string);
        return;
    }
    uint32_t i = 0;
    while (const char c = string_chars(string)[i++]) {
        if (needs_escape(static_cast<uint8_t>(c)))
            print_char('\\');
        print_char(static_cast<uint8_t>(c));
    }
}

// ---- Pointers

static const char* const kPointerNames[16] = {
    "pointer",  "memory pointer", "handle",  "resource",  "cpp object", "frame pointer",
    "file",     "text",           "port",    "offscreen", "picture",    "region",
    "database", "record",         "process", "drag-info",
};

const char* pointer_kind_name(Value pointer)
{
    return kPointerNames[pointer_kind(pointer) & 15];
}

void define_pointer_printer(PointerKind kind, PointerPrinter print)
{
    pointer_printers[kind] = print;
}

void print_disposed(Value pointer)
{
    print_format("<%s disposed>", pointer_kind_name(pointer));
}

static void print_address(Value pointer)
{
    print_format("<%s %x>", pointer_kind_name(pointer), pointer_of(pointer));
}

static void print_pointer(Value pointer)
{
    const PointerPrinter print = pointer_printers[pointer_kind(pointer) & 15];
    if (pointer_of(pointer) == 0)
        print_format("<null %s>", pointer_kind_name(pointer));
    else
        (print ? print : print_address)(pointer);
}

// ---- Objects

// While an object makes its text, objects within it are not asked.
struct PrintSelfFrame : Frame {
    PrintSelfFrame() { printer.inside_print_self = true; }
    ~PrintSelfFrame() { printer.inside_print_self = false; }
};

static bool can_print_itself(Value object)
{
    const ObjectFrame frame(object);
    return is_bound(printer.print_self);
}

// An object whose class knows no `print-self` is shown like one that may not be asked.
static void print_instance(Value object)
{
    if (printer.inside_print_self || !can_print_itself(object)) {
        print_text("#<instance>");
        return;
    }
    const PrintSelfFrame frame;
    const Value text = call_with_object(object, printer.print_self);
    if (is_string(text))
        print_escaped(text);
    else
        print_princ(text);
}

static void print_class(Value cls)
{
    if (cls == root_class) {
        print_text("#<class KALVEX>");
        return;
    }
    print_text(class_block(cls)->united & kClassMixin ? "#<mixin " : "#<class ");
    print_princ(class_block(cls)->name);
    print_char('>');
}

// ---- Compound values

static void print_form(Value v, Form form);

// A list that comes back to itself ends in "..."; where the text shall be read back it is refused.
// Every so often the place reached is noted; meeting it again tells the circle.
static void print_list(Value list, Form form)
{
    const Value whole = list;
    Value noted = list;
    uint32_t steps_left = 16;
    uint32_t stride = 16;
    print_char('(');
    for (;;) {
        print_form(car_of(list), form);
        list = cdr_of(list);
        if (!is_pair(list))
            break;
        print_char(' ');
        if (list == noted) {
            if (form == Form::write)
                raise_error(kErrorType, whole);
            print_text("...)");
            return;
        }
        if (--steps_left == 0) {
            noted = list;
            stride *= 2;
            steps_left = stride;
        }
    }
    if (!is_nil(list)) {
        print_text(" . ");
        print_form(list, form);
    }
    print_char(')');
}

static void print_vector(Value vector)
{
    print_text("#(");
    for (uint32_t i = 0; i < vector_count(vector); ++i) {
        if (i > 0)
            print_char(' ');
        print_princ(vector_ref(vector, i));
    }
    print_char(')');
}

// An array's block: 16-bit count of elements, 16-bit rank, the dimensions, the elements.
static uint32_t array_word(Value array, uint32_t i)
{
    uint16_t word;
    memcpy(&word, block_of(array) + 2 * i, 2);
    return word;
}

// Prints one level, from the last dimension down to the first; next counts the elements shown.
static void print_array_level(Value array, uint32_t level, uint32_t* next)
{
    check_stack();
    print_char('(');
    const uint32_t count = array_word(array, 2 + level);
    for (uint32_t i = 0; i < count; ++i) {
        if (i > 0)
            print_char(' ');
        if (level > 0)
            print_array_level(array, level - 1, next);
        else
            print_princ(load_value(block_of(array) + 4 + 2 * array_word(array, 1) + 4 * (*next)++));
    }
    print_char(')');
}

static void print_array(Value array)
{
    const uint32_t rank = array_word(array, 1);
    uint32_t next = 0;
    print_text("##");
    if (rank > 0)
        print_array_level(array, rank - 1, &next);
    else
        print_text("()");
}

// ---- The tables by tag

static void print_named(const char* opening, Value name)
{
    print_text(opening);
    print_princ(name);
    print_char('>');
}

// The name of a predicate is the head of its clauses.
static Value predicate_name(Value predicate)
{
    const Value clause = car_of(predicate);
    return clause.tag() == kTagFunction ? function_head(clause) : nil;
}

static void print_primitive(Value primitive)
{
    const uint32_t spec = primitive_row(primitive).spec;
    print_format("#<primitive %u%s>", spec & kSpecArity, spec & kSpecRest ? " *" : "");
}

// What no reader takes back, by the princ and display tables.
static void print_unreadable(Value v, Form form)
{
    switch (v.tag()) {
    case kTagAddress:
        if (form == Form::princ)
            print_format("%d", fixnum_value(v));
        else
            print_format("<invalid node %x>", v.payload());
        break;
    case kTagNoValue:
        print_text("<no-value>");
        break;
    case kTagVector:
        print_vector(v);
        break;
    case kTagFunction:
    case kTagSyntax:
        print_named("#<function ", function_head(v));
        break;
    case kTagInstance:
        print_instance(v);
        break;
    case kTagPrimitive:
        print_primitive(v);
        break;
    case kTagSpecial:
        print_text("#<special>");
        break;
    case kTagPredicate:
        print_named("#<predicate ", predicate_name(v));
        break;
    case kTagClass:
        print_class(v);
        break;
    case kTagHashTable:
        print_text("<hash-table>");
        break;
    case kTagLexical:
        print_text("#<lexical lambda>");
        break;
    case kTagGamma:
        print_text("#<function gamma>");
        break;
    case kTagClosed:
        print_text("#<closed gamma>");
        break;
    case kTagClosedSyntax:
        print_text("#<closed syntax>");
        break;
    case kTagPointer:
        print_pointer(v);
        break;
    case kTagArray:
        print_array(v);
        break;
    default:
        print_text("#<keyword>");
        break;
    }
}

static void print_number(Value v)
{
    char text[kNumberTextSize];
    number_text(v, text);
    print_text(text);
}

static void print_string_form(Value v, Form form)
{
    if (form == Form::princ) {
        print_escaped(v);
        return;
    }
    const EscapeFrame escapes(kStringEscapes);
    print_char('"');
    print_escaped(v);
    print_char('"');
}

static void print_symbol_form(Value v, Form form)
{
    const EscapeFrame escapes(form == Form::princ ? printer_escapes : kSymbolEscapes);
    print_escaped(symbol_name(v));
}

static void print_form(Value v, Form form)
{
    check_stack();
    switch (v.tag()) {
    case kTagInteger:
    case kTagLong:
    case kTagUnsignedLong:
    case kTagReal:
        print_number(v);
        break;
    case kTagString:
        print_string_form(v, form);
        break;
    case kTagSymbol:
        print_symbol_form(v, form);
        break;
    case kTagVariable:
        print_char('_');
        print_form(variable_symbol(v), form);
        break;
    case kTagList:
        if (is_nil(v))
            print_text("()");
        else
            print_list(v, form);
        break;
    default:
        if (form == Form::write)
            raise_error(kErrorType, v);
        print_unreadable(v, form);
    }
}

void print_princ(Value v)
{
    print_form(v, Form::princ);
}
void print_write(Value v)
{
    print_form(v, Form::write);
}
void print_display(Value v)
{
    print_form(v, Form::display);
}

// ---- The output that is asked for

static void take_stream(Value stream, Value owner)
{
    if (!is_pair(stream))
        raise_error(kErrorType, stream);
    const Value car = car_of(stream);
    const PutProcedure put = put_procedure(car);
    if (!put && !is_nil(car))
        raise_error(kErrorType, stream);
    output = { put, is_nil(cdr_of(stream)) ? 0 : stream_state(stream), owner };
}

static bool keeps_output(Value stream)
{
    return is_nil(stream) || stream == symbol_t || stream == no_value;
}

void choose_output(Value stream)
{
    if (is_nil(stream))
        stream = symbol_value(printer.terminal_out);
    if (keeps_output(stream))
        return;
    if (!is_object(stream)) {
        take_stream(stream, nil);
        return;
    }
    const Value answer = call_with_object(stream, printer.write_proc);
    if (!keeps_output(answer))
        take_stream(answer, stream);
}

// ---- Primitives

enum class LineEnd { no, yes };

static Value print_on(Value stream, Value v, Form form, uint32_t rule, LineEnd end)
{
    const OutputFrame frame;
    const EscapeFrame escapes(rule);
    choose_output(stream);
    print_form(v, form);
    if (end == LineEnd::yes)
        print_char('\r');
    flush_output();
    return v;
}

static Value princ(Value v, Value stream)
{
    return print_on(stream, v, Form::princ, 0, LineEnd::yes);
}

static Value prin(Value v, Value stream)
{
    return print_on(stream, v, Form::princ, 0, LineEnd::no);
}

static Value fprinc(Value stream, Value v)
{
    return print_on(stream, v, Form::princ, kSymbolEscapes, LineEnd::yes);
}

static Value fprin(Value stream, Value v)
{
    return print_on(stream, v, Form::princ, kSymbolEscapes, LineEnd::no);
}

static Value write(Value v, Value stream)
{
    return print_on(stream, v, Form::write, 0, LineEnd::no);
}

static Value display(Value v, Value stream)
{
    return print_on(stream, v, Form::display, 0, LineEnd::yes);
}

static Value displ(Value v, Value stream)
{
    return print_on(stream, v, Form::display, 0, LineEnd::no);
}

static Value new_line(Value stream)
{
    const OutputFrame frame;
    choose_output(stream);
    print_char('\r');
    flush_output();
    return no_value;
}

static const Primitive printer_primitives[] = {
    { "princ", princ,
      "(princ value stream): prints the form for people and a carriage return; the value" },
    { "prin", prin, "(prin value stream): prints the form for people; the value" },
    { "fprinc", fprinc,
      "(fprinc stream value): princ with a symbol's escapes in strings and symbols; the value" },
    { "fprin", fprin,
      "(fprin stream value): prin with a symbol's escapes in strings and symbols; the value" },
    { "write", write,
      "(write value stream): prints what `read` reads back; the value; error 2 on what it can't" },
    { "display", display,
      "(display value stream): prints the readable form where there is one, and a carriage return; "
      "the value" },
    { "displ", displ, "(displ value stream): display without the carriage return" },
    { "new-line", new_line,
      "(new-line stream): prints a carriage return. A stream is nil (what terminal-out holds), t "
      "(the output as it stands), an object that answers write-proc, or a pair of an output "
      "procedure and its pointer; anything else is error 2" },
};

static void mark_printer_roots()
{
    mark_value(output.owner);
}

void init_printer()
{
    printer = { intern("write-proc"), intern("print-self"), intern("terminal-out", nil), false };
    intern("predicate");
    printer_escapes = 0;
    output = { nullptr, 0, nil };
    add_root_marker(mark_printer_roots);
    define_primitives(printer_primitives);
}
