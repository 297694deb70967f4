// One loop for all sources: the reader asks for characters, and when those of a line are used up
// the source is asked for the next one, so a form is evaluated as soon as it is complete.
#include "app/console.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <editline/readline.h>
#include <unistd.h>
#include <vector>

#include "app/describe.h"
#include "app/source_text.h"
#include "app/terminal.h"
#include "kernel/call_trace.h"
#include "kernel/errors.h"
#include "kernel/evaluator.h"
#include "kernel/frames.h"
#include "kernel/hooks.h"
#include "kernel/printer.h"
#include "kernel/reader.h"
#include "kernel/symbols.h"
#include "library/streams.h"
#include "platform/host/host.h"
#include "platform/poll_timer.h"
#include "platform/text_encoding.h"

// ---- Output

// Alerts of other kinds than internal errors: want of memory ends a form without an error.
static int alerts_shown;

// The loop tells the error of a form itself, when it has caught the throw.
static int answer_alert(int id, const char* p0, const char* p1, const char* p2, const char* p3)
{
    if (id / 100 == kDialogInternalError / 100)
        return 1;
    ++alerts_shown;
    flush_terminal();
    return show_alert(id, p0, p1, p2, p3);
}

// ---- Back traces: what was running when an error was reported, told when nothing took it.

static constexpr size_t kMostCalls = 10;
static std::vector<RunningFunction> back_trace;

static void note_back_trace()
{
    back_trace = running_functions(kMostCalls);
}

static void tell_back_trace()
{
    for (const RunningFunction& call : back_trace) {
        std::string text = "  in " + call.name;
        if (call.depth > 1)
            text += ", " + std::to_string(call.depth) + " deep";
        const std::string place = definition_place(call.name);
        if (!place.empty())
            text += " (" + place + ")";
        tell_terminal(text.c_str());
    }
}

// ---- Input

namespace {

struct Characters {
    LineSource* source;
    std::string line; // in the reader's form, with its end
    size_t next;
    bool inside_form;
    bool inside_comment; // between forms
    bool ended;
    int line_number;
    int form_line; // on which the form under way began
};

Characters* characters = nullptr;

} // namespace

static uint32_t get_console(uint32_t)
{
    Characters& from = *characters;
    while (from.next >= from.line.size()) {
        std::string host_line;
        flush_terminal();
        if (from.ended || !from.source->next_line(&host_line, from.inside_form)) {
            from.ended = true;
            return kEndOfInput;
        }
        from.line = lisp_text(host_line) + '\r';
        from.next = 0;
        ++from.line_number;
        from.inside_comment = false;
    }
    const uint8_t character = static_cast<uint8_t>(from.line[from.next++]);
    if (!from.inside_form && !from.inside_comment && character > ' ') {
        from.inside_comment = character == ';';
        from.inside_form = !from.inside_comment;
        from.form_line = from.line_number;
    }
    return character;
}

// A line for the edit stream, from where the forms come too. Forms that lie in a text are not typed
// by anybody: there the edit stream has only what `set-lecture` gives it.
static bool type_edit_line()
{
    if (!characters || characters->ended || !characters->source->is_typed())
        return false;
    std::string host_line;
    flush_terminal();
    if (!characters->source->next_line(&host_line, true)) {
        characters->ended = true;
        return false;
    }
    const std::string line = lisp_text(host_line) + '\r';
    const uint32_t length = static_cast<uint32_t>(line.size());
    const Ptr block = NewPtrChecked(length);
    memcpy(zone_pointer(block), line.data(), length);
    set_edit_text(block, length);
    return true;
}

void open_console()
{
    hooks.alert = answer_alert;
    hooks.error_reported = note_back_trace;
    edit_source = type_edit_line;
    output = { put_terminal, 0, nil };
    set_terminal_at_line_start();
}

// ---- The loop

namespace {

enum class Step { done, failed, cut_off, ended };

// Puts the characters of an outer loop back.
struct CharactersFrame {
    explicit CharactersFrame(Characters* inner) : saved(characters) { characters = inner; }
    ~CharactersFrame() { characters = saved; }
    Characters* const saved;
};

} // namespace

static void show_value(Value v)
{
    if (v == no_value)
        return;
    if (!terminal_at_line_start())
        print_char('\r');
    print_display(v);
    print_char('\r');
}

// Where the functions that a form defines are written. In a class's forms the definitions stand one
// level down.
static void note_definitions(Value form, const std::string& place, int levels)
{
    const Value define = intern("define");
    if (is_pair(form) && car_of(form) == define) {
        const Value target = is_pair(cdr_of(form)) ? car_of(cdr_of(form)) : nil;
        const Value name = is_pair(target) ? car_of(target) : target;
        if (is_symbol(name))
            note_definition(symbol_chars(name), place);
        return;
    }
    constexpr int kMostForms = 10000;
    for (int i = 0; levels > 0 && i < kMostForms && is_pair(form); i++, form = cdr_of(form))
        note_definitions(car_of(form), place, levels - 1);
}

