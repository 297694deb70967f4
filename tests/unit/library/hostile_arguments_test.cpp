// Every primitive of lists, numbers, collections, texts and streams with arguments of every kind,
// fitting or not: an answer or an error, and then a sound heap.
#include <cstring>
#include <random>

#include "interpreter.h"
#include "kernel/collector.h"
#include "kernel/hooks.h"
#include "kernel/primitive.h"

static const char* const kModules[] = {
    "Arrays",        "Hash tables", "Lists",   "Equality",         "Numbers",
    "Sets",          "Types",       "Vectors", "Strings",          "Character sets",
    "Search",        "Position",    "Streams", "Formatted output", "Comparison of texts",
    "Date and time",
};

// What counts through all integers, or waits for as many ticks.
static bool takes_long(const char* name)
{
    return strcmp(name, "for") == 0 || strcmp(name, "for-collect") == 0 ||
           strcmp(name, "sleep") == 0;
}

static bool is_tried(size_t row)
{
    for (const char* module : kModules)
        if (strcmp(primitive_module(row), module) == 0)
            return !takes_long(primitive_at(row).name);
    return false;
}

// A circle of two, with itself as an element.
static Value knot()
{
    const Value ring = cons(nil, cons(make_fixnum(1), nil));
    set_car(ring, ring);
    set_cdr(cdr_of(ring), ring);
    return ring;
}

static Value ring()
{
    const Value list = cons(make_fixnum(2), cons(make_fixnum(1), nil));
    set_cdr(cdr_of(list), list);
    return list;
}

static Value any_argument(std::mt19937& random)
{
    static const char* const kNames[] = { "car",  "<",    "equal?", "set-cdr!",
                                          "list", "sort", "not",    "unless" };
    const int32_t small = static_cast<int32_t>(random() % 7) - 2;
    switch (random() % 28) {
    case 0:
        return nil;
    case 1:
        return no_value;
    case 2:
        return symbol_t;
    case 3:
        return make_integer(static_cast<int32_t>(random()));
    case 4:
        return make_unsigned(0x80000000 | static_cast<uint32_t>(random()));
    case 5:
        return make_real(small * 1.5);
    case 6:
        return make_real(random() % 2 ? 1e300 : -1.0 / 0.0);
    case 7:
        return make_string("text");
    case 8:
        return intern("text");
    case 9:
        return ring();
    case 10:
        return knot();
    case 11:
        return cons(make_fixnum(small), make_fixnum(1));
    case 12:
        return lisp("vector", make_fixnum(small), nil);
    case 13:
        return lisp("make-array", make_fixnum(2), make_fixnum(3));
    case 14:
        return lisp("new-hash");
    case 15:
        return lisp("list", ring(), make_fixnum(small));
    case 16:
        return lisp("list", lisp("cons", make_fixnum(small), nil), lisp("cons", nil, symbol_t));
    case 17:
    case 18:
        return lisp("list", make_fixnum(small), make_fixnum(3), make_fixnum(1), make_fixnum(small));
    case 19:
        return lisp("new-ptr", make_fixnum(16));
    case 20:
        return lisp("string->handle", make_string("~a ~5,2f~[x~;y~]"));
    case 21:
        return lisp("new-handle-struct");
    case 22:
        return make_string("~a ~5,2f~[x~;y~]~:*~x");
    case 23:
    case 24:
        return global_value(intern(kNames[random() % std::size(kNames)]));
    default:
        return make_fixnum(small);
    }
}

// Little of everything, so that each space runs out now and then.
static SpaceSizes small_sizes()
{
    SpaceSizes sizes = console_sizes();
    sizes.symbols = 8192;
    sizes.nodes = 60000;
    sizes.heap = 1 << 20;
    sizes.machine_stack = 1 << 20;
    return sizes;
}

TEST(primitives, answer_or_refuse_arguments_of_every_kind)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    in_interpreter(small_sizes(), [&] {
        hooks.alert = [](int, const char*, const char*, const char*, const char*) { return 1; };
        size_t tried = 0;
        for (size_t row = 0; row < primitive_count(); ++row) {
            if (!is_tried(row))
                continue;
            ++tried;
            const Value function = make_primitive(primitive_at(row));
            for (int round = 0; round < 25; ++round) {
                const uint32_t count = random() % 5;
                Value run[5] = { end_of_args, end_of_args, end_of_args, end_of_args, end_of_args };
                for (uint32_t i = 0; i < count; ++i)
                    run[i] = any_argument(random);
                ends_in_error([&] { call_args(function, run); });
            }
            ASSERT_EQ(verify_heap(), nullptr) << primitive_at(row).name;
        }
        EXPECT_GT(tried, 250u);
        lisp("recycle", nil);
        EXPECT_EQ(verify_heap(), nullptr);
    });
}
