// Values as characters on the current output. Three tables by tag: princ for people, write for what
// `read` reads back (error 2 for what it can't), display with readable forms where they exist.
#pragma once

#include "kernel/frames.h"
#include "kernel/value.h"

// Receives one character (0 to 255) and the state word of its stream.
using PutProcedure = void (*)(uint32_t character, uint32_t state);

struct Output {
    PutProcedure put;  // null: characters are dropped
    uint32_t state;
    Value owner;       // object that the stream was asked of, or nil
};

extern Output output;  // the owner is a root of the collector

// Saves the current output and puts it back.
struct OutputFrame : Frame {
    OutputFrame() : saved_(output) {}
    ~OutputFrame() { output = saved_; }

private:
    const Output saved_;
};

void print_char(uint32_t character);  // polls like a function call
void print_text(const char* text);
void print_format(const char* format, ...) __attribute__((format(printf, 1, 2)));
void print_princ(Value v);
void print_write(Value v);
void print_display(Value v);
void flush_output();

// Makes what the Lisp gives as a stream argument the current output, by the printer's rules. The
// caller stands in an OutputFrame.
void choose_output(Value stream);

// Text of a value: itself for a string, the name of a symbol, decimal numbers, else the princ form.
Value coerce_to_string(Value v);
// The same as C text in the scratch tail of the heap: gone with the next allocation.
const char* coerce_to_cstring(Value v);

void init_printer();
