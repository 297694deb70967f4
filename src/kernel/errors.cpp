// Error reports and throws. A report tells the application's error object, or the user, and then
// throws to `toplevel`; nothing comes back to the code that raised it.
#include "kernel/errors.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "kernel/collector.h"
#include "kernel/evaluator.h"
#include "kernel/frames.h"
#include "kernel/hooks.h"
#include "kernel/primitive.h"
#include "kernel/printer.h"
#include "kernel/symbols.h"

static constexpr int kKindError = 1010;
static constexpr int kKindDatabase = 1011;
static constexpr int kDialogInternal = 5500;
static constexpr int kDialogDetails = 6100;
static constexpr int kButtonQuit = 2;
static constexpr int kButtonDetails = 3;
static constexpr int kMostNested = 8;  // reports inside reports before the handler is left out

thrower* thrower::live;

static struct {
    Value toplevel, cancel, break_, error_trap, error_handler, message_keyword;
} symbols;

static char error_message[1024];
static char text_message[1024];
static bool formatting;
static int nested_reports;
static ErrorReport report_ = { 0, 0, nil, "" };
static uint32_t reports;

// A throw held back from crossing the platform's frames.
static bool pending;
static Value pending_tag;
static Value pending_value;

// ---- Throws

thrower::thrower(Value tag_, Value value_) : tag(tag_), value(value_), next(live)
{
    live = this;
}

thrower::thrower(const thrower& other) : NonLocalExit(other), tag(other.tag), value(other.value), next(live)
{
    live = this;
}

thrower::~thrower()
{
    thrower** link = &live;
    while (*link && *link != this)
        link = &(*link)->next;
    if (*link)
        *link = next;
}

bool catch_exists(Value tag)
{
    for (const Frame* frame = current_frame; frame->previous; frame = frame->previous)
        if (frame->catches(tag))
            return true;
    return false;
}

// In line for the primitive: the unwinder pays for every machine frame between throw and catch.
[[noreturn, gnu::always_inline]] static inline void throw_here(Value tag, Value value)
{
    if (!catch_exists(tag))
        raise_error(kErrorNoCatch, tag);
    throw thrower(tag, value);
}

void throw_to(Value tag, Value value)
{
    throw_here(tag, value);
}

void throw_toplevel()
{
    throw_to(symbols.toplevel, nil);
}

void throw_cancel()
{
    throw_to(symbols.cancel, nil);
}

void hold_pending_throw(const thrower& held)
{
    pending = true;
    pending_tag = held.tag;
    pending_value = held.value;
}

void raise_pending_throw()
{
    if (!pending)
        return;
    pending = false;
    throw_to(pending_tag, pending_value);
}

// ---- Reports

const ErrorReport& last_error() { return report_; }
uint32_t error_count() { return reports; }

void internal_error_dialog(const char* message)
{
    int button = hooks.alert(kDialogInternal + dialog_language, message, "", "", "");
    if (button == kButtonDetails)
        button = hooks.alert(kDialogDetails + dialog_language, message, "", "", "");
    if (button == kButtonQuit)
        hooks.quit(0);
}

// What every report does before it makes a text.
static void begin_report()
{
    hooks.end_drawing();
    hooks.flush_output();
}

// Names no text can be made of while another error is being worded.
static void refuse_nested_formatting()
{
    if (formatting)
        throw ErrorPrinting();
}

struct FormattingFlag {
    FormattingFlag() { formatting = true; }
    ~FormattingFlag() { formatting = false; }
};

static void append_field(char* text, size_t size, Value field)
{
    const size_t used = strlen(text);
    const Value string = coerce_to_string(field);
    snprintf(text + used, size - used, ", %s", string_chars(string));
}

static void format_report(int code, Value value)
{
    const SavedState state;
    try {
        const FormattingFlag flag;
        snprintf(error_message, sizeof error_message, "Error: %d", code);
        append_field(error_message, sizeof error_message, value);
        append_field(error_message, sizeof error_message, self_object);
        append_field(error_message, sizeof error_message, nil);
        append_field(error_message, sizeof error_message, nil);
    } catch (ErrorPrinting&) {
        state.restore();
        strcpy(error_message, "Unprintable error");
    }
}

