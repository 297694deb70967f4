// What the tables of primitives tell about themselves: the source of `--names`, `--doc` and
// docs/reference.md.
#pragma once

// Every name that has a definition, sorted, one a line.
void print_defined_names();

// The usage line of a name. 1, with a word on standard error, when it has none.
int print_usage_of(const char* name);

// All usage lines as a page of Markdown, a chapter a module.
void print_reference();
