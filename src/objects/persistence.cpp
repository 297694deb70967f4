// The native classes from which everything with a native side descends, and their methods.
#include "kernel/collector.h"
#include "kernel/errors.h"
#include "kernel/evaluator.h"
#include "kernel/hooks.h"
#include "kernel/symbols.h"
#include "objects/configurations.h"
#include "objects/native_objects.h"

Value class_static_data;
Value class_persistence;
Value class_interface;

static Value name_slot;
static Value symbol_configuration;
static Value symbol_standard_name;
static Value symbol_resolve_string;
static Value symbol_system;
static Value symbol_update_classes;
static Value keyword_name;

// ---- The native word

Value native_of(Value object)
{
    const Value native = object_block(object_argument(object))->native;
    if (native == nil || pointer_of(native) == 0)
        raise_error(kErrorType, object);
    return native;
}

NativeObject* native_object(Value object)
{
    return reinterpret_cast<NativeObject*>(zone_pointer(pointer_of(native_of(object))));
}

bool object_is_open(Value object)
{
    return object_block(object)->native.bits != nil.bits();
}

void set_native_of(Value object, Value pointer)
{
    const Value old = object_block(object)->native;
    if (old != nil)
        set_pointer(old, 0);
    object_block(object)->native = pointer;
}

StaticData* static_data_of(Value object)
{
    NativeObject* const native = native_object(object);
    if (!native->is_static_data())
        raise_error(kErrorType, object);
    return static_cast<StaticData*>(native);
}

Persistence* persistence_of(Value object)
{
    NativeObject* const native = native_object(object);
    if (!native->is_persistent())
        raise_error(kErrorType, object);
    return static_cast<Persistence*>(native);
}

// ---- Virtual operations

void StaticData::mark() { mark_value(name); }

Value StaticData::setup_name(Value initargs)
{
    const Value found = find_property(initargs, keyword_name);
    if (found == nil)
        return name;
    name = is_pair(cdr_of(found)) ? car_of(cdr_of(found)) : nil;
    set_symbol_value(name_slot, name);
    return name;
}

void Persistence::mark()
{
    StaticData::mark();
    mark_value(lisp_object);
    mark_value(constructor);
}

// The name that the object's own configuration gives it.
static Value configured_name()
{
    const Value config = value_or_nil(symbol_configuration);
    if (config == nil)
        return nil;
    if (self_object.tag() == kTagInstance) {
        const Value cls = class_of(self_object);
        ObjectFrame frame(cls);
        if (value_or_nil(symbol_configuration) == config)
            return nil;
    }
    return config_name(config);
}

Value Persistence::setup_name(Value initargs)
{
    const Value known = value_or_nil(name_slot);
    if (known != nil)
        return known;
    const Value found = find_property(initargs, keyword_name);
    Value given = found != nil && is_pair(cdr_of(found)) ? car_of(cdr_of(found)) : nil;
    if (found == nil)
        given = configured_name();
    if (given == nil)
        given = value_or_nil(symbol_standard_name);
    name = given;
    set_symbol_value(name_slot, given);
    return given;
}

void Persistence::open()
{
    name = value_or_nil(name_slot);
    lisp_object = self_object;
}

Value Persistence::get_title()
{
    const Value reference = get_title_ref();
    return reference == nil ? nil : call_value(symbol_resolve_string, reference);
}

void Persistence::set_constructor(Value initargs)
{
    const Value object = self_object;
    const Value list = gather_constructor(object, initargs);
    // init-owners may have closed the object, and this with it.
    persistence_of(object)->constructor = list;
}

// ---- Methods of obj-static-data

static Value get_name() { return symbol_value(name_slot); }

static Value set_name(Value name)
{
    set_symbol_value(name_slot, name);
    if (object_is_open(object_argument(self_object)))
        static_data_of(self_object)->name = name;
    return no_value;
}

static Value setup_name(Value initargs)
{
    static_data_of(self_object)->setup_name(initargs);
    return no_value;
}

static const Primitive static_data_methods[] = {
    { "get-name", get_name, "(get-name): the value of the slot name" },
    { "set-name", set_name,
      "(set-name value): sets the slot name, and the native side's if there is one; no value" },
    { "setup-name", setup_name,
      "(setup-name initargs): takes the name from the creation argument :name; an obj-persistence looks "
      "also in its configuration and at standard-name; no value; error 2 without native side" },
};

// ---- Methods of obj-persistence

template <void (Persistence::*operation)()> static Value perform()
{
    (persistence_of(self_object)->*operation)();
    return no_value;
}

static Value enabled_p() { return boolean(persistence_of(self_object)->enabled()); }
static Value get_title() { return persistence_of(self_object)->get_title(); }
static Value get_title_ref() { return persistence_of(self_object)->get_title_ref(); }

