// Definitions copied down to the descendants must give what a climb to the nearest definition gives.
#include <map>
#include <random>

#include "../library/interpreter.h"
#include "objects/objects.h"

namespace {

// Classes in a tree, as a climbing look-up sees them.
struct Model {
    int nearest(const std::map<std::pair<int, int>, int>& made, int cls, int name) const
    {
        for (; cls >= 0; cls = parents[static_cast<size_t>(cls)]) {
            const auto found = made.find({ cls, name });
            if (found != made.end())
                return found->second;
        }
        return 0;
    }
    bool descends(int cls, int ancestor) const
    {
        while (cls > ancestor)
            cls = parents[static_cast<size_t>(cls)];
        return cls == ancestor;
    }

    std::vector<int> parents;
    std::vector<Value> classes;  // their names are bound to them
    std::map<std::pair<int, int>, int> methods;
    std::map<std::pair<int, int>, int> infos;
    std::map<int, bool> inited;
};

Value name_of(const char* stem, int i)
{
    return intern_dynamic((std::string(stem) + std::to_string(i)).c_str());
}

void make_class(Model& model, int parent)
{
    const int number = static_cast<int>(model.parents.size());
    const Value name = name_of("class-", number);
    const Value cls = parent < 0 ? lisp("new-mixin", name)
                                 : lisp("new-mixin", name, model.classes[static_cast<size_t>(parent)]);
    set_global_value(name, cls);
    model.parents.push_back(parent);
    model.classes.push_back(cls);
}

Value seen_from(Value object, Value name)
{
    const ObjectFrame frame(object);
    return lookup_symbol(name);
}

void change_info(Model& model, int cls, int slot, int v)
{
    const Value symbol = name_of("slot-", slot);
    bool refused = false;
    for (int other = 0; other < static_cast<int>(model.classes.size()); ++other)
        refused |= model.descends(other, cls) && model.inited[other] &&
                   model.nearest(model.infos, other, slot) == 0;
    const bool failed = ends_in_error([&] {
        give_slot_index(symbol);
        symbol_of(symbol)->slot_class = end_of_args.bits();
        set_slot_attribute(model.classes[static_cast<size_t>(cls)], symbol, intern(":info"),
                           make_fixnum(v));
    });
    EXPECT_EQ(failed, refused);
    if (failed)
        EXPECT_EQ(last_error().code, kErrorSlotAfterLayout);
    else
        model.infos[{ cls, slot }] = v;
}

void compare(Model& model)
{
    for (int cls = 0; cls < static_cast<int>(model.classes.size()); ++cls)
        for (int i = 0; i < 3; ++i) {
            const Value value = model.classes[static_cast<size_t>(cls)];
            const int method = model.nearest(model.methods, cls, i);
            ASSERT_EQ(seen_from(value, name_of("method-", i)), method ? make_fixnum(method) : no_value);
            const Value slot = slot_descriptor(value, name_of("slot-", i));
            const int info = model.nearest(model.infos, cls, i);
            ASSERT_EQ(is_end(slot), info == 0);
            if (info != 0) {
                ASSERT_EQ(Value(slot_record(slot)->info), make_fixnum(info));
            }
        }
}

void run_seed(unsigned seed)
{
    std::mt19937 random(seed);
    Model model;
    make_class(model, -1);
    for (int step = 1; step <= 150; ++step) {
        const int count = static_cast<int>(model.classes.size());
        const int cls = static_cast<int>(random() % static_cast<unsigned>(count));
        const int i = static_cast<int>(random() % 3);
        const Value value = model.classes[static_cast<size_t>(cls)];
        switch (random() % 8) {
        case 0:
            if (count < 12)
                make_class(model, cls);
            break;
        case 1:
            make_instance(value);
            model.inited[cls] = true;
            break;
        case 2:
            reset_layout(value);
            model.inited[cls] = false;
            break;
        case 3:
        case 4:
            change_info(model, cls, i, step);
            break;
        default:
            define_method(value, name_of("method-", i), make_fixnum(step));
            model.methods[{ cls, i }] = step;
        }
        compare(model);
        if (testing::Test::HasFatalFailure())
            FAIL() << "seed " << seed << ", step " << step;
    }
}

}

TEST(inheritance, agrees_with_a_climb_to_the_nearest_definition)
{
    for (unsigned seed = 1; seed <= 40; ++seed)
        in_interpreter([seed] { run_seed(seed); });
}
