// Patterns of Lisp data against expressions in a buffer of source text. An expression is known by
// its offsets, from its first byte to behind its last; nothing is read outside the buffer.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "kernel/frames.h"
#include "kernel/primitive.h"
#include "kernel/symbols.h"
#include "library/list_walk.h"
#include "library/memory_arguments.h"
#include "logic/logic.h"

static Value symbol_token;

// ---- Reading expressions

struct Expression {
    int32_t start;
    int32_t end;  // -1: none
    bool exists() const { return end >= 0; }
};

static bool is_closer(char c) { return c == ')' || c == ']'; }
static bool is_opener(char c) { return c == '(' || c == '['; }
static bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
static bool is_prefix(char c) { return c != 0 && strchr("'`,@#", c); }
static bool is_delimiter(char c)
{
    return is_blank(c) || is_opener(c) || is_closer(c) || is_prefix(c) || c == '"' || c == ';';
}

class SourceText {
public:
    SourceText(const char* bytes, int32_t length) : bytes_(bytes), length_(length) {}

    char at(int32_t i) const { return bytes_[i]; }
    const char* bytes(int32_t i) const { return bytes_ + i; }
    int32_t clip(int32_t i) const { return std::clamp(i, 0, length_); }

    // Behind blanks, comments and escaped characters, and behind closing brackets if asked for.
    int32_t skip(int32_t i, bool closers) const;
    Expression read(int32_t i) const;
    // Where the search goes on in the expression itself, or behind it when it holds no others.
    int32_t step_into(Expression last) const;

private:
    int32_t string_end(int32_t i) const;
    int32_t bracket_end(int32_t i) const;
    int32_t comment_end(int32_t i) const;

    const char* const bytes_;
    const int32_t length_;
};

int32_t SourceText::comment_end(int32_t i) const
{
    while (i < length_ && bytes_[i] != '\r' && bytes_[i] != '\n')
        ++i;
    return i;
}

int32_t SourceText::skip(int32_t i, bool closers) const
{
    while (i < length_) {
        const char c = bytes_[i];
        if (c == ';')
            i = comment_end(i);
        else if (c == '\\')
            i = std::min(i, length_ - 2) + 2;
        else if (is_blank(c) || (closers && is_closer(c)))
            ++i;
        else
            break;
    }
    return i;
}

// i stands on the opening quote.
int32_t SourceText::string_end(int32_t i) const
{
    for (++i; i < length_; ++i) {
        if (bytes_[i] == '\\')
            ++i;
        else if (bytes_[i] == '"')
            return i + 1;
    }
    return -1;
}

// Both kinds of brackets count alike, so a number is all that depth needs.
int32_t SourceText::bracket_end(int32_t i) const
{
    int32_t depth = 0;
    while (i < length_) {
        const char c = bytes_[i];
        if (c == '"') {
            i = string_end(i);
            if (i < 0)
                return -1;
            continue;
        }
        if (c == ';') {
            i = comment_end(i);
            continue;
        }
        i += c == '\\' ? 2 : 1;
        if (is_opener(c))
            ++depth;
        else if (is_closer(c) && --depth == 0)
            return i;
    }
    return -1;
}

Expression SourceText::read(int32_t i) const
{
    const int32_t start = skip(i, false);
    i = start;
    while (i < length_ && is_prefix(bytes_[i]))
        i = skip(i + 1, false);
    if (i >= length_ || is_closer(bytes_[i]))
        return { start, -1 };
    if (bytes_[i] == '"')
        return { start, string_end(i) };
    if (is_opener(bytes_[i]))
        return { start, bracket_end(i) };
    while (i < length_ && !is_delimiter(bytes_[i]))
        i += bytes_[i] == '\\' ? 2 : 1;
    return { start, std::min(i, length_) };
}

int32_t SourceText::step_into(Expression last) const
{
    const bool holds_others = last.start < last.end &&
                              (is_opener(bytes_[last.start]) || is_prefix(bytes_[last.start]));
    return holds_others ? last.start + 1 : last.end;
}

// ---- Matching

// How many expressions of a list a wildcard takes.
enum WildcardKind : uint32_t { kTakesOne = 0, kTakesSome = 1, kTakesAny = 2 };

