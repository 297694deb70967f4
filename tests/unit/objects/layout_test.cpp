// Where slots lie in an instance.
#include "../library/interpreter.h"
#include "kernel/printer.h"
#include "kernel/reader.h"
#include "objects/objects.h"

static Value new_class_with(std::initializer_list<const char*> types)
{
    const Value cls = new_bare_class(intern("packed"), 0);
    int i = 0;
    for (const char* type : types) {
        const Value symbol = intern_dynamic(("packed-" + std::to_string(i++)).c_str());
        give_slot_index(symbol);
        set_slot_attribute(cls, symbol, intern(":default"), nil);
        set_slot_attribute(cls, symbol, intern(":type"), intern_dynamic(type));
    }
    return cls;
}

// offset:mask of slot i.
static std::string place(Value cls, int i)
{
    const Value slot = slot_descriptor(cls, intern_dynamic(("packed-" + std::to_string(i)).c_str()));
    return std::to_string(slot_offset(slot)) + ":" + std::to_string(slot_mask(slot));
}

static std::string places(Value cls, int count)
{
    std::string text;
    for (int i = 0; i < count; ++i)
        text += (i ? " " : "") + place(cls, i);
    return text;
}

static uint32_t laid_out_size(Value cls)
{
    make_instance(cls);
    return class_block(cls)->instance_size;
}

TEST(layout, an_instance_without_slots_is_its_three_words)
{
    in_interpreter([] { EXPECT_EQ(laid_out_size(new_class_with({})), 12u); });
}

TEST(layout, values_come_first_then_words_bytes_and_bits_each_from_the_highest_index)
{
    in_interpreter([] {
        const Value cls = new_class_with({ "boolean", "byte", "t", "word", "byte", "t" });
        EXPECT_EQ(laid_out_size(cls), 12u + 8 + 2 + 2 + 1);
        EXPECT_EQ(places(cls, 6), "24:128 23:0 16:0 20:0 22:0 12:0");
    });
}

TEST(layout, booleans_side_by_side_share_a_byte_and_the_higher_index_takes_the_higher_bit)
{
    in_interpreter([] {
        const Value cls = new_class_with({ "boolean", "boolean", "boolean" });
        EXPECT_EQ(laid_out_size(cls), 13u);
        EXPECT_EQ(places(cls, 3), "12:32 12:64 12:128");
    });
}

TEST(layout, nine_booleans_take_two_bytes)
{
    in_interpreter([] {
        const Value cls = new_class_with({ "boolean", "boolean", "boolean", "boolean", "boolean",
                                           "boolean", "boolean", "boolean", "boolean" });
        EXPECT_EQ(laid_out_size(cls), 14u);
        EXPECT_EQ(place(cls, 0), "13:128");
        EXPECT_EQ(place(cls, 1), "12:1");
    });
}

TEST(layout, another_slot_between_two_booleans_parts_them)
{
    in_interpreter([] {
        const Value cls = new_class_with({ "boolean", "byte", "boolean" });
        EXPECT_EQ(laid_out_size(cls), 15u);
        EXPECT_EQ(places(cls, 3), "14:128 12:0 13:128");
    });
}

TEST(layout, a_slot_without_room_does_not_part_booleans)
{
    in_interpreter([] {
        const Value cls = new_class_with({ "boolean", "t", "boolean" });
        set_slot_attribute(cls, intern("packed-1"), intern(":allocate?"), nil);
        EXPECT_EQ(laid_out_size(cls), 13u);
        EXPECT_EQ(place(cls, 0), "12:64");
    });
}

TEST(layout, made_anew_starts_from_nothing)
{
    in_interpreter([] {
        const Value cls = new_class_with({ "boolean", "t", "boolean" });
        laid_out_size(cls);
        reset_layout(cls);
        EXPECT_EQ(laid_out_size(cls), 12u + 4 + 2);
        EXPECT_EQ(places(cls, 3), "17:128 12:0 16:128");
    });
}
