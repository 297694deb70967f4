// The edit stream, which joins a console to the Lisp: lines arrive as blocks of text, output leaves
// in pieces as `print-string` sent to the owner of the output.
#pragma once

#include "storage/handles.h"

// Gives the stream a text to be read from its beginning, in place of what was left of the former
// one. The stream owns the block from now on and disposes of it behind the last character.
void set_edit_text(Ptr block, uint32_t length);

// Fetches more text: pumps events, or reads a line and calls set_edit_text. Answers false when
// there will be no more; a reader then meets the end of input. Where none is set, events are pumped
// once.
extern bool (*edit_source)();
