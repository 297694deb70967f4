// Raster operations on packed rows. All of them work on bits, so one loop serves every depth:
// source and pattern only have to stand in the target's format, at the target's bit positions.
//
// A ternary code's byte is its truth table: bit 4P + 2S + D.
#pragma once

#include <cstddef>
#include <cstdint>

inline uint8_t rop_byte(uint32_t code)
{
    return uint8_t(code >> 16);
}

inline bool rop_uses_pattern(uint8_t rop)
{
    return (rop >> 4) != (rop & 0xF);
}

inline bool rop_uses_source(uint8_t rop)
{
    return (rop >> 2 & 0x33) != (rop & 0x33);
}

inline bool rop_uses_target(uint8_t rop)
{
    return (rop >> 1 & 0x55) != (rop & 0x55);
}

// The ternary byte of a binary operation 1..16.
uint8_t rop_of_rop2(int rop2);

// Applies the operation to `bits` bits from bit `first` of the target row on (bit 0 is the high bit
// of byte 0). Source and pattern rows have the same bit positions; one that the operation doesn't
// use may be null.
void rop_row(uint8_t rop, uint8_t* target, const uint8_t* source, const uint8_t* pattern,
             size_t first, size_t bits);

// The same, one bit at a time from the truth table: what the fast rows are tested against.
void rop_row_plain(uint8_t rop, uint8_t* target, const uint8_t* source, const uint8_t* pattern,
                   size_t first, size_t bits);

// An operation with one pattern pixel and no source: every pixel d becomes (d & keep) ^ flip.
struct PixelOp {
    uint32_t keep, flip;
};
PixelOp pixel_op(uint8_t rop, uint32_t pattern_pixel);

// Applies it to n pixels of a packed row, from pixel x on.
void solid_row(uint8_t* row, int bits, int x, size_t n, PixelOp op);