class TextMatcher {
public:
    TextMatcher(const SourceText& buffer, bool binding)
        : buffer_(buffer), token_(symbol_value(symbol_token)), binding_(binding)
    {
    }

    bool matches(Value pattern, Expression text);

    // (pattern start . end) for each wildcard, the last one first.
    Value bindings() const { return bindings_; }

private:
    bool matches_items(Value pattern, int32_t place);
    bool matches_run(Value pattern, int32_t place);
    bool matches_tail(Value pattern, int32_t place);
    bool is_wildcard(Value v) const { return is_pair(v) && is_pair(token_) && car_of(v) == token_; }
    WildcardKind kind_of(Value wildcard) const;
    void bind(Value pattern, int32_t start, int32_t end);

    const SourceText& buffer_;
    const Value token_;
    const bool binding_;
    Value bindings_;
};

static Value offsets(Value pattern, int32_t start, int32_t end)
{
    const Value first = make_integer(start);
    const Value last = make_integer(end);
    return cons(pattern, cons(first, last));
}

void TextMatcher::bind(Value pattern, int32_t start, int32_t end)
{
    if (binding_)
        bindings_ = cons(offsets(pattern, start, end), bindings_);
}

WildcardKind TextMatcher::kind_of(Value wildcard) const
{
    const Value rest = cdr_of(wildcard);
    const uint32_t kind = is_pair(rest) ? car_of(rest).bits() & 0xffff : 0;
    return kind == kTakesSome || kind == kTakesAny ? static_cast<WildcardKind>(kind) : kTakesOne;
}

static bool same_bytes(const SourceText& buffer, int32_t start, int32_t end, const char* text)
{
    const size_t length = strlen(text);
    return length == static_cast<size_t>(end - start) &&
           memcmp(buffer.bytes(start), text, length) == 0;
}

static bool atom_matches(const SourceText& buffer, Value pattern, Expression text)
{
    if (is_symbol(pattern))
        return same_bytes(buffer, text.start, text.end, symbol_chars(pattern));
    char digits[16];
    if (pattern.tag() == kTagUnsignedLong)
        snprintf(digits, sizeof digits, "%u", unsigned_value(pattern));
    else if (is_fixnum(pattern) || pattern.tag() == kTagLong)
        snprintf(digits, sizeof digits, "%d", integer_value(pattern));
    else
        return false;
    return same_bytes(buffer, text.start, text.end, digits);
}

bool TextMatcher::matches(Value pattern, Expression text)
{
    check_stack();
    if (is_wildcard(pattern)) {
        bind(pattern, text.start, text.end);
        return true;
    }
    if (text.start >= text.end)
        return false;
    const char c = buffer_.at(text.start);
    if (is_opener(c))
        return pattern.tag() == kTagList && matches_items(pattern, text.start + 1);
    if (c == '"')
        return is_string(pattern) && text.end - text.start >= 2 &&
               same_bytes(buffer_, text.start + 1, text.end - 1, string_chars(pattern));
    return !is_delimiter(c) && atom_matches(buffer_, pattern, text);
}

// The expressions from place to the closing bracket against the rest of a list pattern.
bool TextMatcher::matches_items(Value pattern, int32_t place)
{
    for (; is_pair(pattern) && !is_wildcard(pattern); pattern = cdr_of(pattern)) {
        check_stack();
        const Value item = car_of(pattern);
        if (is_wildcard(item) && kind_of(item) != kTakesOne)
            return matches_run(pattern, place);
        const Expression text = buffer_.read(place);
        if (!text.exists() || !matches(item, text))
            return false;
        place = text.end;
    }
    return pattern == nil ? !buffer_.read(place).exists() : matches_tail(pattern, place);
}

