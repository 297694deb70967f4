#include "platform/gdi/rop.h"

#include <array>
#include <cstring>
#include <utility>

// Two words at a time: what every 64-bit machine has as one register.
typedef uint64_t Vector __attribute__((vector_size(16)));
static constexpr size_t kVector = sizeof(Vector);

// A function of one variable from its two table bits, of two from four, of three from eight.
template <unsigned Table, class T> static inline T apply1(const T& d)
{
    if constexpr (Table == 0)
        return d ^ d;
    else if constexpr (Table == 1)
        return ~d;
    else if constexpr (Table == 2)
        return d;
    else
        return ~(d ^ d);
}

template <unsigned Table, class T> static inline T apply2(const T& s, const T& d)
{
    constexpr unsigned zero = Table & 3, one = Table >> 2;
    if constexpr (zero == one)
        return apply1<zero>(d);
    else
        return T((s & apply1<one>(d)) | (~s & apply1<zero>(d)));
}

template <unsigned Table, class T> static inline T apply3(const T& p, const T& s, const T& d)
{
    constexpr unsigned zero = Table & 15, one = Table >> 4;
    if constexpr (zero == one)
        return apply2<zero>(s, d);
    else
        return T((p & apply2<one>(s, d)) | (~p & apply2<zero>(s, d)));
}

template <unsigned Table>
static void rop_bytes(uint8_t* target, const uint8_t* source, const uint8_t* pattern, size_t n)
{
    size_t i = 0;
    for (; i + kVector <= n; i += kVector) {
        Vector d, s, p;
        memcpy(&d, target + i, kVector);
        memcpy(&s, source + i, kVector);
        memcpy(&p, pattern + i, kVector);
        const Vector r = apply3<Table>(p, s, d);
        memcpy(target + i, &r, kVector);
    }
    for (; i < n; i++)
        target[i] = uint8_t(apply3<Table, unsigned>(pattern[i], source[i], target[i]));
}

using ByteRow = void (*)(uint8_t*, const uint8_t*, const uint8_t*, size_t);

template <size_t... Table>
static constexpr std::array<ByteRow, 256> all_rops(std::index_sequence<Table...>)
{
    return { rop_bytes<unsigned(Table)>... };
}

static constexpr std::array<ByteRow, 256> byte_rows = all_rops(std::make_index_sequence<256>());

uint8_t rop_of_rop2(int rop2)
{
    const unsigned table = unsigned(rop2 - 1) & 15;  // bit 2P + D
    const unsigned zero = table & 3, one = table >> 2;
    return uint8_t(zero | zero << 2 | one << 4 | one << 6);
}

// Rows of one operation over whole bytes; copies go to the library's own.
static void run_bytes(uint8_t rop, uint8_t* target, const uint8_t* source, const uint8_t* pattern,
                      size_t n)
{
    if (rop == 0xCC)
        memcpy(target, source, n);
    else if (rop == 0xF0)
        memcpy(target, pattern, n);
    else if (rop == 0x00 || rop == 0xFF)
        memset(target, rop, n);
    else if (rop != 0xAA)
        byte_rows[rop](target, source, pattern, n);
}

static void run_masked(uint8_t rop, uint8_t* target, const uint8_t* source, const uint8_t* pattern,
                       unsigned mask)
{
    uint8_t result = *target;
    byte_rows[rop](&result, source, pattern, 1);
    *target = uint8_t((*target & ~mask) | (result & mask));
}

void rop_row(uint8_t rop, uint8_t* target, const uint8_t* source, const uint8_t* pattern,
             size_t first, size_t bits)
{
    if (bits == 0)
        return;
    size_t at = first >> 3;
    const size_t end = first + bits;
    const uint8_t* s = source ? source : target;
    const uint8_t* p = pattern ? pattern : target;
    const unsigned head = 0xFFu >> (first & 7), tail = ~(0xFFu >> (end & 7)) & 0xFF;
    if (at == end >> 3) {
        run_masked(rop, target + at, s + at, p + at, head & tail);
        return;
    }
    if (first & 7) {
        run_masked(rop, target + at, s + at, p + at, head);
        at++;
    }
    run_bytes(rop, target + at, s + at, p + at, (end >> 3) - at);
    at = end >> 3;
    if (tail)
        run_masked(rop, target + at, s + at, p + at, tail);
}

void rop_row_plain(uint8_t rop, uint8_t* target, const uint8_t* source, const uint8_t* pattern,
                   size_t first, size_t bits)
{
    const auto bit = [](const uint8_t* row, size_t i) {
        return row ? unsigned(row[i >> 3] >> (7 - (i & 7)) & 1) : 0;
    };
    for (size_t i = first; i < first + bits; i++) {
        const unsigned index = 4 * bit(pattern, i) + 2 * bit(source, i) + bit(target, i);
        const unsigned result = rop >> index & 1;
        uint8_t& byte = target[i >> 3];
        byte = uint8_t((byte & ~(0x80 >> (i & 7))) | result << (7 - (i & 7)));
    }
}

