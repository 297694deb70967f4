// Searching: several patterns in memory, bytes above 127, and the place of an item in a sequence.
#include <cstring>

#include "kernel/evaluator.h"
#include "kernel/primitive.h"
#include "kernel/symbols.h"
#include "library/library.h"
#include "library/list_walk.h"
#include "library/memory_arguments.h"
#include "library/pattern_search.h"
#include "platform/characters.h"

// ---- Patterns

// A fresh list of the patterns, which the separator function can't change, and their bytes.
static Value pattern_list(Value patterns, std::vector<std::string>& texts)
{
    ListBuilder list;
    if (is_string(patterns)) {
        list.add(patterns);
    } else {
        list.add_all(patterns);
    }
    for (Value rest = list.list(); is_pair(rest); rest = cdr_of(rest)) {
        if (!is_string(car_of(rest)))
            raise_error(kErrorType, car_of(rest));
        texts.push_back(string_chars(car_of(rest)));
    }
    return list.list();
}

// The separator function and where the text lies. The function may do anything, so the text is looked
// for anew after each call.
struct Boundary {
    Value separator;
    Value pointer;
    const std::vector<std::string>& patterns;
    uint32_t end;

    bool separates(uint32_t offset) const
    {
        const uint8_t byte = *(memory_argument(pointer, end) + offset);
        const bool answer = is_true_flag(call_value(separator, make_fixnum(byte)));
        memory_argument(pointer, end);
        return answer;
    }

    // Whether a match stands between separators; the edges of the text are.
    static bool stands_alone(void* context, const PatternSearch::Match& match)
    {
        const Boundary& boundary = *static_cast<const Boundary*>(context);
        const uint32_t behind = match.offset + static_cast<uint32_t>(boundary.patterns[match.pattern].size());
        return (match.offset == 0 || boundary.separates(match.offset - 1)) &&
               (behind >= boundary.end || boundary.separates(behind));
    }
};

static Value search_buffer_subr(Value patterns, Value pointer, Value start, Value end, Value backward,
                                Value fold, Value separator)
{
    const uint32_t first = length_argument(start);
    const uint32_t last = length_argument(end);
    const uint8_t* const text = memory_argument(pointer, last);
    std::vector<std::string> texts;
    const Value list = pattern_list(patterns, texts);
    const SearchDirection direction =
        is_true_flag(backward) ? SearchDirection::backward : SearchDirection::forward;
    const PatternSearch search(texts, direction, is_true_flag(fold) ? lower_table.at : nullptr);

    PatternSearch::Match match = {};
    Boundary boundary = { separator, pointer, texts, last };
    const PatternSearch::Accept accept = is_true_flag(separator) ? Boundary::stands_alone : nullptr;
    if (!search.find(text, first, last, &match, accept, &boundary))
        return nil;
    Value rest = list;
    for (uint32_t i = 0; i < match.pattern; ++i)
        rest = cdr_of(rest);
    return cons(car_of(rest), make_unsigned(match.offset));
}

static Value search_not_ascii(Value pointer, Value start, Value end)
{
    const uint32_t last = length_argument(end);
    const uint8_t* const text = memory_argument(pointer, last);
    for (uint32_t i = length_argument(start); i < last; ++i)
        if (text[i] > 127)
            return cons(nil, make_unsigned(i));
    return nil;
}

// ---- position

static Value position_in_list(Value item, Value list, Value key, Value test, uint32_t start)
{
    const Matcher matcher(item, key, test);
    ListGuard guard;
    for (uint32_t i = 0; guard.more(list); list = cdr_of(list), ++i)
        if (i >= start && matcher.matches(car_of(list)))
            return make_unsigned(i);
    return nil;
}

static Value position_in_string(Value item, Value string, uint32_t start)
{
    const int32_t byte = integer_value(item);
    const char* const text = string_chars(string);
    const size_t length = strlen(text);
    if (byte <= 0 || byte > 255 || start >= length)
        return nil;
    const char* const found = strchr(text + start, byte);
    return found ? make_unsigned(static_cast<uint32_t>(found - text)) : nil;
}

static Value position(Value item, Value sequence, Value key, Value test, Value start)
{
    const uint32_t first = is_nil(start) ? 0 : length_argument(start);
    if (is_pair(sequence))
        return position_in_list(item, sequence, key, test, first);
    if (is_string(sequence))
        return position_in_string(item, sequence, first);
    return boolean(sequence.tag() == kTagVector);
}

// ----

static const Primitive search_primitives[] = {
    { "search-buffer-subr", search_buffer_subr,
      "(search-buffer-subr patterns pointer start end backward? fold? separator): (pattern . offset) of "
      "the first match of a string or list of strings in bytes start to end behind the pointer, from "
      "the end with a true backward?, in any case of letters with a true fold?; nil for none. A "
      "separator function is given the bytes around a match and must be true for both. Error 2 for "
      "other patterns and for memory that is not there" },
    { "search-not-ascii", search_not_ascii,
      "(search-not-ascii pointer start end): (nil . offset) of the first byte above 127, nil for none" },
};

static const Primitive position_primitives[] = {
    { "position", position,
      "(position item sequence key test start): index of the item in a list, compared as in member, or "
      "of a byte in a string, from index start (nil: 0) on; nil when it is not there. t for any vector, "
      "nil for anything else" },
};

void init_search() { define_primitives(search_primitives); }
void init_position() { define_primitives(position_primitives); }
