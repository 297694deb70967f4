// kalvex-lisp-tests FILE...: runs tables of Lisp cases, each file in a fresh interpreter.
//
//     EXPR => TEXT        the display form of the value
//     EXPR ~> TEXT        what is printed meanwhile
//     EXPR !! CODE        an error with that code number
//     EXPR !! CODE TEXT   and the display form of the value passed with it
//     EXPR !! "TEXT"      a text error
//     EXPR                set-up: an error in it is a failure
//
// A line that begins with ";" is a comment; a form that is not closed at the end of a line goes on
// in the next. In texts a carriage return is written \r, a line feed \n, another control \xHH, and
// behind ~> a backslash \\.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "app/boot.h"
#include "app/source_text.h"
#include "kernel/collector.h"
#include "kernel/errors.h"
#include "kernel/evaluator.h"
#include "kernel/frames.h"
#include "kernel/hooks.h"
#include "kernel/primitive.h"
#include "kernel/printer.h"
#include "kernel/reader.h"
#include "kernel/symbols.h"
#include "platform/clock.h"
#include "platform/text_encoding.h"

namespace {

enum class Arrow { none, value, output, error };

struct Case {
    int line;
    std::string form;
    Arrow arrow;
    std::string wanted;
};

struct Outcome {
    bool failed = false; // by an error
    std::string value;   // display form
    std::string printed;
    std::string error; // as the text behind "!!", with the value
    std::string error_code;
};

struct Tally {
    int passed = 0;
    int failed = 0;
};

// The captured output or the characters being read; the kernel's procedures take no pointer.
std::string* captured = nullptr;
const std::string* reading = nullptr;
size_t reading_at = 0;

} // namespace

// ---- Tables

static std::string trimmed(const std::string& text)
{
    const size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos)
        return "";
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

// Where the arrow stands that is outside all lists and strings; npos and the depth when there is
// none.
static size_t find_arrow(const std::string& text, Arrow* arrow, int* depth)
{
    bool in_string = false;
    *depth = 0;
    *arrow = Arrow::none;
    for (size_t i = 0; i < text.size(); i++) {
        const char c = text[i];
        if (c == '\\') {
            i++;
        } else if (c == '"') {
            in_string = !in_string;
        } else if (!in_string && c == ';') {
            while (i + 1 < text.size() && text[i + 1] != '\r')
                i++;
        } else if (!in_string && (c == '(' || c == '[')) {
            ++*depth;
        } else if (!in_string && (c == ')' || c == ']')) {
            --*depth;
        } else if (!in_string && *depth <= 0 && i > 0 && text[i - 1] == ' ' &&
                   i + 2 <= text.size()) {
            const std::string mark = text.substr(i, 3);
            *arrow = mark == "=> " || mark == "=>"   ? Arrow::value
                     : mark == "~> " || mark == "~>" ? Arrow::output
                     : mark == "!! "                 ? Arrow::error
                                                     : Arrow::none;
            if (*arrow != Arrow::none)
                return i;
        }
    }
    *depth += in_string;
    return std::string::npos;
}

// The next case of the text from *at on. False at the end.
static bool next_case(const std::string& text, size_t* at, int* line, Case* found)
{
    std::string form;
    while (*at < text.size()) {
        size_t end = text.find('\r', *at);
        if (end == std::string::npos)
            end = text.size();
        const std::string row = text.substr(*at, end - *at);
        *at = end + 1;
        ++*line;
        if (form.empty() && (trimmed(row).empty() || row[0] == ';'))
            continue;
        if (form.empty())
            found->line = *line;
        form += form.empty() ? row : "\r" + row;
        int depth;
        const size_t arrow = find_arrow(form, &found->arrow, &depth);
        if (arrow == std::string::npos && depth > 0)
            continue;
        found->form = arrow == std::string::npos ? form : form.substr(0, arrow);
        found->wanted = arrow == std::string::npos ? "" : trimmed(form.substr(arrow + 2));
        return true;
    }
    if (form.empty())
        return false;
    found->form = form;
    found->arrow = Arrow::none;
    return true;
}

// ---- Running a case

static void put_captured(uint32_t character, uint32_t)
{
    *captured += static_cast<char>(character);
}

static uint32_t get_form(uint32_t)
{
    return reading_at < reading->size() ? static_cast<uint8_t>((*reading)[reading_at++])
                                        : kEndOfInput;
}

static std::string visible(const std::string& text, bool with_backslash)
{
    std::string shown;
    for (const char c : text) {
        const uint8_t byte = static_cast<uint8_t>(c);
        char code[8];
        if (byte == '\r')
            shown += "\\r";
        else if (byte == '\n')
            shown += "\\n";
        else if (byte == '\\' && with_backslash)
            shown += "\\\\";
        else if (byte < ' ')
            snprintf(code, sizeof code, "\\x%02x", byte), shown += code;
        else
            shown += c;
    }
    return shown;
}

static std::string display_text(Value v)
{
    OutputFrame frame;
    std::string text;
    std::string* const outer = captured;
    captured = &text;
    output = { put_captured, 0, nil };
    print_display(v);
    captured = outer;
    return visible(text, false);
}

