// The compact form of Lisp source: the same text with names, small integers and variables replaced
// by bytes below 0x20 that refer to a table of names. Comments and needless blanks go. What reads
// it is the reader itself, so both forms give the same forms.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// The names of an Image file's `SYMB` resource, in the order of their first use.
class SymbolTable {
public:
    SymbolTable();

    // Index of the name as the compact form counts, the eight fixed names first; -1 when full.
    int index_of(std::string_view name);

    // A big-endian count and that many names, each with a NUL.
    std::string resource() const;
    size_t count() const { return names_.size(); }

private:
    std::map<std::string, int, std::less<>> indexes_;
    std::vector<std::string> names_; // without the fixed ones
};

// text is in the reader's form. Names that a macro character of the text may cut (with "`" or ",")
// stay as they are, and so does all that is not a plain symbol, variable, keyword or integer.
std::string compact_load(std::string_view text, SymbolTable* symbols);

// Null, or what is wrong with a compact text: a reference past the table, or one that is cut off.
const char* check_compact_load(std::string_view load, size_t symbol_count);
