// Big-endian numbers at any address, as all Macintosh formats hold them.
#pragma once

#include <cstdint>

inline uint16_t get_be16(const uint8_t* at)
{
    return static_cast<uint16_t>(at[0] << 8 | at[1]);
}

inline uint32_t get_be32(const uint8_t* at)
{
    return uint32_t(at[0]) << 24 | uint32_t(at[1]) << 16 | uint32_t(at[2]) << 8 | at[3];
}

inline void put_be16(uint8_t* at, uint16_t value)
{
    at[0] = static_cast<uint8_t>(value >> 8);
    at[1] = static_cast<uint8_t>(value);
}

inline void put_be32(uint8_t* at, uint32_t value)
{
    put_be16(at, static_cast<uint16_t>(value >> 16));
    put_be16(at + 2, static_cast<uint16_t>(value));
}

// Exchanges the two low bytes; the caller uses the low 16 bits.
inline uint32_t SwapWord(uint32_t x)
{
    return (x & 0xff) << 8 | (x >> 8 & 0xff);
}

// Reverses the four bytes.
inline uint32_t SwapLong(uint32_t x)
{
    return __builtin_bswap32(x);
}