static Value evaluate_forms(const std::string& text)
{
    InputFrame frame;
    reading = &text;
    reading_at = 0;
    input = { get_form, 0, nil, kNoCharacter };
    Value result = no_value;
    for (;;) {
        const Value form = read_form();
        if (form == kTokenEnd)
            return result;
        if (form == kTokenNothing)
            continue;
        if (form.tag() == kTagAddress)
            raise_error(kErrorSyntax);
        result = eval_toplevel(form);
    }
}

static void note_error(Outcome* outcome)
{
    const ErrorReport& report = last_error();
    outcome->failed = true;
    if (report.kind == 0) {
        const char* text = string_chars(report.value);
        outcome->error = outcome->error_code = '"' + visible(text, false) + '"';
        return;
    }
    const int code = report.code;
    outcome->error_code = std::to_string(code);
    outcome->error = outcome->error_code + " " + display_text(report.value);
}

static Outcome run_case(const Case& row)
{
    Outcome outcome;
    captured = &outcome.printed;
    const uint32_t errors_before = error_count();
    const SavedState state;
    CatchFrame frame(intern("toplevel"));
    OutputFrame output_frame;
    output = { put_captured, 0, nil };
    try {
        const Value result = evaluate_forms(row.form);
        if (row.arrow != Arrow::output)
            outcome.value = display_text(result);
    } catch (const thrower&) {
        state.restore();
        current_frame = &output_frame;
        event_flag = frame.saved_event_flag;
        output = { put_captured, 0, nil };
        if (error_count() > errors_before)
            note_error(&outcome);
        else
            outcome.failed = true, outcome.error = "a throw to toplevel";
    } catch (const ProgramExit& exit) {
        state.restore();
        current_frame = &output_frame;
        outcome.failed = true;
        outcome.error = outcome.error_code = "quit " + std::to_string(exit.status);
    }
    return outcome;
}

static bool agrees(const Case& row, const Outcome& outcome, std::string* got)
{
    if (outcome.failed) {
        *got = "error " + outcome.error;
        return row.arrow == Arrow::error &&
               (row.wanted == outcome.error || row.wanted == outcome.error_code);
    }
    switch (row.arrow) {
    case Arrow::none:
        return true;
    case Arrow::value:
        *got = outcome.value;
        return outcome.value == row.wanted;
    case Arrow::output:
        *got = visible(outcome.printed, true);
        return trimmed(*got) == row.wanted;
    case Arrow::error:
        *got = "no error but " + outcome.value;
        return false;
    }
    return false;
}

static int no_alert(int, const char*, const char*, const char*, const char*)
{
    return 1;
}

// In a table that names it the clock stands still but for (test-advance-clock ms).
static Value test_advance_clock(Value ms)
{
    advance_virtual_clock(unsigned_value(ms));
    return no_value;
}

static const Primitive test_primitives[] = {
    { "test-advance-clock", test_advance_clock,
      "(test-advance-clock ms): moves the clock, which stands still otherwise" },
};

static void run_file(const char* path, const std::string& text, Tally* tally)
{
    hooks.alert = no_alert;
    if (text.find("test-advance-clock") != std::string::npos)
        use_virtual_clock(1000);
    else
        use_real_clock();
    define_primitives(test_primitives);
    size_t at = 0;
    int line = 0;
    Case row;
    while (next_case(text, &at, &line, &row)) {
        std::string got;
        if (agrees(row, run_case(row), &got)) {
            tally->passed += row.arrow != Arrow::none;
            continue;
        }
        ++tally->failed;
        printf("%s:%d: %s\n    wanted %s\n    got    %s\n", path, row.line,
               utf8_from_ansi(trimmed(row.form)).c_str(),
               row.arrow == Arrow::none ? "no error" : utf8_from_ansi(row.wanted).c_str(),
               utf8_from_ansi(got).c_str());
    }
    if (const char* damage = verify_heap()) {
        ++tally->failed;
        printf("%s: the heap is damaged: %s\n", path, damage);
    }
}

static SpaceSizes test_sizes()
{
    SpaceSizes sizes;
    sizes.symbols = 8192;
    sizes.lisp_stack = 1 << 20;
    sizes.prolog_stack = 1 << 20;
    sizes.nodes = 1000000;
    sizes.heap = 8 << 20;
    sizes.reserve = 0;
    sizes.machine_stack = 2 << 20;
    return sizes;
}

int main(int count, char** words)
{
    Tally tally;
    for (int i = 1; i < count; i++) {
        std::string bytes, error;
        if (!read_host_file(words[i], &bytes, &error)) {
            printf("%s\n", error.c_str());
            return 2;
        }
        const std::string text = lisp_text(bytes);
        const int status = run_interpreter(test_sizes(), [&] {
            run_file(words[i], text, &tally);
            return 0;
        });
        if (status != 0) {
            ++tally.failed;
            printf("%s: the interpreter ended with status %d\n", words[i], status);
        }
    }
    printf("%d passed, %d failed\n", tally.passed, tally.failed);
    return tally.failed ? 1 : 0;
}
