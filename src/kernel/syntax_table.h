// The class of each character code, which steers the reader and the printer's escapes. `typech` and
// `dmc` change it at run time.
#pragma once

#include <cstdint>

enum SyntaxClass : uint8_t {
    kSyntaxEscape = 0,         // quotes the next character in an atom or a string
    kSyntaxOpen = 1,
    kSyntaxClose = 2,
    kSyntaxDot = 3,            // a token where a form begins, a constituent inside a symbol
    kSyntaxMacro = 4,
    kSyntaxString = 5,
    kSyntaxLetter = 6,
    kSyntaxDigit = 7,
    kSyntaxSign = 8,           // what a number may hold beside digits: + - E e
    kSyntaxEntry = 9,          // 9 to 14: the compact form
    kSyntaxNearSymbol = 10,
    kSyntaxFarSymbol = 11,
    kSyntaxByte = 12,
    kSyntaxWord = 13,
    kSyntaxVariable = 14,
    kSyntaxOtherClose = 15,
    kSyntaxIllegal = 16,
    kSyntaxOpenBrace = 17,
    kSyntaxCloseBrace = 18,
    kSyntaxComment = 19,       // 19 and up stand between forms
    kSyntaxLineEnd = 20,
    kSyntaxBlank = 21,
};

constexpr uint8_t kLastSyntaxClass = kSyntaxBlank;

extern uint8_t syntax_table[256];

void reset_syntax_table();
