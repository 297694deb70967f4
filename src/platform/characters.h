// Tables of the 256 characters: case, accents, order, and the way between Macintosh, ANSI
// (Windows-1252) and ISO text. Strings are ANSI at run time.
#pragma once

#include <cstdint>

struct CharacterTable {
    uint8_t at[256];

    constexpr uint8_t operator[](uint8_t c) const { return at[c]; }
};

extern const CharacterTable upper_table;
extern const CharacterTable lower_table;
extern const CharacterTable accent_table;  // letters without their accents
extern const CharacterTable order_table;   // plain letters without accents and in upper case

// 0 stands for a character that has no equivalent.
extern const CharacterTable mac_to_ansi;
extern const CharacterTable ansi_to_mac;
extern const CharacterTable iso_to_mac;

// Letters, digits and the letters above 0xc0.
bool is_alphabetic(uint8_t c);

// Negative, 0 or positive: folded texts first, raw bytes where these are equal.
int compare_collated(const char* a, const char* b);
// Whether two NUL-terminated texts are equal through a table.
bool equal_through(const CharacterTable& table, const char* a, const char* b);
