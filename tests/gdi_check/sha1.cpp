#include "sha1.h"

#include <cstring>
#include <vector>

static uint32_t rotate(uint32_t v, int n)
{
    return v << n | v >> (32 - n);
}

static void take_block(uint32_t h[5], const uint8_t* p)
{
    uint32_t w[80];
    for (int i = 0; i < 16; i++)
        w[i] = uint32_t(p[4 * i]) << 24 | uint32_t(p[4 * i + 1]) << 16 | uint32_t(p[4 * i + 2]) << 8
               | p[4 * i + 3];
    for (int i = 16; i < 80; i++)
        w[i] = rotate(w[i - 3] ^ w[i - 8] ^ w[i - 14] ^ w[i - 16], 1);
    uint32_t a = h[0], b = h[1], c = h[2], d = h[3], e = h[4];
    for (int i = 0; i < 80; i++) {
        uint32_t f, k;
        if (i < 20)
            f = (b & c) | (~b & d), k = 0x5A827999;
        else if (i < 40)
            f = b ^ c ^ d, k = 0x6ED9EBA1;
        else if (i < 60)
            f = (b & c) | (b & d) | (c & d), k = 0x8F1BBCDC;
        else
            f = b ^ c ^ d, k = 0xCA62C1D6;
        const uint32_t t = rotate(a, 5) + f + e + k + w[i];
        e = d, d = c, c = rotate(b, 30), b = a, a = t;
    }
    h[0] += a, h[1] += b, h[2] += c, h[3] += d, h[4] += e;
}

std::string sha1_hex(const uint8_t* data, size_t size)
{
    uint32_t h[5] = { 0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0 };
    size_t done = 0;
    for (; done + 64 <= size; done += 64)
        take_block(h, data + done);
    std::vector<uint8_t> tail(data + done, data + size);
    tail.push_back(0x80);
    tail.resize((tail.size() + 8 + 63) / 64 * 64);
    for (size_t i = 0; i < 8; i++)
        tail[tail.size() - 1 - i] = uint8_t(uint64_t(size) * 8 >> 8 * i);
    for (size_t i = 0; i < tail.size(); i += 64)
        take_block(h, tail.data() + i);
    std::string out;
    for (const uint32_t word : h)
        for (int shift = 28; shift >= 0; shift -= 4)
            out.push_back("0123456789abcdef"[word >> shift & 15]);
    return out;
}
