// Values as characters on the current output. Three tables by tag: princ for people, write for what
// `read` reads back (error 2 for what it can't), display with readable forms where they exist.
#pragma once

#include "kernel/frames.h"
#include "kernel/value.h"

// Receives one character (0 to 255) and the state word of its stream.
using PutProcedure = void (*)(uint32_t character, uint32_t state);

struct Output {
    PutProcedure put; // null: characters are dropped
    uint32_t state;
    Value owner; // object that the stream was asked of, or nil
};

extern Output output; // the owner is a root of the collector

// Saves the current output and puts it back.
struct OutputFrame : Frame {
    OutputFrame() : saved_(output) {}
    ~OutputFrame() { output = saved_; }

private:
    const Output saved_;
};

// The tag of the rule by which strings and symbols get a "\" before what the reader would take for
// more than a character: 0 for none, a string's or a symbol's.
extern uint32_t printer_escapes;

// Saves the escape rule, sets another and puts the first back.
struct EscapeFrame : Frame {
    explicit EscapeFrame(uint32_t rule) : saved_(printer_escapes) { printer_escapes = rule; }
    ~EscapeFrame() { printer_escapes = saved_; }

private:
    const uint32_t saved_;
};

void print_char(uint32_t character); // polls like a function call
void print_text(const char* text);
void print_string(Value string); // its bytes as they stand; the block may move meanwhile
void print_format(const char* format, ...) __attribute__((format(printf, 1, 2)));
void print_princ(Value v);
void print_write(Value v);
void print_display(Value v);
void flush_output();

// How a pointer of a kind prints when its word is not null. A module that makes pointers of a kind
// may fill the row; the others print "<name address>".
using PointerPrinter = void (*)(Value pointer);
void define_pointer_printer(PointerKind kind, PointerPrinter print);
const char* pointer_kind_name(Value pointer);
void print_disposed(Value pointer); // "<name disposed>": what the word named is gone

// Makes what the Lisp gives as a stream argument the current output, by the printer's rules. The
// caller stands in an OutputFrame.
void choose_output(Value stream);

// Collects the characters of the current output while it stands. NULs are left out.
class CaptureFrame : public OutputFrame {
public:
    CaptureFrame();
    ~CaptureFrame();

    // What was collected so far, as a string; error 2 when a string can't hold it.
    Value text();

private:
    static void put(uint32_t character, uint32_t state);
    void spill();

    CaptureFrame* const outer_;
    const uint32_t escapes_;
    Value full_; // what no longer fits the buffer
    uint16_t count_ = 0;
    char buffer_[1024];
};

// Text of a value: itself for a string, the name of a symbol, decimal numbers, else the princ form.
Value coerce_to_string(Value v);
// The same as C text in the scratch tail of the heap: gone with the next allocation.
const char* coerce_to_cstring(Value v);

void init_printer();