// Tells the error object or the user, then leaves for toplevel.
[[noreturn]] static void deliver(Value kind, Value code, Value value, const char* message)
{
    ++reports;
    hooks.error_reported();
    struct Nesting {
        Nesting() { ++nested_reports; }
        ~Nesting() { --nested_reports; }
    } nesting;
    Value handler = lookup_symbol(symbols.error_handler);
    if (is_symbol(handler))
        handler = lookup_symbol(handler);
    if (is_object(handler) && nested_reports <= kMostNested)
        call_with_object(handler, symbols.error_trap, kind, code, is_end(value) ? nil : value,
                         self_object, nil, nil);
    else
        internal_error_dialog(message);
    if (!catch_exists(symbols.toplevel))
        hooks.quit(1);
    throw thrower(symbols.toplevel, nil);
}

[[noreturn]] static void report_error(int kind, int code, Value value)
{
    const StackReserve reserve;
    begin_report();
    if (value.tag() == kTagAddress)
        value = nil;
    refuse_nested_formatting();
    hooks.reset_windows();
    format_report(code, value);
    report_ = { kind, code, value, error_message };
    deliver(make_fixnum(kind), make_fixnum(code), value, error_message);
}

void raise_error(int code, Value value)
{
    report_error(kKindError, code, value);
}

void raise_error_1011(int code, Value value)
{
    report_error(kKindDatabase, code, value);
}

void raise_message_error(const char* format, ...)
{
    const StackReserve reserve;
    begin_report();
    refuse_nested_formatting();
    char text[sizeof text_message - 16];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    snprintf(text_message, sizeof text_message, "Error: %s", text);
    const Value string = make_string(text);
    report_ = { 0, 0, string, text_message };
    deliver(nil, make_fixnum(0), string, text_message);
}

// ---- Primitives

static Value catch_(Value args)
{
    const Value tag = eval(is_pair(args) ? car_of(args) : nil);
    const SavedState state;
    CatchFrame frame(tag);
    try {
        return eval_body(is_pair(args) ? cdr_of(args) : nil, current_lambda());
    } catch (const thrower& thrown) {
        if (thrown.tag != tag)
            throw;
        const Value value = thrown.value;
        state.restore();
        current_frame = &frame;
        event_flag = frame.saved_event_flag;
        return value;
    }
}

static Value unwind_protect(Value args)
{
    if (!is_pair(args))
        return no_value;
    const Value cleanup = cdr_of(args);
    return with_cleanup([args] { return eval(car_of(args)); },
                        [cleanup] { eval_body(cleanup, current_lambda()); });
}

static Value catched_p(Value tag) { return boolean(catch_exists(tag)); }
static Value throw_(Value tag, Value value) { throw_here(tag, value); }
static Value toplevel() { throw_toplevel(); }
static Value error_subr(Value value) { raise_error(kErrorUser, value); }

static const Primitive error_primitives[] = {
    Primitive::special("catch", catch_,
        "(catch tag body...): value of the last form, or the value thrown to tag meanwhile"),
    Primitive::special("unwind-protect", unwind_protect,
        "(unwind-protect form cleanup...): value of form; the cleanups run however form is left"),
    { "catched?", catched_p, "(catched? tag): t if a catch of tag is waiting" },
    { "throw", throw_, "(throw tag value): leaves for the catch of tag; error 17 when there is none" },
    { "toplevel", toplevel, "(toplevel): throws to toplevel" },
    { "error-subr", error_subr, "(error-subr value): error 0 with the value" },
};

static void mark_errors()
{
    for (const thrower* t = thrower::live; t; t = t->next) {
        mark_value(t->tag);
        mark_value(t->value);
    }
    mark_value(report_.value);
    mark_value(pending_tag);
    mark_value(pending_value);
}

void init_errors()
{
    formatting = pending = false;
    nested_reports = 0;
    reports = 0;
    report_ = { 0, 0, nil, "" };
    pending_tag = pending_value = nil;
    symbols = { intern("toplevel"), intern("cancel"), intern("break"), intern("error-trap"),
                intern("Error-Handler", nil), intern_keyword("message") };
    define_primitives(error_primitives);
    add_root_marker(mark_errors);
}
