// Forms typed, given as words of a command line or lying in files, evaluated one by one with the
// process's own streams as terminal.
#pragma once

#include <string>

#include "kernel/value.h"

enum class ShowValues { no, yes };

// Makes standard output the current output (carriage returns become line feeds, text UTF-8) and
// puts the text of the internal-error dialog on standard error. To be called once the modules
// stand.
void open_console();

// Where a console reads. next_line puts one line of host text into *line, without its end, and
// answers false at the end of input; it is told whether a form is under way.
struct LineSource {
    virtual bool next_line(std::string* line, bool inside_form) = 0;
    // Whether a program that reads the edit stream may be given lines of this source.
    virtual bool is_typed() const { return false; }
    // The file that the lines come from; empty for none.
    virtual std::string name() const { return {}; }
    virtual ~LineSource() = default;
};

// Reads and evaluates all forms of a source. A form that ends in an error is told on standard error
// and the next one runs. With ShowValues each value but no-value is displayed on a line of its own.
// Answers the number of errors.
int evaluate_lines(LineSource& source, ShowValues show);

// name: the file that the text comes from, for the places of its definitions; empty for none.
int evaluate_text(const std::string& host_text, ShowValues show, const std::string& name = {});
int evaluate_standard_input(ShowValues show);

// Line editing, and a history kept from one session to the next.
int evaluate_terminal();
