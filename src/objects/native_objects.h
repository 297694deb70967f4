// The native sides of the root classes obj-static-data, obj-persistence and obj-interface, and the
// virtual operations that a class with a native side overrides. Values in them are marked by mark().
#pragma once

#include "objects/objects.h"

struct StaticData : NativeObject {
    void mark() override;
    bool is_static_data() const override { return true; }
    Value setup_name(Value initargs) override;

    Value name;
};

// An object that is built from configurations.
struct Persistence : StaticData {
    void mark() override;
    bool is_persistent() const override { return true; }

    // The current object's name: as it stands, from the arguments, its configuration, standard-name.
    Value setup_name(Value initargs) override;

    // The current object is the Lisp side. A subclass makes its system resource in open.
    virtual void open();
    virtual void close() {}
    virtual void show() {}
    virtual void hide() {}
    virtual void enable() {}
    virtual void disable() {}
    virtual bool enabled() { return true; }
    virtual void hilite() {}
    virtual void dehilite() {}
    virtual Value get_title();
    virtual Value get_title_ref() { return nil; }
    virtual void set_title(Value) {}

    // Gathers the configurations that apply to the current object, in the order of search. Sends to
    // Lisp, so this object may be gone when it returns.
    virtual void set_constructor(Value initargs);

    Value lisp_object;
    Value constructor;  // list of configurations
};

// The base of all that appears on screen.
struct Interface : Persistence {
    bool is_interface() const override { return true; }
};

extern Value class_static_data;
extern Value class_persistence;
extern Value class_interface;

// The native side of an object; error 2 with the object when it has none, or none of that kind.
StaticData* static_data_of(Value object);
Persistence* persistence_of(Value object);

// The tail of the first property list in the object's constructor that begins at the symbol's keyword,
// or nil. search_property: the value behind the key, else the slot's initial value.
Value search_constructor(Value symbol);
Value search_property(Value symbol);

// Which of the configurations is the current object's own; nil for none.
Value find_self_config(Value configs);

// The value of a symbol, nil when it is unbound.
Value value_or_nil(Value symbol);

// The configurations that apply to the object, in the order of search.
Value gather_constructor(Value object, Value initargs);

void init_constructors();
