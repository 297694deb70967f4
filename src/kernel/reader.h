// One table-driven reader for text and for the compact form of `Load` resources.
#pragma once

#include "kernel/frames.h"
#include "kernel/value.h"

constexpr uint32_t kEndOfInput = 65535;

// Gives the next character, 0 to 255, or kEndOfInput.
using GetProcedure = uint32_t (*)(uint32_t state);

struct Input {
    GetProcedure get;
    uint32_t state;
    Value owner;
    uint16_t current;  // the current character
};

extern Input input;

// Saves the current input and puts it back.
struct InputFrame : Frame {
    InputFrame() : saved_(input) {}
    ~InputFrame() { input = saved_; }

private:
    const Input saved_;
};

// Tokens of the reader, with the tag of an address.
constexpr Value kTokenClose = Value(kTagAddress, 2);
constexpr Value kTokenDot = Value(kTagAddress, 3);
constexpr Value kTokenEnd = Value(kTagAddress, 15);
constexpr Value kTokenNothing = Value(kTagAddress, 16);
constexpr Value kTokenBrace = Value(kTagAddress, 18);

// The next form of the current input, or a token.
Value read_form();

// Reads and evaluates all forms of a byte stream, as a `Load` resource: Load-File is set to id, the
// current object is the root class, nothing polls. text may not move meanwhile.
void load_bytes(const uint8_t* text, uint32_t length, Value id);

// A decimal text as `read` understands numbers: an integer or real, or nil.
Value read_number(const char* text);
Value read_integer(const char* text);

extern uint8_t dot_mark;

void init_reader();