// The wildcard that begins the pattern takes the shortest run of expressions behind which the rest
// of the pattern matches, or what is left when it stands last.
bool TextMatcher::matches_run(Value pattern, int32_t place)
{
    const Value wildcard = car_of(pattern);
    const Value rest = cdr_of(pattern);
    const Value bound_before = bindings_;
    const Expression first = buffer_.read(place);
    int32_t end = place;
    if (kind_of(wildcard) == kTakesSome) {
        if (!first.exists())
            return false;
        end = first.end;
    }
    for (;;) {
        check_stack();
        const Expression next = buffer_.read(end);
        const bool empty = end == place;
        if (rest == nil ? !next.exists() : true) {
            bind(wildcard, empty ? place : first.start, end);
            if (rest == nil || matches_items(rest, end))
                return true;
            bindings_ = bound_before;
        }
        if (!next.exists())
            return false;
        end = next.end;
    }
}

// A dotted tail stands for the one expression behind a lone ".".
bool TextMatcher::matches_tail(Value pattern, int32_t place)
{
    const Expression dot = buffer_.read(place);
    if (!dot.exists() || dot.end != dot.start + 1 || buffer_.at(dot.start) != '.')
        return false;
    const Expression text = buffer_.read(dot.end);
    return text.exists() && !buffer_.read(text.end).exists() && matches(pattern, text);
}

// ---- Primitives

static SourceText buffer_argument(Value pointer, Value length)
{
    const uint32_t bytes = length_argument(length);
    const uint8_t* const address = memory_argument(pointer, bytes);
    return SourceText(reinterpret_cast<const char*>(address), static_cast<int32_t>(bytes));
}

// patterns, pointer, length, start, end, skip
static Value search_symbolic(Value patterns, Value pointer, Value length, Value start, Value end,
                             Value skip)
{
    const SourceText buffer = buffer_argument(pointer, length);
    Expression last = { buffer.clip(integer_value(start)), buffer.clip(integer_value(end)) };
    int32_t place = buffer.step_into(last);
    for (;;) {
        check_stack();
        last = buffer.read(buffer.skip(place, true));
        if (!last.exists())
            return nil;
        PureGuard guard;
        for (Value list = patterns; guard.more(list); list = cdr_of(list))
            if (TextMatcher(buffer, false).matches(car_of(list), last))
                return offsets(car_of(list), last.start, last.end);
        place = is_true_flag(skip) ? last.end : buffer.step_into(last);
    }
}

static Value reversed(Value list)
{
    Value result;
    for (; is_pair(list); list = cdr_of(list))
        result = cons(car_of(list), result);
    return result;
}

static Value unify_expr(Value pattern, Value pointer, Value length, Value start, Value end)
{
    const SourceText buffer = buffer_argument(pointer, length);
    const int32_t last = buffer.clip(integer_value(end));
    const int32_t first = std::min(buffer.skip(buffer.clip(integer_value(start)), false), last);
    TextMatcher matcher(buffer, true);
    matcher.matches(pattern, { first, last });
    return reversed(matcher.bindings());
}

static Value buffer_get_string(Value pointer, Value start, Value end)
{
    const uint32_t a = unsigned_value(start);
    const uint32_t b = unsigned_value(end);
    const uint8_t* const address = memory_argument(pointer, std::max(a, b));
    const char* const bytes = reinterpret_cast<const char*>(address) + std::min(a, b);
    const size_t length = std::max(a, b) - std::min(a, b);
    // A string ends at its first NUL.
    return make_string(bytes, static_cast<uint32_t>(strnlen(bytes, length)));
}

static const Primitive matcher_primitives[] = {
    { "search-symbolic", search_symbolic,
      "(search-symbolic patterns pointer length start end skip?): (pattern start . end) of the "
      "first expression behind the one from start to end, and inside it, that a pattern "
      "matches, or nil; with skip?, expressions that don't match are stepped over" },
    { "unify-expr", unify_expr,
      "(unify-expr pattern pointer length start end): the list of (wildcard start . end) in order "
      "of matching the expression from start to end; what was bound until then when it does not "
      "match" },
    { "buffer-get-string", buffer_get_string,
      "(buffer-get-string pointer start end): the bytes between two offsets as a string; error 2 "
      "when they are not memory that can be read" },
};

void init_text_matcher()
{
    symbol_token = intern("Symbolic-Token");
    const Value name = intern("symbolic-token");
    if (global_value(symbol_token) == no_value)
        set_global_value(symbol_token, cons(name, nil));
    define_primitives(matcher_primitives);
}
