#include "app/terminal.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "app/source_text.h"
#include "kernel/primitive.h"
#include "kernel/reader.h"
#include "kernel/stream_procedures.h"
#include "kernel/symbols.h"
#include "platform/text_encoding.h"

// ---- Output

static std::string pending_output;
static bool at_line_start = true;

void flush_terminal()
{
    fwrite(pending_output.data(), 1, pending_output.size(), stdout);
    pending_output.clear();
    fflush(stdout);
}

void put_terminal(uint32_t character, uint32_t)
{
    const char byte = character == '\r' ? '\n' : static_cast<char>(character);
    at_line_start = byte == '\n';
    if (character < 0x80)
        pending_output += byte;
    else
        pending_output += utf8_from_ansi({ &byte, 1 });
    if (pending_output.size() > 8192)
        flush_terminal();
}

bool terminal_at_line_start()
{
    return at_line_start;
}
void set_terminal_at_line_start()
{
    at_line_start = true;
}

void tell_terminal(const char* text)
{
    flush_terminal();
    fprintf(stderr, "%s\n", utf8_from_ansi(text).c_str());
}

// ---- Input

static bool read_line(std::string* line)
{
    char* buffer = nullptr;
    size_t room = 0;
    const ssize_t length = getline(&buffer, &room, stdin);
    if (length >= 0)
        line->assign(buffer, length);
    free(buffer);
    if (!line->empty() && line->back() == '\n')
        line->pop_back();
    return length >= 0;
}

static struct {
    std::string text; // of the line, in the reader's form, with its end
    size_t next;
    bool ended;
} typed;

static bool fill_line()
{
    while (typed.next >= typed.text.size() && !typed.ended) {
        flush_terminal();
        std::string line;
        typed.ended = !read_line(&line);
        if (!typed.ended)
            typed.text = lisp_text(line) + '\r';
        typed.next = 0;
    }
    return !typed.ended;
}

static uint32_t get_terminal(uint32_t)
{
    if (!fill_line())
        return kEndOfInput;
    return static_cast<uint8_t>(typed.text[typed.next++]);
}

static void unget_terminal(uint32_t)
{
    if (typed.next > 0)
        --typed.next;
}

static Value terminal_getc()
{
    return make_fixnum(static_cast<int32_t>(get_terminal(0)));
}

static Value terminal_putc(Value character)
{
    put_terminal(static_cast<uint32_t>(integer_value(character)) & 0xff, 0);
    return no_value;
}

// Skips blanks, so that the end is seen before a form is asked for.
static Value terminal_ended_p()
{
    while (fill_line()) {
        const char c = typed.text[typed.next];
        if (c != ' ' && c != '\t' && c != '\r')
            return nil;
        ++typed.next;
    }
    return symbol_t;
}

static Value terminal_interactive_p()
{
    return boolean(isatty(STDIN_FILENO));
}

static Value terminal_flush()
{
    flush_terminal();
    return no_value;
}

static const Primitive terminal_primitives[] = {
    { "terminal-getc", terminal_getc,
      "(terminal-getc): the next character of standard input, 65535 at its end; (cons "
      "terminal-getc "
      "(null-ptr)) is a stream for read" },
    { "terminal-putc", terminal_putc,
      "(terminal-putc char): prints it on standard output; (cons terminal-putc (null-ptr)) is a "
      "stream "
      "for print. Error 2 when char is no integer" },
    { "terminal-ended?", terminal_ended_p,
      "(terminal-ended?): t if standard input holds no further form; waits until that is known" },
    { "terminal-interactive?", terminal_interactive_p,
      "(terminal-interactive?): t if standard input is a terminal" },
    { "terminal-flush", terminal_flush, "(terminal-flush): hands what was printed to the system" },
};

void init_terminal()
{
    typed = {};
    define_primitives(terminal_primitives);
    register_get(terminal_getc, get_terminal, { .unget = unget_terminal });
    register_put(terminal_putc, put_terminal);
}
