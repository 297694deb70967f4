// Text of other systems turned into the run-time's own and back, in place. A text that holds a byte
// without equivalent is left as it was.
#pragma once

#include <cstdint>

#include "platform/characters.h"

// Whether bytes below 0x20 may be codes of the compact form, which stay as they are with what
// follows them.
enum class CompactText { no, yes };

constexpr int kAllConverted = -1;

// Byte for byte, line ends too. Answers the first byte without equivalent, or kAllConverted.
int translate_text(const CharacterTable& table, uint8_t* text, uint32_t length,
                   CompactText compact);

// How long a Mac text becomes when each carriage return gets its line feed. A text that holds a
// line feed is taken as converted.
bool has_line_feed(const uint8_t* text, uint32_t length);
uint32_t length_with_line_feeds(const uint8_t* text, uint32_t length);

// Mac to ANSI with line feeds; text must have room for length_with_line_feeds. Answers the last
// byte without equivalent, or kAllConverted.
int convert_mac_text(uint8_t* text, uint32_t length, CompactText compact);

// ANSI to Mac: line feeds beside a carriage return are dropped, others become one; a byte without
// equivalent becomes 0. Answers the new length.
uint32_t convert_ansi_text(uint8_t* text, uint32_t length);

uint32_t remove_line_feeds(uint8_t* text, uint32_t length);
