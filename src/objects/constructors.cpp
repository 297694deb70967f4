// How an object gathers the configurations that apply to it, and how a slot finds its value there.
#include "kernel/errors.h"
#include "kernel/evaluator.h"
#include "kernel/symbols.h"
#include "objects/configurations.h"
#include "objects/native_objects.h"

static Value symbol_configuration;
static Value symbol_parent;
static Value symbol_page_parent;
static Value symbol_owners_inited;
static Value symbol_inherit;
static Value symbol_config_creator;
static Value symbol_config_parent_creator;
static Value symbol_init_owners;
static Value symbol_find_page_constructor;
static Value symbol_reverse;
static Value name_slot;
static Value symbol_obj_page;
static Value keyword_write;

Value value_or_nil(Value symbol)
{
    const Value v = symbol_value(symbol);
    return v == no_value ? nil : v;
}

static Value value_for(Value object, Value symbol)
{
    ObjectFrame frame(object);
    return value_or_nil(symbol);
}

// ---- Which configuration is mine

static bool is_member(Value item, Value list)
{
    for (; is_pair(list); list = cdr_of(list))
        if (car_of(list) == item)
            return true;
    return false;
}

Value find_self_config(Value configs)
{
    const Value creator = value_or_nil(symbol_config_creator);
    if (configs != nil && configs == value_or_nil(symbol_config_parent_creator))
        return creator;
    if (is_member(creator, configs))
        return creator;
    const Value name = value_or_nil(name_slot);
    if (name == nil)
        return nil;
    for (Value list = configs; is_pair(list); list = cdr_of(list))
        if (is_pair(car_of(list)) && car_of(car_of(list)) == name)
            return car_of(list);
    for (Value list = configs; is_pair(list); list = cdr_of(list))
        if (is_pair(car_of(list)) && config_name(car_of(list)) == name)
            return car_of(list);
    return nil;
}

// ---- Gathering

namespace {

// The list under construction. It lies on the machine stack, where the collector sees it, so that an
// object built by init-owners in the meantime does not disturb it.
struct Gathering {
    Value head = cons(nil, nil);
    Value tail = head;
    Value last;  // the configuration added last

    void add(Value config)
    {
        const Value cell = cons(config, nil);
        set_cdr(tail, cell);
        tail = cell;
    }

    // Adds the configuration of object, whose owners are set up for target first.
    void add_of(Value object, Value target)
    {
        const Value config = value_for(object, symbol_configuration);
        if (config == nil || config == last)
            return;
        if (value_for(object, symbol_owners_inited) == nil)
            call_with_object(object, symbol_init_owners, config, target);
        add(config);
        last = config;
    }

    // The root-most class comes first.
    void add_chain_reversed(Value cls, Value target)
    {
        check_stack();
        if (cls == nil || cls == class_persistence)
            return;
        add_chain_reversed(parent_of(cls), target);
        add_of(cls, target);
    }

    void add_chain(Value cls, Value target)
    {
        for (; cls != nil && cls != class_persistence; cls = parent_of(cls))
            add_of(cls, target);
    }

    static Value parent_of(Value cls)
    {
        const Value parents = class_block(cls)->ascendants;
        return parents == nil ? nil : car_of(parents);
    }
};

}

// The configurations among whose children the object finds its own.
static Value parent_configs(Value parent)
{
    const Value page_parent = value_or_nil(symbol_page_parent);
    if (page_parent == nil)
        return persistence_of(parent)->constructor;
    const Value found =
        call_with_object(object_argument(parent), symbol_find_page_constructor, page_parent);
    return is_pair(found) ? cdr_of(found) : nil;
}

static void add_from_parent(Gathering& gathering, Value object)
{
    if (is_a(object, symbol_obj_page))
        return;
    const Value parent = value_or_nil(symbol_parent);
    if (parent == nil)
        return;
    for (Value list = parent_configs(parent); is_pair(list); list = cdr_of(list)) {
        const Value own = find_self_config(config_children(car_of(list)));
        if (own != nil)
            gathering.add(own);
    }
}

