// The table as a fresh interpreter has it.
#include "kernel/syntax_table.h"

#include <cstring>

uint8_t syntax_table[256];

static void set_class(const char* characters, SyntaxClass syntax)
{
    for (; *characters; ++characters)
        syntax_table[static_cast<uint8_t>(*characters)] = syntax;
}

static void set_range(int first, int last, SyntaxClass syntax)
{
    memset(syntax_table + first, syntax, last - first + 1);
}

void reset_syntax_table()
{
    set_range(0x20, 0xff, kSyntaxLetter);
    set_class("\\", kSyntaxEscape);
    set_class("([", kSyntaxOpen);
    set_class(")]", kSyntaxClose);
    set_class(".|", kSyntaxDot);
    set_class("#&':_", kSyntaxMacro);
    set_class("\"", kSyntaxString);
    set_class("0123456789", kSyntaxDigit);
    set_class("+-Ee", kSyntaxSign);
    set_class("{", kSyntaxOpenBrace);
    set_class("}", kSyntaxCloseBrace);
    set_class(";", kSyntaxComment);
    set_class(" ", kSyntaxBlank);

    set_range(0x00, 0x07, kSyntaxEntry);
    set_range(0x08, 0x08, kSyntaxFarSymbol);
    set_class("\t", kSyntaxBlank);
    set_class("\n\r", kSyntaxLineEnd);
    set_range(0x0b, 0x0b, kSyntaxByte);
    set_range(0x0c, 0x0c, kSyntaxWord);
    set_range(0x0e, 0x0e, kSyntaxVariable);
    set_range(0x0f, 0x1f, kSyntaxNearSymbol);
}