static Value set_title(Value title)
{
    persistence_of(self_object)->set_title(title);
    return no_value;
}

static Value get_constructor() { return persistence_of(self_object)->constructor; }

static Value set_constructor(Value list)
{
    persistence_of(self_object)->constructor = list;
    return no_value;
}

static Value setup_constructor(Value initargs)
{
    persistence_of(self_object)->set_constructor(initargs);
    return no_value;
}

static Value link_object()
{
    const Value object = object_argument(self_object);
    if (object_is_open(object))
        return no_value;
    const Opener opener = opener_of(object_block(object)->class_);
    if (!opener)
        raise_error(kErrorType, object);
    const Value pointer = make_pointer(kPointerCpp, 0);
    NativeObject* const native = opener();
    if (!native)
        raise_error(kErrorNoMemory);
    set_pointer(pointer, zone_address(native));
    if (native->is_persistent())
        static_cast<Persistence*>(native)->lisp_object = object;
    set_native_of(object, pointer);
    return no_value;
}

static Value close_link()
{
    const Value object = self_object;
    NativeObject* const native = native_object(object);
    set_native_of(object, nil);
    delete native;
    return no_value;
}

static const Primitive persistence_methods[] = {
    { "link-object", link_object,
      "(link-object): gives the object its native side, unless it has one; no value; error 9 when "
      "memory is refused" },
    { "close-link", close_link,
      "(close-link): deletes the native side; no value; error 2 with the object when it has none" },
    { "open", perform<&Persistence::open>,
      "(open): completes the native side: name, Lisp object and what the class adds; no value; error 2 "
      "without native side" },
    { "show", perform<&Persistence::show>, "(show): makes the object visible; no value" },
    { "hide", perform<&Persistence::hide>, "(hide): makes it invisible; no value" },
    { "enable", perform<&Persistence::enable>, "(enable): lets it be used; no value" },
    { "disable", perform<&Persistence::disable>, "(disable): keeps it from being used; no value" },
    { "hilite", perform<&Persistence::hilite>, "(hilite): shows it highlighted; no value" },
    { "dehilite", perform<&Persistence::dehilite>, "(dehilite): ends the highlighting; no value" },
    { "enabled?", enabled_p, "(enabled?): t when the object may be used" },
    { "get-title", get_title,
      "(get-title): the title, its reference turned into text by resolve-string; nil for none" },
    { "get-title-ref", get_title_ref, "(get-title-ref): the reference of the title, or nil" },
    { "set-title", set_title, "(set-title value): changes the title; no value" },
    { "get-constructor", get_constructor,
      "(get-constructor): the configurations that apply to the object, in the order of search" },
    { "set-constructor", set_constructor, "(set-constructor list): replaces them; no value" },
    { "setup-constructor", setup_constructor,
      "(setup-constructor initargs): gathers them: creation arguments, those found in the parent's, the "
      "object's own, its class's and, by inherit-configuration?, its class's parents'; no value" },
    { "search-property", search_property,
      "(search-property symbol): the value that the configurations give the slot, or its initial value" },
    { "search-constructor", search_constructor,
      "(search-constructor symbol): the tail of the first property list that begins at the symbol's "
      "keyword, or nil" },
    { "find-self-config", find_self_config,
      "(find-self-config list): which of the configurations is the current object's, by config-creator, "
      "then by name; nil for none" },
};

// ---- Boot

// A class that applications redefine under its own name has objects to be brought up to date.
static void class_defined(Value symbol, Value cls)
{
    if (!is_real_class(cls) || class_block(cls)->name != symbol)
        return;
    if (is_true_flag(global_value(symbol_system)))
        return;
    if (is_a(cls, class_block(class_persistence)->name))
        call_value(symbol_update_classes, cls);
}

static NativeObject* open_static_data() { return new StaticData; }
static NativeObject* open_persistence() { return new Persistence; }
static NativeObject* open_interface() { return new Interface; }

static void mark_native_classes()
{
    mark_value(class_static_data);
    mark_value(class_persistence);
    mark_value(class_interface);
}

void init_persistence()
{
    class_static_data = class_persistence = class_interface = nil;
    add_root_marker(mark_native_classes);
    name_slot = intern("name");
    symbol_configuration = intern("configuration");
    symbol_standard_name = intern("standard-name");
    symbol_resolve_string = intern("resolve-string");
    symbol_system = intern("System?", symbol_t);
    symbol_update_classes = intern("update-classes");
    keyword_name = intern_keyword("name");
    class_static_data = define_native_class("obj-static-data", open_static_data, nil);
    class_persistence = define_native_class("obj-persistence", open_persistence, class_static_data);
    class_interface = define_native_class("obj-interface", open_interface, class_persistence);
    define_methods(class_static_data, static_data_methods);
    define_methods(class_persistence, persistence_methods);
    init_constructors();
    hooks.class_defined = class_defined;
}
