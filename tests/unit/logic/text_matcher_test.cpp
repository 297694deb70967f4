// Text written out of random trees, so that all its expressions and their places are known.
#include <gtest/gtest.h>

#include <vector>

#include "kernel/evaluator.h"
#include "kernel/symbols.h"
#include "lisp.h"
#include "platform/zone.h"

namespace {

struct Place {
    int start, end;
    bool operator==(const Place&) const = default;
};

struct Source {
    std::string text;
    std::vector<Place> places;  // of all expressions, outer ones before those inside
};

void write_space(Random& random, Source* source)
{
    static const char* const spaces_[] = { " ", "\t ", " ; a ( b \" c\r", "\n", " \\( " };
    source->text += spaces_[random.below(5)];
}

void write_expression(Random& random, Source* source, int depth)
{
    const size_t index = source->places.size();
    source->places.push_back({ static_cast<int>(source->text.size()), 0 });
    if (random.once_in(8)) {
        source->text += "'`,@#"[random.below(5)];
        write_expression(random, source, depth);
    } else if (depth > 0 && random.below(5) < 3) {
        source->text += "(["[random.below(2)];
        for (uint32_t n = random.below(4); n > 0; --n) {
            write_expression(random, source, depth - 1);
            write_space(random, source);
        }
        source->text += ")]"[random.below(2)];
    } else {
        static const char* const atoms[] = { "a", "ab", "12", "\"s\"", "\"(\\\";\"", "x\\ y", "." };
        source->text += atoms[random.below(7)];
    }
    source->places[index].end = static_cast<int>(source->text.size());
}

Value find_next(Value pattern, Value buffer, size_t length, Place last, bool skip)
{
    const Value patterns = cons(pattern, nil);
    const Value run[] = { patterns, buffer, make_integer(static_cast<int32_t>(length)),
                          make_integer(last.start), make_integer(last.end), boolean(skip),
                          end_of_args };
    return call_args(intern("search-symbolic"), run);
}

Place place_of(Value hit)
{
    const Value offsets = cdr_of(hit);
    return { integer_value(car_of(offsets)), integer_value(cdr_of(offsets)) };
}

}

TEST(text_search, finds_every_expression_once_from_the_outside_in)
{
    run_interpreter(small_sizes(), [] {
        const Value any = cons(global_value(intern("Symbolic-Token")), nil);
        for (uint32_t seed = 1; seed <= 300; ++seed) {
            Random random(seed);
            Source source;
            for (int n = 0; n < 3; ++n) {
                write_expression(random, &source, 3);
                write_space(random, &source);
            }
            const size_t length = source.text.size();
            const ZoneAddress block = zone_allocate(static_cast<uint32_t>(length));
            memcpy(zone_pointer(block), source.text.data(), length);
            const Value buffer = make_pointer(kPointerPlain, block);
            std::vector<Place> found;
            Place last = { 0, 0 };
            for (;;) {
                const Value hit = find_next(any, buffer, length, last, false);
                if (hit == nil)
                    break;
                last = place_of(hit);
                found.push_back(last);
                if (found.size() > source.places.size())
                    break;
            }
            EXPECT_EQ(found.size(), source.places.size()) << source.text;
            EXPECT_TRUE(found == source.places) << source.text;
            zone_free(block);
        }
        return 0;
    });
}

// What stands behind the buffer's end is never looked at: the same bytes match alike whatever
// follows.
TEST(text_search, stays_within_a_buffer_of_any_bytes)
{
    run_interpreter(small_sizes(), [] {
        const Value token = global_value(intern("Symbolic-Token"));
        const Value run_of = cons(token, cons(make_fixnum(2), nil));
        const Value pattern = cons(run_of, cons(intern("a"), cons(run_of, nil)));
        static const char alphabet[] = "ab()[]\"\\;' .\r";
        for (uint32_t seed = 1; seed <= 2000; ++seed) {
            Random random(seed);
            const uint32_t length = random.below(24);
            const ZoneAddress block = zone_allocate(64);
            char* const bytes = reinterpret_cast<char*>(zone_pointer(block));
            for (uint32_t i = 0; i < length; ++i)
                bytes[i] = alphabet[random.below(13)];
            const Value buffer = make_pointer(kPointerPlain, block);
            std::string answers[2];
            for (int round = 0; round < 2; ++round) {
                memset(bytes + length, round ? ')' : '"', 64 - length);
                Place last = { 0, 0 };
                for (;;) {
                    const Value hit = find_next(pattern, buffer, length, last, false);
                    if (hit == nil)
                        break;
                    last = place_of(hit);
                    EXPECT_LE(last.end, static_cast<int>(length));
                    EXPECT_LT(last.start, last.end);
                    answers[round] += std::to_string(last.start) + "-" +
                                      std::to_string(last.end) + " ";
                }
            }
            EXPECT_EQ(answers[0], answers[1]) << seed;
            zone_free(block);
        }
        return 0;
    });
}
