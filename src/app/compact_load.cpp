#include "app/compact_load.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

// Entries 0 to 7 of every table.
static const char* const kFixedNames[] = { "define", "quote",   "set!", "t",
                                           "nil",    "defslot", "when", "let" };
static constexpr int kFixedCount = 8;
static constexpr int kShortReferences = 17 * 256; // behind the fixed ones
static constexpr int kMostEntries = 65536;

static constexpr char kByteLong = 0x08;
static constexpr char kByteInteger8 = 0x0b;
static constexpr char kByteInteger16 = 0x0c;
static constexpr char kByteVariable = 0x0e;
static constexpr char kByteShort = 0x0f; // to 0x1f

SymbolTable::SymbolTable()
{
    for (int i = 0; i < kFixedCount; i++)
        indexes_[kFixedNames[i]] = i;
}

int SymbolTable::index_of(std::string_view name)
{
    const auto found = indexes_.find(name);
    if (found != indexes_.end())
        return found->second;
    const int index = static_cast<int>(names_.size()) + kFixedCount;
    if (index >= kMostEntries)
        return -1;
    names_.emplace_back(name);
    indexes_.emplace(name, index);
    return index;
}

std::string SymbolTable::resource() const
{
    std::string bytes;
    bytes += static_cast<char>(names_.size() >> 8);
    bytes += static_cast<char>(names_.size());
    for (const std::string& name : names_) {
        bytes += name;
        bytes += '\0';
    }
    return bytes;
}

// ---- Writing

static bool is_blank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// What ends a token for the default syntax table. "#" and the like are constituents of no token.
static bool ends_token(char c)
{
    return is_blank(c) || static_cast<uint8_t>(c) < ' ' ||
           std::string_view("()[]\"#&':_{};").find(c) != std::string_view::npos;
}

// Whether a token reads as one plain symbol under any table that a program is likely to set up.
static bool is_plain_name(std::string_view token)
{
    if (token.empty() || token.size() > 255)
        return false;
    bool digit = false;
    bool other = false;
    for (const char c : token) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        const bool is_digit = c >= '0' && c <= '9';
        if (!letter && !is_digit &&
            std::string_view("!$%*/<=>?@^~+-.").find(c) == std::string_view::npos)
            return false;
        digit |= is_digit;
        other |= (letter && c != 'e' && c != 'E') ||
                 (!letter && !is_digit && c != '+' && c != '-' && c != '.');
    }
    // Digits among signs and exponents may be a number; a leading dot is a token of its own.
    return (other || !digit) && token[0] != '.';
}

static bool is_integer(std::string_view token, int* value)
{
    const std::string_view digits = token.substr(!token.empty() && token[0] == '-');
    if (digits.empty() || digits.size() > 5 ||
        digits.find_first_not_of("0123456789") != std::string_view::npos)
        return false;
    *value = atoi(std::string(token).c_str());
    return *value >= -32768 && *value <= 32767;
}

namespace {

class Compactor {
public:
    Compactor(std::string_view text, SymbolTable* symbols) : text_(text), symbols_(symbols) {}

    std::string run()
    {
        while (at_ < text_.size())
            step();
        return std::move(out_);
    }

private:
    void step()
    {
        const char c = text_[at_];
        if (is_blank(c)) {
            at_++;
        } else if (c == ';') {
            while (at_ < text_.size() && text_[at_] != '\r' && text_[at_] != '\n')
                at_++;
        } else if (c == '"') {
            copy_string();
        } else if (c == '#') {
            copy_dispatch();
        } else if (c == ':') {
            const std::string_view token = token_at(at_ + 1);
            write_name(token, text_.substr(at_, token.size() + 1), 0);
        } else if (c == '_') {
            const std::string_view token = token_at(at_ + 1);
            write_name(token, token, kByteVariable);
        } else if (ends_token(c) || c == '.' || c == '|') {
            copy(1);
        } else {
            write_token(token_at(at_));
        }
    }

    std::string_view token_at(size_t start) const
    {
        size_t end = start;
        while (end < text_.size() && !ends_token(text_[end]))
            end += text_[end] == '\\' && end + 1 < text_.size() ? 2 : 1;
        return text_.substr(start, end - start);
    }

    // Copies what stands here as it is, with a blank between two tokens that would run together.
    void copy(size_t length)
    {
        const std::string_view piece = text_.substr(at_, length);
        if (after_token_ && !ends_token(piece[0]))
            out_ += ' ';
        out_ += piece;
        at_ += length;
        after_token_ = !ends_token(piece.back());
    }

