// One table-driven reader for text and for the compact form of `Load` resources.
#pragma once

#include "kernel/frames.h"
#include "kernel/value.h"

constexpr uint32_t kEndOfInput = 65535;

// Gives the next character, 0 to 255, or kEndOfInput.
using GetProcedure = uint32_t (*)(uint32_t state);

// Where no character has been looked at; the next one is fetched when it is asked for.
constexpr uint16_t kNoCharacter = 65534;

struct Input {
    GetProcedure get;  // null: at its end
    uint32_t state;
    Value owner;       // object that the stream was asked of, or nil
    uint16_t current;  // looked at and not used up yet, kNoCharacter, or kEndOfInput
};

extern Input input;  // the owner is a root of the collector

// Saves the current input and puts it back.
struct InputFrame : Frame {
    InputFrame() : saved_(input) {}
    ~InputFrame() { input = saved_; }

protected:
    Input saved_;
};

// Makes a run of bytes the current input while it stands. They may not move meanwhile.
struct ByteInput : InputFrame {
    ByteInput(const uint8_t* bytes_, uint32_t length_);
    ~ByteInput();

    const uint8_t* const bytes;
    const uint32_t length;
    uint32_t position = 0;
    ByteInput* const outer;
    const uint32_t depth;
};

uint32_t fetch_character();

// The next character without using it up, and with.
inline uint32_t peek_character()
{
    return input.current == kNoCharacter ? fetch_character() : input.current;
}

inline uint32_t take_character()
{
    const uint32_t c = peek_character();
    if (c != kEndOfInput)
        input.current = kNoCharacter;
    return c;
}

// Characters of the current input that have been used up or looked at, by its own count.
uint32_t input_position();

// Tokens of the reader, with the tag of an address.
constexpr Value kTokenClose = Value(kTagAddress, 2);
constexpr Value kTokenDot = Value(kTagAddress, 3);
constexpr Value kTokenEnd = Value(kTagAddress, 15);
constexpr Value kTokenNothing = Value(kTagAddress, 16);
constexpr Value kTokenBrace = Value(kTagAddress, 18);

// The next form of the current input, or a token.
Value read_form();

// The next form where there must be one: error 25 for any other token than kTokenNothing.
Value read_datum();

// Forms up to the terminator token as a list. Input that ends first is error 25, or closes the list.
enum class AtEnd { fails, closes };
Value read_list(Value terminator, AtEnd at_end);

// Reads and evaluates all forms of a byte stream, as a `Load` resource: Load-File is set to id, the
// current object is the root class, nothing polls. The forms may do with the text as they like: it is
// copied.
void load_bytes(const uint8_t* text, uint32_t length, Value id);

// Makes what the Lisp gives as a stream argument the current input and waits for something to read.
// The caller stands in a StreamInputFrame, which hands an unread character back to its stream.
struct StreamInputFrame : InputFrame {
    explicit StreamInputFrame(Value stream);
    ~StreamInputFrame();

private:
    bool kept_;  // the input is the one before
};

// A decimal text as `read` understands numbers: an integer or real, or nil.
Value read_number(const char* text);
Value read_integer(const char* text);

extern uint8_t dot_mark;

// The symbols that bytes of the compact form stand for: a `SYMB` resource (big-endian count, then
// NUL-terminated names) behind the eight that are always there. False, and the table as it was, when
// the names are fewer than the count says.
bool install_compact_symbols(const uint8_t* resource, uint32_t length);
void remove_compact_symbols();

// The value of a compact byte of classes 9 to 14, which has been used up; takes its operands.
Value read_compact(uint32_t byte);

// Functions of Lisp-defined macro characters, and of those that stand behind "#"; nil for none.
extern Value macro_characters[256];
extern Value dispatch_characters[256];

void init_reader();
void init_reader_primitives();  // called by init_reader
