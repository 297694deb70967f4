// `format`: a control string whose "~" directives print the arguments. All state of a call lies in
// one Formatter on the machine stack, so what a directive calls in Lisp may call `format` again.
#include <algorithm>
#include <charconv>
#include <cstring>

#include "kernel/primitive.h"
#include "kernel/printer.h"
#include "kernel/reader.h"
#include "kernel/spaces.h"
#include "kernel/symbols.h"
#include "library/arguments.h"
#include "library/library.h"
#include "storage/resource_file.h"

constexpr uint32_t kMostParameters = 7;
constexpr uint32_t kPadParameter = 3;

static bool is_digit(uint8_t c)
{
    return c >= '0' && c <= '9';
}
static bool is_letter(uint8_t c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

[[noreturn]] static void refuse_character(uint8_t c)
{
    raise_error(kErrorType, make_fixnum(c));
}

namespace {

class Formatter {
public:
    // arguments: the last one first, count of them.
    Formatter(Value control, const Value* arguments, uint32_t count);

    void run();

private:
    struct Parameter {
        bool present;
        int32_t value;
    };
    enum class Separator { clause, default_clause, end };

    // The control string
    uint8_t at(uint32_t i) const
    {
        return static_cast<uint8_t>(length_ < sizeof copy_ ? copy_[i] : string_chars(control_)[i]);
    }
    uint8_t take();
    uint8_t take_parameters();
    void take_number();
    void test_parameter_end() const;

    // The arguments
    Value next_argument();
    void go_to_argument(int64_t index);

    // Parameters
    bool has(uint32_t i) const { return parameters_[i].present; }
    int32_t parameter(uint32_t i, int32_t otherwise) const
    {
        return has(i) ? parameters_[i].value : otherwise;
    }
    void set_parameter(int32_t value);

    // Directives
    void directive(uint8_t c);
    void repeat(uint32_t character, int32_t count);
    template <class Print> void print_padded(uint32_t length, Print print);
    void print_padded_string(Value string);
    void print_princ_padded();
    void print_real();
    void print_hexadecimal();
    void print_resource_text();
    void print_plural();
    void skip_arguments();

    // Conditionals
    Separator skip_clause();
    void select_clause(uint32_t clause);
    void begin_conditional();
    void end_clause(uint8_t c);

    Value control_;
    char copy_[256]; // of a short control string
    uint32_t length_;
    uint32_t position_ = 0;
    const Value* const arguments_;
    const uint32_t count_;
    uint32_t next_ = 0;
    Parameter parameters_[kMostParameters];
    uint32_t filled_ = 0; // the parameter being read
    bool colon_ = false;
    bool at_sign_ = false;
    bool inside_ = false; // a conditional
};

} // namespace

// Works on a copy: Lisp code may change the string that was given.
Formatter::Formatter(Value control, const Value* arguments, uint32_t count)
    : control_(control), length_(static_cast<uint32_t>(strlen(string_chars(control)))),
      arguments_(arguments), count_(count)
{
    if (length_ < sizeof copy_) {
        memcpy(copy_, string_chars(control_), length_ + 1);
        return;
    }
    ensure_text(length_);
    memcpy(scratch(), string_chars(control_), length_ + 1);
    control_ = make_string(scratch(), length_);
}

void Formatter::run()
{
    while (position_ < length_) {
        const uint8_t c = at(position_++);
        if (c == '~')
            directive(take_parameters());
        else
            print_char(c);
    }
    if (inside_)
        raise_error(kErrorType);
}

uint8_t Formatter::take()
{
    if (position_ >= length_)
        raise_error(kErrorType);
    return at(position_++);
}

// ---- Parameters and flags

void Formatter::set_parameter(int32_t value)
{
    parameters_[filled_] = { true, value };
    test_parameter_end();
}

void Formatter::test_parameter_end() const
{
    if (position_ >= length_)
        raise_error(kErrorType);
    const uint8_t c = at(position_);
    if (!is_letter(c) && !strchr(",:@#*%[;]", c))
        refuse_character(c);
}

// A number that passes 32 bits stays at the greatest.
void Formatter::take_number()
{
    int64_t number = 0;
    --position_;
    while (position_ < length_ && is_digit(at(position_)))
        number = std::min<int64_t>(number * 10 + at(position_++) - '0', INT32_MAX);
    set_parameter(static_cast<int32_t>(number));
}

// Reads what stands behind "~" and answers the directive's character.
uint8_t Formatter::take_parameters()
{
    std::fill_n(parameters_, kMostParameters, Parameter{});
    filled_ = 0;
    colon_ = at_sign_ = false;
    for (;;) {
        const uint8_t c = take();
        if (is_digit(c)) {
            take_number();
            continue;
        }
        switch (c) {
        case 'v':
        case 'V':
            set_parameter(integer_value(next_argument()));
            break;
        case '#':
            set_parameter(static_cast<int32_t>(count_ - next_));
            break;
        case '\'':
            set_parameter(take());
            break;
        case ':':
            colon_ = true;
            break;
        case '@':
            at_sign_ = true;
            break;
        case ',':
            if (++filled_ == kMostParameters)
                refuse_character(c);
            break;
        default:
            return c;
        }
    }
}

// ---- Arguments

Value Formatter::next_argument()
{
    if (next_ >= count_)
        raise_error(kErrorType);
    return arguments_[count_ - 1 - next_++];
}

void Formatter::go_to_argument(int64_t index)
{
    if (index < 0 || index > count_)
        raise_error(kErrorType);
    next_ = static_cast<uint32_t>(index);
}

void Formatter::skip_arguments()
{
    const int64_t n = parameter(0, 1);
    if (at_sign_)
        go_to_argument(n);
    else
        go_to_argument(colon_ ? next_ - n : next_ + n);
}

// ---- Printing directives

void Formatter::repeat(uint32_t character, int32_t count)
{
    for (; count > 0; --count)
        print_char(character);
}

// The width is the first parameter, the character that fills it up the fourth.
template <class Print> void Formatter::print_padded(uint32_t length, Print print)
{
    const int64_t missing = std::max<int64_t>(parameter(0, 0) - int64_t(length), 0);
    const uint32_t pad = static_cast<uint8_t>(parameter(kPadParameter, ' '));
    const bool left = at_sign_;
    if (left)
        repeat(pad, static_cast<int32_t>(missing));
    print();
    if (!left)
        repeat(pad, static_cast<int32_t>(missing));
}

void Formatter::print_padded_string(Value string)
{
    print_padded(static_cast<uint32_t>(strlen(string_chars(string))),
                 [&] { print_string(string); });
}

void Formatter::print_princ_padded()
{
    const Value v = next_argument();
    if (has(0))
        print_padded_string(coerce_to_string(v));
    else
        print_princ(v);
}

// With a second parameter that many decimals, else 6 significant digits. A width could only add
// blanks, and blanks are left out.
void Formatter::print_real()
{
    constexpr int32_t kMostDecimals = 1100; // no double has more digits than that
    const double d = real_value(next_argument());
    const int32_t decimals = parameter(1, 0);
    char text[1536];
    char* end;
    if (has(1)) {
        if (decimals < 0)
            raise_error(kErrorType, make_integer(decimals));
        end = std::to_chars(text, text + sizeof text, d, std::chars_format::fixed,
                            std::min(decimals, kMostDecimals))
                  .ptr;
    } else {
        end = std::to_chars(text, text + sizeof text, d, std::chars_format::general, 6).ptr;
    }
    for (const char* c = text; c < end; ++c)
        print_char(*c == '.' ? dot_mark : static_cast<uint8_t>(*c));
    repeat('0', decimals - kMostDecimals);
}

void Formatter::print_hexadecimal()
{
    const Value v = next_argument();
    const uint32_t bits =
        v.tag() == kTagUnsignedLong ? unsigned_value(v) : static_cast<uint32_t>(integer_value(v));
    char text[16];
    const int length = snprintf(text, sizeof text, "%X", bits);
    print_padded(static_cast<uint32_t>(length), [&] { print_text(text); });
}

static Value counted_string(const uint8_t* bytes, uint32_t room)
{
    const uint32_t length = room ? std::min<uint32_t>(bytes[0], room - 1) : 0;
    const char* const chars = reinterpret_cast<const char*>(bytes + 1);
    return length ? make_string(chars, length) : empty_string;
}

static Value resource_string(int16_t id)
{
    const Handle handle = GetString(id);
    if (handle == 0 || GetHandleSize(handle) == 0)
        return empty_string;
    const LockedHandle locked(handle);
    return counted_string(locked.bytes, GetHandleSize(handle));
}

void Formatter::print_resource_text()
{
    const int16_t id = static_cast<int16_t>(integer_value(next_argument()));
    if (!colon_) {
        print_padded_string(resource_string(id));
        return;
    }
    uint8_t buffer[256] = {};
    GetIndString(buffer, id, integer_value(next_argument()));
    print_padded_string(counted_string(buffer, sizeof buffer));
}

void Formatter::print_plural()
{
    if (colon_)
        go_to_argument(int64_t(next_) - 1);
    const Value n = next_argument();
    if (!(n == make_fixnum(0)) && !(n == make_fixnum(1)))
        print_char('s');
}

// ---- Conditionals

// Skips to behind the next "~;", "~:;" or "~]" without using arguments.
Formatter::Separator Formatter::skip_clause()
{
    for (;;) {
        if (take() != '~')
            continue;
        bool colon = false;
        uint8_t c = take();
        while (is_digit(c) || strchr("vV#':@,", c)) {
            colon |= c == ':';
            if (c == '\'')
                take();
            c = take();
        }
        if (c == ']')
            return Separator::end;
        if (c == ';')
            return colon ? Separator::default_clause : Separator::clause;
        if (c == '[')
            refuse_character(c);
    }
}

void Formatter::select_clause(uint32_t clause)
{
    for (; clause > 0; --clause) {
        const Separator separator = skip_clause();
        if (separator == Separator::end)
            raise_error(kErrorType);
        if (separator == Separator::default_clause)
            return;
    }
}

void Formatter::begin_conditional()
{
    if (inside_)
        refuse_character('[');
    inside_ = true;
    if (colon_) {
        select_clause(is_nil(next_argument()) ? 0 : 1);
    } else if (at_sign_) {
        if (!is_nil(next_argument()))
            --next_;
        else
            end_clause(';');
    } else {
        const int32_t selector = has(0) ? parameter(0, 0) : integer_value(next_argument());
        select_clause(static_cast<uint16_t>(selector));
    }
}

void Formatter::end_clause(uint8_t c)
{
    if (!inside_)
        refuse_character(c);
    while (c == ';' && skip_clause() != Separator::end) {
    }
    inside_ = false;
}

void Formatter::directive(uint8_t c)
{
    switch (c) {
    case 'a':
        print_princ_padded();
        break;
    case 'c':
        repeat(character_argument(next_argument()), parameter(0, 1));
        break;
    case 'f':
        print_real();
        break;
    case 'i':
        print_resource_text();
        break;
    case 'p':
        print_plural();
        break;
    case 'w':
        print_write(next_argument());
        break;
    case 'x':
        print_hexadecimal();
        break;
    case 'y':
        print_display(next_argument());
        break;
    case '%':
        repeat('\r', parameter(0, 1));
        break;
    case 't':
        repeat('\t', parameter(0, 1));
        break;
    case '.':
        print_char(dot_mark);
        break;
    case '*':
        skip_arguments();
        break;
    case '[':
        begin_conditional();
        break;
    case ';':
    case ']':
        end_clause(c);
        break;
    default:
        refuse_character(c);
    }
}

// The run begins with the last argument and ends with the control string and the stream.
static Value format(Rest run)
{
    const uint32_t count = run_length(run);
    if (count < 2)
        raise_error(kErrorType);
    const Value stream = run[count - 1];
    const Value control = coerce_to_string(run[count - 2]);
    if (stream == symbol_t) {
        CaptureFrame capture;
        Formatter(control, run, count - 2).run();
        return capture.text();
    }
    const OutputFrame frame;
    const EscapeFrame escapes(0);
    choose_output(stream);
    Formatter(control, run, count - 2).run();
    flush_output();
    return symbol_t;
}

static const Primitive format_primitives[] = {
    Primitive(
        "format", format,
        "(format stream control value...): prints control, in which ~a ~w ~y print a value for "
        "people, for the reader or by display, ~f a real with decimals, ~x in hexadecimal, ~c a "
        "character, ~i a text of the resources, ~p a plural s, ~% a carriage return, ~t a tab, "
        "~. the dot mark, ~* skips values and ~[ ~; ~] select; t as stream answers the text, "
        "another stream t; error 2 for any other directive and when the values run out")
        .reversed(),
};

void init_format()
{
    define_primitives(format_primitives);
}