static void note_place(Value form)
{
    const std::string file = characters->source->name();
    if (!file.empty())
        note_definitions(form, file + ":" + std::to_string(characters->form_line), 1);
}

static volatile bool interrupted; // by the user, at a terminal

static Step evaluate_next_form(ShowValues show)
{
    const uint32_t errors_before = error_count();
    const int alerts_before = alerts_shown;
    const SavedState state;
    const Output shown = output;
    CatchFrame frame(intern("toplevel"));
    try {
        characters->inside_form = false;
        const Value form = read_form();
        if (form == kTokenEnd)
            return Step::ended;
        if (form == kTokenNothing)
            return Step::done;
        if (form.tag() == kTagAddress)
            raise_error(kErrorSyntax);
        note_place(form);
        interrupted = false;
        const Value result = eval_toplevel(form);
        if (show == ShowValues::yes)
            show_value(result);
        return Step::done;
    } catch (thrower&) {
        state.restore();
        event_flag = frame.saved_event_flag;
        output = shown;
    } catch (NonLocalExit&) {
        state.restore();
        output = shown;
    }
    if (error_count() == errors_before)
        return alerts_shown > alerts_before ? Step::cut_off : Step::done;
    tell_terminal(last_error().message);
    tell_back_trace();
    return Step::failed;
}

int evaluate_lines(LineSource& source, ShowValues show)
{
    Characters here = { &source, "", 0, false, false, false, 0, 0 };
    CharactersFrame characters_frame(&here);
    InputFrame input_frame;
    input = { get_console, 0, nil, kNoCharacter };
    int errors = 0;
    for (;;) {
        const Step step = evaluate_next_form(show);
        if (step == Step::ended)
            return errors;
        if (step != Step::done)
            ++errors;
    }
}

namespace {

struct TextSource : LineSource {
    TextSource(const std::string& text, const std::string& name) : text_(text), name_(name) {}
    std::string name() const override { return name_; }
    bool next_line(std::string* line, bool) override
    {
        if (next_ >= text_.size())
            return false;
        size_t end = text_.find('\n', next_);
        if (end == std::string::npos)
            end = text_.size();
        *line = text_.substr(next_, end - next_);
        next_ = end + 1;
        return true;
    }

private:
    const std::string& text_;
    const std::string name_;
    size_t next_ = 0;
};

struct StandardInput : LineSource {
    ~StandardInput() override { free(buffer_); }
    bool is_typed() const override { return true; }
    bool next_line(std::string* line, bool) override
    {
        const ssize_t length = getline(&buffer_, &room_, stdin);
        if (length < 0)
            return false;
        line->assign(buffer_, length);
        if (!line->empty() && line->back() == '\n')
            line->pop_back();
        return true;
    }

private:
    char* buffer_ = nullptr;
    size_t room_ = 0;
};

struct Terminal : LineSource {
    Terminal()
    {
        if (const char* home = getenv("HOME"))
            history_ = std::string(home) + "/.kalvex_history";
        using_history();
        stifle_history(1000);
        if (!history_.empty())
            read_history(history_.c_str());
    }
    ~Terminal() override
    {
        if (!history_.empty())
            write_history(history_.c_str());
    }
    bool is_typed() const override { return true; }
    bool next_line(std::string* line, bool inside_form) override
    {
        char* typed = readline(inside_form ? "   ... " : "kalvex> ");
        if (!typed) {
            putchar('\n');
            return false;
        }
        *line = typed;
        if (*typed)
            add_history(typed);
        free(typed);
        set_terminal_at_line_start();
        return true;
    }

private:
    std::string history_;
};

} // namespace

int evaluate_text(const std::string& host_text, ShowValues show, const std::string& name)
{
    TextSource source(host_text, name);
    return evaluate_lines(source, show);
}

int evaluate_standard_input(ShowValues show)
{
    StandardInput source;
    return evaluate_lines(source, show);
}

// ---- The user's interrupt

static void (*poll_events_before)();

static void note_interrupt()
{
    interrupted = true;
    request_poll();
}

static void poll_interrupt()
{
    if (interrupted) {
        interrupted = false;
        raise_message_error("interrupted");
    }
    poll_events_before();
}

int evaluate_terminal()
{
    poll_events_before = hooks.poll_events;
    hooks.poll_events = poll_interrupt;
    on_interrupt(note_interrupt);
    start_poll_timer(request_poll);
    Terminal source;
    const int errors = evaluate_lines(source, ShowValues::yes);
    stop_poll_timer();
    on_interrupt(nullptr);
    return errors;
}