PixelOp pixel_op(uint8_t rop, uint32_t pattern_pixel)
{
    // With the source left out, table bits 0, 1 stand for P = 0 and bits 4, 5 for P = 1.
    const uint32_t p = pattern_pixel;
    const auto pick = [&](unsigned at) {
        return (rop >> at & 1 ? ~p : 0) | (rop >> (at + 4) & 1 ? p : 0);
    };
    const uint32_t of_zero = pick(0), of_one = pick(1);
    return { of_zero ^ of_one, of_zero };
}

// The three words that a 24-bit value fills before it repeats.
static void spread24(uint32_t value, uint64_t out[3])
{
    uint8_t bytes[24];
    for (int i = 0; i < 24; i++)
        bytes[i] = uint8_t(value >> i % 3 * 8);
    memcpy(out, bytes, 24);
}

static void solid_row24(uint8_t* p, size_t n, PixelOp op)
{
    uint64_t keep[3], flip[3];
    spread24(op.keep, keep);
    spread24(op.flip, flip);
    for (; n >= 8; n -= 8, p += 24) {
        uint64_t d[3];
        memcpy(d, p, 24);
        for (int k = 0; k < 3; k++)
            d[k] = (d[k] & keep[k]) ^ flip[k];
        memcpy(p, d, 24);
    }
    for (; n > 0; n--, p += 3)
        for (int k = 0; k < 3; k++)
            p[k] = uint8_t((p[k] & op.keep >> 8 * k) ^ op.flip >> 8 * k);
}

static uint32_t spread(uint32_t value, int bits)
{
    for (value &= bits == 32 ? ~0u : (1u << bits) - 1; bits < 32; bits *= 2)
        value |= value << bits;
    return value;
}

#if defined(__x86_64__)
// Long fills go through the string store, which writes whole lines without reading them first.
static size_t long_fill(uint8_t* p, size_t n, uint64_t word)
{
    size_t count = n / 8;
    asm volatile("rep stosq" : "+D"(p), "+c"(count) : "a"(word) : "memory");
    return n & ~size_t(7);
}
static constexpr size_t kLongFill = 1024;
#else
static size_t long_fill(uint8_t*, size_t, uint64_t)
{
    return 0;
}
static constexpr size_t kLongFill = ~size_t(0);
#endif

// keep and flip repeat every 4 bytes, from p on.
static void solid_bytes(uint8_t* p, size_t n, uint32_t keep32, uint32_t flip32)
{
    const uint64_t keep = keep32 | uint64_t(keep32) << 32, flip = flip32 | uint64_t(flip32) << 32;
    if (keep == 0) {
        if (flip32 == (flip32 & 255) * 0x01010101u) {
            memset(p, int(flip32 & 255), n);
            return;
        }
        if (n >= kLongFill) {
            const size_t done = long_fill(p, n, flip);
            p += done, n -= done;
        }
        const Vector f = { flip, flip };
        for (; n >= kVector; n -= kVector, p += kVector)
            memcpy(p, &f, kVector);
        for (; n >= 4; n -= 4, p += 4)
            memcpy(p, &flip32, 4);
    } else {
        const Vector k = { keep, keep }, f = { flip, flip };
        for (; n >= kVector; n -= kVector, p += kVector) {
            Vector d;
            memcpy(&d, p, kVector);
            d = (d & k) ^ f;
            memcpy(p, &d, kVector);
        }
    }
    for (size_t i = 0; i < n; i++)
        p[i] = uint8_t((p[i] & keep32 >> 8 * (i & 3)) ^ flip32 >> 8 * (i & 3));
}

void solid_row(uint8_t* row, int bits, int x, size_t n, PixelOp op)
{
    if (bits == 24) {
        solid_row24(row + 3 * ptrdiff_t(x), n, op);
        return;
    }
    const uint32_t keep = spread(op.keep, bits), flip = spread(op.flip, bits);
    const size_t first = size_t(x) * size_t(bits), end = first + n * size_t(bits);
    size_t at = first >> 3;
    const auto masked = [&](size_t byte, unsigned mask) {
        const unsigned d = row[byte];
        row[byte] = uint8_t((d & ~mask) | (((d & keep) ^ flip) & mask));
    };
    const unsigned head = 0xFFu >> (first & 7), tail = ~(0xFFu >> (end & 7)) & 0xFF;
    if (n == 0)
        return;
    if (at == end >> 3) {
        masked(at, head & tail);
        return;
    }
    if (first & 7)
        masked(at++, head);
    solid_bytes(row + at, (end >> 3) - at, keep, flip);
    if (tail)
        masked(end >> 3, tail);
}
