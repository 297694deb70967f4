// The process's standard input and output as Lisp streams: bytes of Windows-1252 with carriage
// returns inside, UTF-8 with line feeds outside.
#pragma once

#include <cstdint>

// The output procedure of standard output, and whether the next character begins a line.
void put_terminal(uint32_t character, uint32_t state);
bool terminal_at_line_start();
void set_terminal_at_line_start();

// Hands what was printed so far to the system.
void flush_terminal();

// A line of text on standard error, behind all that was printed.
void tell_terminal(const char* text);

void init_terminal();
