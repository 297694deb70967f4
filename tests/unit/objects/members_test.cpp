// Indexes and member tables.
#include "../library/interpreter.h"
#include "objects/objects.h"

static Value numbered(const char* stem, int i)
{
    char name[32];
    snprintf(name, sizeof name, "%s-%d", stem, i);
    return intern_dynamic(name);
}

TEST(members, a_method_of_one_class_alone_takes_no_index)
{
    in_interpreter([] {
        const Value first = new_bare_class(intern("first"), 0);
        const Value second = new_bare_class(intern("second"), 0);
        const Value name = intern("only-here");
        define_method(first, name, make_fixnum(1));
        EXPECT_EQ(symbol_of(name)->slot_index, -1);
        EXPECT_EQ(symbol_of(name)->slot_class, first.bits());
        EXPECT_TRUE(is_end(member_entry(first, name)));
        define_method(second, name, make_fixnum(2));
        EXPECT_GE(symbol_of(name)->slot_index, 0);
        EXPECT_EQ(symbol_of(name)->slot_class, end_of_args.bits());
        EXPECT_EQ(member_entry(first, name), make_fixnum(1));
        EXPECT_EQ(member_entry(second, name), make_fixnum(2));
        EXPECT_EQ(global_value(name), no_value);
    });
}

TEST(members, a_table_grows_to_the_index_and_25_entries)
{
    in_interpreter([] {
        const Value cls = new_bare_class(intern("early"), 0);
        EXPECT_GE(class_block(cls)->table_size, 200);
        Value last;
        for (int i = 0; i < 300; ++i)
            give_slot_index(last = numbered("grow", i));
        const int index = symbol_of(last)->slot_index;
        EXPECT_TRUE(is_end(member_entry(cls, last)));
        set_member_entry(cls, last, symbol_t);
        EXPECT_EQ(class_block(cls)->table_size, index + 25);
        EXPECT_EQ(member_entry(cls, last), symbol_t);
        EXPECT_EQ(class_block(new_bare_class(intern("late"), 0))->table_size, index + 1);
    });
}

TEST(members, a_table_holds_16383_entries_and_the_next_name_is_error_9)
{
    SpaceSizes sizes = console_sizes();
    sizes.symbols = 32000;
    in_interpreter(sizes, [] {
        const Value cls = new_bare_class(intern("full"), 0);
        Value last;
        for (int i = 0; symbol_of(last = numbered("many", i))->slot_index < 0; ++i)
            if (give_slot_index(last) == 16382)
                break;
        set_member_entry(cls, last, symbol_t);
        EXPECT_EQ(class_block(cls)->table_size, 16383);
        EXPECT_EQ(member_entry(cls, last), symbol_t);
        const Value next = intern("one-too-many");
        EXPECT_TRUE(ends_in_error([&] { give_slot_index(next); }));
        EXPECT_EQ(last_error().code, kErrorNoMemory);
        EXPECT_EQ(symbol_of(next)->slot_index, -1);
        make_instance(new_bare_class(intern("still-good"), 0));
    });
}

TEST(members, the_first_parent_that_has_a_name_wins)
{
    in_interpreter([] {
        const Value a = define_native_class("native-a", nullptr, nil);
        const Value b = define_native_class("native-b", nullptr, nil);
        const Value both = intern("both-have-it");
        const Value one = intern("b-has-it");
        give_slot_index(one);
        define_method(a, both, make_fixnum(1));
        define_method(b, both, make_fixnum(2));
        symbol_of(one)->slot_class = end_of_args.bits();
        define_method(b, one, make_fixnum(3));
        const Value child = define_native_class("native-child", nullptr, cons(a, cons(b, nil)));
        EXPECT_EQ(member_entry(child, both), make_fixnum(1));
        EXPECT_EQ(member_entry(child, one), make_fixnum(3));
        EXPECT_TRUE(is_a(child, intern("native-b")));
        EXPECT_FALSE(is_a(a, intern("native-b")));
    });
}