    void copy_string()
    {
        size_t end = at_ + 1;
        while (end < text_.size() && text_[end] != '"')
            end += text_[end] == '\\' ? 2 : 1;
        copy(std::min(end + 1, text_.size()) - at_);
        after_token_ = false;
    }

    // A character's name belongs to its "#\", and so does a single character of any kind.
    void copy_dispatch()
    {
        if (at_ + 1 >= text_.size() || text_[at_ + 1] != '\\') {
            copy(1);
            after_token_ = true; // whatever stands behind "#" must stay right there
            if (at_ < text_.size() && !is_blank(text_[at_])) {
                out_ += text_[at_++];
                after_token_ = false;
            }
            return;
        }
        const size_t length = 2 + token_at(at_ + 2).size();
        copy(std::min(length == 2 ? size_t{ 3 } : length, text_.size() - at_));
        after_token_ = true;
    }

    void write_token(std::string_view token)
    {
        int value;
        if (is_integer(token, &value)) {
            if (value >= -128 && value <= 127) {
                out_ += kByteInteger8;
            } else {
                out_ += kByteInteger16;
                out_ += static_cast<char>(value >> 8);
            }
            out_ += static_cast<char>(value);
            at_ += token.size();
            after_token_ = false;
        } else {
            write_name(token, token, 0);
        }
    }

    // token must read as a plain symbol to be replaced; name is what the table holds.
    void write_name(std::string_view token, std::string_view name, char variable)
    {
        const size_t length = token.data() + token.size() - (text_.data() + at_);
        const int index = is_plain_name(token) ? symbols_->index_of(name) : -1;
        if (index < 0) {
            copy(length);
            return;
        }
        at_ += length;
        after_token_ = false;
        if (variable) {
            write_reference(variable, index);
        } else if (index < kFixedCount) {
            out_ += static_cast<char>(index);
        } else if (index < kFixedCount + kShortReferences) {
            out_ += static_cast<char>(kByteShort + (index - kFixedCount) / 256);
            out_ += static_cast<char>((index - kFixedCount) % 256);
        } else {
            write_reference(kByteLong, index);
        }
    }

    void write_reference(char kind, int index)
    {
        out_ += kind;
        out_ += static_cast<char>(index >> 8);
        out_ += static_cast<char>(index);
    }

    const std::string_view text_;
    SymbolTable* const symbols_;
    size_t at_ = 0;
    std::string out_;
    bool after_token_ = false; // what was written last would run into a token behind it
};

} // namespace

std::string compact_load(std::string_view text, SymbolTable* symbols)
{
    return Compactor(text, symbols).run();
}

// ---- Checking

// Bytes behind a first byte of the compact form.
static size_t operand_length(uint8_t byte)
{
    switch (byte) {
    case kByteLong:
    case kByteInteger16:
    case kByteVariable:
        return 2;
    case kByteInteger8:
        return 1;
    default:
        return byte >= kByteShort && byte < ' ' ? 1 : 0;
    }
}

const char* check_compact_load(std::string_view load, size_t symbol_count)
{
    const size_t entries = symbol_count + kFixedCount;
    for (size_t i = 0; i < load.size(); i++) {
        const uint8_t byte = static_cast<uint8_t>(load[i]);
        if (byte == ';') {
            while (i < load.size() && load[i] != '\r' && load[i] != '\n')
                i++;
            continue;
        }
        if (byte == '"') {
            for (i++; i < load.size() && load[i] != '"'; i++)
                i += load[i] == '\\';
            if (i >= load.size())
                return "a string is not closed";
            continue;
        }
        if (byte == '\\') {
            i++;
            continue;
        }
        const size_t length = operand_length(byte);
        if (length == 0)
            continue;
        if (i + length >= load.size())
            return "a reference is cut off";
        const auto at = [&](size_t k) { return size_t{ static_cast<uint8_t>(load[i + k]) }; };
        const bool is_name = byte == kByteLong || byte == kByteVariable;
        const bool is_short = byte >= kByteShort;
        const size_t index = is_name    ? at(1) << 8 | at(2)
                             : is_short ? (byte - 15u) * 256 + 8 + at(1)
                                        : 0;
        if (index >= entries)
            return "a reference is past the symbol table";
        i += length;
    }
    return nullptr;
}
