// Native sides: who makes them, what the collector does with them, when they go.
#include "../library/interpreter.h"
#include "objects/native_objects.h"
#include "platform/zone.h"

namespace {

struct Probe : Interface {
    Probe() { ++alive; }
    ~Probe() override { --alive; }
    void mark() override
    {
        ++marks;
        Interface::mark();
    }
    void open() override
    {
        Interface::open();
        trace += "open ";
    }
    void show() override { trace += "show "; }
    bool enabled() override { return false; }
    Value get_title_ref() override { return make_fixnum(7); }

    static int alive, marks;
    static std::string trace;
};

int Probe::alive, Probe::marks;
std::string Probe::trace;

NativeObject* open_probe() { return new Probe; }

Value probe_class()
{
    Probe::alive = Probe::marks = 0;
    Probe::trace.clear();
    return define_native_class("obj-probe", open_probe, class_interface);
}

Value send(Value object, const char* name)
{
    return call_with_object(object, intern(name));
}

}

TEST(native_objects, methods_reach_the_operations_of_the_native_class)
{
    in_interpreter([] {
        const Value object = make_instance(probe_class());
        EXPECT_TRUE(ends_in_error([&] { send(object, "show"); }));
        EXPECT_EQ(last_error().code, kErrorType);
        EXPECT_EQ(last_error().value, object);
        send(object, "link-object");
        send(object, "link-object");
        EXPECT_EQ(Probe::alive, 1);
        EXPECT_EQ(persistence_of(object)->lisp_object, object);
        EXPECT_TRUE(native_object(object)->is_interface());
        send(object, "open");
        EXPECT_EQ(send(object, "show"), no_value);
        EXPECT_EQ(Probe::trace, "open show ");
        EXPECT_EQ(send(object, "enabled?"), nil);
        // A title goes through the Lisp function.
        set_global_value(intern("resolve-string"), global_value(intern("list")));
        EXPECT_EQ(car_of(send(object, "get-title")), make_fixnum(7));
    });
}

TEST(native_objects, a_subclass_made_by_lisp_takes_the_opener)
{
    in_interpreter([] {
        const Value cls = probe_class();
        const Value object = make_instance(lisp("new-class", intern("mine"), cls));
        send(object, "link-object");
        EXPECT_EQ(Probe::alive, 1);
    });
}

TEST(native_objects, close_link_deletes_once)
{
    in_interpreter([] {
        const Value object = make_instance(probe_class());
        send(object, "link-object");
        const Value pointer = native_of(object);
        send(object, "close-link");
        EXPECT_EQ(Probe::alive, 0);
        EXPECT_EQ(pointer_of(pointer), 0u);
        EXPECT_FALSE(object_is_open(object));
        lisp("recycle", nil);
        EXPECT_EQ(Probe::alive, 0);
        send(object, "link-object");
        EXPECT_EQ(Probe::alive, 1);
    });
}

TEST(native_objects, are_marked_while_their_object_lives_and_deleted_when_it_dies)
{
    in_interpreter([] {
        const Value cls = probe_class();
        const Value kept = make_instance(cls);
        set_global_value(intern("kept"), kept);
        send(kept, "link-object");
        static_data_of(kept)->name = make_string("only the native side holds this");
        for (int i = 0; i < 50; ++i)
            send(make_instance(cls), "link-object");
        lisp("recycle", nil);
        EXPECT_GE(Probe::marks, 1);
        // A few may still look alive to the scan of the machine stack.
        EXPECT_LT(Probe::alive, 10);
        EXPECT_GE(Probe::alive, 1);
        EXPECT_STREQ(string_chars(static_data_of(kept)->name), "only the native side holds this");
    });
}

TEST(native_objects, memory_refused_is_error_9_and_the_object_stays_closed)
{
    in_interpreter([] {
        const Value object = make_instance(probe_class());
        zone_refuse_allocation(1);
        EXPECT_TRUE(ends_in_error([&] { send(object, "link-object"); }));
        zone_refuse_allocation(0);
        EXPECT_EQ(last_error().code, kErrorNoMemory);
        EXPECT_EQ(last_error().value, nil);
        EXPECT_FALSE(object_is_open(object));
        send(object, "link-object");
        EXPECT_EQ(Probe::alive, 1);
    });
}

TEST(native_objects, the_roots_are_there_at_boot)
{
    in_interpreter([] {
        const Value root = global_value(intern("obj-root"));
        EXPECT_EQ(class_block(root)->ascendants.bits, nil.bits());
        EXPECT_EQ(car_of(class_block(class_static_data)->ascendants), root);
        EXPECT_EQ(car_of(class_block(class_persistence)->ascendants), class_static_data);
        EXPECT_EQ(car_of(class_block(class_interface)->ascendants), class_persistence);
        EXPECT_GT(method_count(), 20u);
    });
}

// Whatever the receiver and the argument, a method answers or raises an error.
TEST(native_objects, methods_take_no_harm_from_odd_receivers_and_arguments)
{
    in_interpreter([] {
        const Value linked = make_instance(class_interface);
        send(linked, "link-object");
        const Value lesser =
            make_instance(lisp("new-class", intern("lesser"), class_persistence, class_static_data));
        send(lesser, "link-object");
        const Value receivers[] = { linked, lesser, make_instance(class_persistence), class_interface,
                                    global_value(intern("obj-root")), root_class };
        const Value arguments[] = { nil, no_value, make_fixnum(-1), make_boxed(kTagLong, 1u << 30),
                                    make_real(0.5), make_string("text"), intern("name"),
                                    make_vector(3, nil), cons(make_fixnum(1), make_fixnum(2)),
                                    cons(cons(nil, nil), nil), linked, class_interface, root_class,
                                    global_value(intern("car")) };
        int calls = 0;
        for (size_t i = 0; i < method_count(); ++i) {
            const Value method = make_primitive(*method_at(i).primitive);
            for (Value receiver : receivers)
                for (Value argument : arguments) {
                    ends_in_error([&] {
                        const ObjectFrame frame(receiver);
                        call_value(method, argument, argument);
                    });
                    ++calls;
                }
        }
        EXPECT_GT(calls, 1000);
        EXPECT_EQ(self_object, root_class);
        lisp("recycle", nil);
    });
}

// Every run begins anew: indexes, classes and openers of the last are forgotten.
TEST(native_objects, a_second_run_knows_nothing_of_the_first)
{
    int first = 0, second = 0;
    in_interpreter([&] {
        for (int i = 0; i < 300; ++i)
            give_slot_index(intern_dynamic(("name-" + std::to_string(i)).c_str()));
        first = new_table_size();
    });
    in_interpreter([&] { second = new_table_size(); });
    EXPECT_LT(second, first);
}
