// Numbers as characters, apart from any output.
#pragma once

#include <cstdint>

#include "kernel/value.h"

constexpr uint32_t kNumberTextSize = 32;

// All write NUL-terminated text of at most kNumberTextSize bytes and answer its length.
uint32_t integer_text(int32_t i, char* text);
uint32_t unsigned_text(uint32_t u, char* text);
// 15 significant digits, with the dot mark as point; what would look like an integer gets a "0"
// behind a dot mark.
uint32_t real_text(double d, char* text);

// By the tag: address, integer, long, unsigned-long or real.
uint32_t number_text(Value v, char* text);
