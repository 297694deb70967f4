// Raster operations against their truth tables.
#include "canvas.h"

#include "platform/gdi/rop.h"

TEST(Rop, fast_rows_give_the_bits_of_the_truth_table)
{
    Random random(1);
    for (int rop = 0; rop < 256; rop++) {
        std::vector<uint8_t> target(90), source(90), pattern(90);
        for (auto* row : { &target, &source, &pattern })
            for (uint8_t& byte : *row)
                byte = uint8_t(random.next());
        const size_t first = size_t(random.below(40)), count = size_t(random.below(600));
        std::vector<uint8_t> plain = target;
        rop_row(uint8_t(rop), target.data(), source.data(), pattern.data(), first, count);
        rop_row_plain(uint8_t(rop), plain.data(), source.data(), pattern.data(), first, count);
        ASSERT_EQ(target, plain) << "rop " << rop << " from bit " << first << ", " << count;
    }
}

TEST(Rop, what_an_operation_uses_follows_from_its_table)
{
    EXPECT_FALSE(rop_uses_source(0xF0));
    EXPECT_TRUE(rop_uses_pattern(0xF0));
    EXPECT_FALSE(rop_uses_target(0xCC));
    EXPECT_TRUE(rop_uses_source(0xCC));
    EXPECT_TRUE(rop_uses_target(0x55));
    EXPECT_FALSE(rop_uses_pattern(0x55));
}

TEST(Rop, solid_rows_agree_with_pattern_rows_at_every_depth)
{
    Random random(2);
    for (int depth : { 1, 4, 8, 16, 24, 32 }) {
        for (int round = 0; round < 60; round++) {
            const int rop = random.below(256) & 0x33;
            const uint8_t no_source = uint8_t(rop | rop << 2);  // the source's bits made alike
            const uint32_t pixel = random.next() & (depth == 32 ? ~0u : (1u << depth) - 1);
            std::vector<uint8_t> a(600), pattern(600, 0);
            for (uint8_t& byte : a)
                byte = uint8_t(random.next());
            std::vector<uint8_t> b = a;
            const int x = random.below(20), n = random.below(100);
            std::vector<uint8_t> bits(600 * 8);
            for (int i = 0; i < x + n; i++) {
                for (int k = 0; k < depth; k++) {
                    // Pixels of 16 bits and more are little-endian bytes.
                    const int shift = depth < 8 ? depth - 1 - k : k / 8 * 8 + 7 - k % 8;
                    const int at = i * depth + k;
                    if (pixel >> shift & 1)
                        pattern[size_t(at / 8)] |= uint8_t(0x80 >> at % 8);
                }
            }
            solid_row(a.data(), depth, x, size_t(n), pixel_op(no_source, pixel));
            rop_row_plain(no_source, b.data(), nullptr, pattern.data(), size_t(x * depth),
                          size_t(n * depth));
            ASSERT_EQ(a, b) << "depth " << depth << " rop " << int(no_source);
        }
    }
}

// One pixel of each operand: every one of the 256 operations through BitBlt.
TEST(Rop, bitblt_combines_pattern_source_and_target)
{
    for (uint32_t rop = 0; rop < 256; rop++) {
        Canvas target(8, 1), source(8, 1);
        for (int i = 0; i < 8; i++) {
            SetPixel(source.dc, i, 0, i & 2 ? RGB(255, 255, 255) : 0);
            SetPixel(target.dc, i, 0, i & 1 ? RGB(255, 255, 255) : 0);
        }
        for (int p = 0; p < 2; p++) {
            target.brush(p ? RGB(255, 255, 255) : 0);
            BitBlt(target.dc, p * 4, 0, 4, 1, source.dc, p * 4, 0, rop << 16);
        }
        for (int i = 0; i < 8; i++)
            ASSERT_EQ(target.at(i, 0), rop >> i & 1 ? 0xFFFFFFu : 0u)
                << "rop " << rop << " at " << i;
    }
}

TEST(Rop, binary_codes_act_on_the_indices_of_a_table)
{
    Canvas canvas(16, 1, 8, { 0xFFFFFF, 0x000000, 0xFF0000 });
    canvas.pen(PS_SOLID, 1, RGB(255, 0, 0));
    for (int rop = 1; rop <= 16; rop++) {
        canvas.bits[rop - 1] = 1;  // target index 1, pen index 2
        SetROP2(canvas.dc, rop);
        MoveToEx(canvas.dc, rop - 1, 0, nullptr);
        LineTo(canvas.dc, rop, 0);
    }
    const uint8_t d = 1, p = 2;
    const uint8_t formula[16] = { 0, uint8_t(~(p | d)), uint8_t(~p & d), uint8_t(~p),
                                  uint8_t(p & ~d), uint8_t(~d), uint8_t(p ^ d), uint8_t(~(p & d)),
                                  uint8_t(p & d), uint8_t(~(p ^ d)), d, uint8_t(~p | d), p,
                                  uint8_t(p | ~d), uint8_t(p | d), 0xFF };
    for (int i = 0; i < 16; i++)
        EXPECT_EQ(canvas.bits[i], formula[i]) << "code " << i + 1;
}