// The object's own configuration, unless it is just its class's, which follows anyway.
static void add_own(Gathering& gathering, Value object, Value cls)
{
    const Value config = value_or_nil(symbol_configuration);
    if (config == nil)
        return;
    if (config == value_for(cls, symbol_configuration))
        set_symbol_value(symbol_configuration, nil);
    else
        gathering.add_of(object, object);
}

Value gather_constructor(Value object, Value initargs)
{
    ObjectFrame frame(object);
    Gathering gathering;
    if (initargs != nil)
        gathering.add(initargs_config(initargs));
    add_from_parent(gathering, object);
    const Value cls = class_of(object);
    if (object != cls)
        add_own(gathering, object, cls);
    Value inherit = value_or_nil(symbol_inherit);
    if (inherit == nil)
        inherit = value_for(cls, symbol_inherit);
    if (inherit == symbol_reverse)
        gathering.add_chain_reversed(cls, cls);
    else if (inherit != nil)
        gathering.add_chain(cls, cls);
    else
        gathering.add_of(cls, cls);
    return cdr_of(gathering.head);
}

// ---- Search

Value search_constructor(Value symbol)
{
    const Persistence* const native = persistence_of(self_object);
    const Value keyword = existing_keyword(symbol);
    if (keyword == nil)
        return nil;
    for (Value list = native->constructor; is_pair(list); list = cdr_of(list)) {
        const Value found = find_property(config_properties(car_of(list)), keyword);
        if (found != nil)
            return found;
    }
    return nil;
}

Value search_property(Value symbol)
{
    const Value found = search_constructor(symbol);
    if (found == nil)
        return slot_initial_value(symbol);
    return is_pair(cdr_of(found)) ? car_of(cdr_of(found)) : nil;
}

// ---- Setting the slots of an object under construction

// Calls set for each slot of the current object whose initialize field is which, from the highest
// index down. Lisp code may change the class meanwhile, so the table is looked at afresh each time.
template <class Set> static Value initialize_slots(Value which, Set set)
{
    const Value cls = object_block(object_argument(self_object))->class_;
    for (int i = class_block(cls)->table_size - 1; i >= 0; --i) {
        const Value entry = member_at(class_block(cls), i);
        if (entry.tag() != kTagSlot || Value(slot_record(entry)->initialize) != which)
            continue;
        const Value name = slot_record(entry)->name;
        const bool link = slot_record(entry)->link;
        set(name, search_property(name), link);
    }
    return no_value;
}

static Value initialize_setable_slots()
{
    return initialize_slots(symbol_t, [](Value name, Value v, bool link) {
        if (link)
            set_reference_x(name, v);
        else
            set_symbol_value(name, v);
    });
}

static Value initialize_writable_slots()
{
    return initialize_slots(keyword_write, [](Value name, Value v, bool) { write_slot(name, v); });
}

static const Primitive initialize_primitives[] = {
    { "initialize-setable-slots", initialize_setable_slots,
      "(initialize-setable-slots): sets each slot of the current object whose :initialize? is t to the "
      "property that its configurations give it, or to its initial value; no value; error 2 with an "
      "object without native side" },
    { "initialize-writable-slots", initialize_writable_slots,
      "(initialize-writable-slots): the same for the slots whose :initialize? is :write, through "
      "write-slot" },
};

void init_constructors()
{
    symbol_configuration = intern("configuration");
    symbol_parent = intern("parent");
    symbol_page_parent = intern("page-parent");
    symbol_owners_inited = intern("owners-inited?");
    symbol_inherit = intern("inherit-configuration?");
    symbol_config_creator = intern("config-creator");
    symbol_config_parent_creator = intern("config-parent-creator");
    symbol_init_owners = intern("init-owners");
    symbol_find_page_constructor = intern("find-page-constructor");
    symbol_reverse = intern("reverse");
    name_slot = intern("name");
    symbol_obj_page = intern("obj-page");
    keyword_write = intern_keyword("write");
    define_primitives(initialize_primitives);
}
