// Making classes and joining them to their parents.
#include <cassert>
#include <vector>

#include "kernel/collector.h"
#include "kernel/errors.h"
#include "kernel/frames.h"
#include "kernel/hooks.h"
#include "kernel/symbols.h"
#include "objects/objects.h"

static std::vector<Opener> openers;
static Value obj_root;
static bool has_united;  // unite-class has been called in this run

static Value symbol_system;
static Value symbol_system_classes;

Value class_argument(Value v)
{
    if (!is_real_class(v))
        raise_error(kErrorType, v);
    return v;
}

Value object_argument(Value v)
{
    if (!is_object(v) || v == root_class)
        raise_error(kErrorType, v);
    return v;
}

// ---- Openers

uint32_t opener_row(Opener opener)
{
    if (!opener)
        return 0;
    for (size_t i = 0; i < openers.size(); ++i)
        if (openers[i] == opener)
            return static_cast<uint32_t>(i + 1);
    openers.push_back(opener);
    return static_cast<uint32_t>(openers.size());
}

Opener opener_of(Value cls)
{
    const uint32_t row = class_block(cls)->opener;
    return row ? openers[row - 1] : nullptr;
}

// ---- Making

Value new_bare_class(Value name, uint32_t opener)
{
    const int entries = new_table_size();
    const Value members = new_member_table(entries);
    ensure_space(sizeof(ClassBlock));
    const Value cls = new_indirect(sizeof(ClassBlock), kTagClass, kHeaderClass);
    ClassBlock* const block = class_block(cls);
    block->class_ = cls;
    block->native = nil;
    block->overrides = nil;
    block->name = name;
    block->members = members;
    block->opener = opener;
    block->ascendants = nil;
    block->descendants = nil;
    block->genealogy = nil;
    block->table_size = static_cast<int16_t>(entries);
    block->instance_size = sizeof(ObjectBlock);
    block->inited = 0;
    block->united = 0;
    const Value genealogy = cons(cls, nil);
    class_block(cls)->genealogy = genealogy;
    return cls;
}

// A fresh list of the first's items in front of the second.
static Value append_lists(Value first, Value second)
{
    const Value head = cons(nil, second);
    Value last = head;
    for (; is_pair(first); first = cdr_of(first)) {
        const Value cell = cons(car_of(first), second);
        set_cdr(last, cell);
        last = cell;
    }
    return cdr_of(head);
}

// A fresh list without one item: every occurrence of it is left out.
static Value list_without(Value list, Value item)
{
    const Value head = cons(nil, nil);
    Value last = head;
    for (; list != nil; list = cdr_of(list)) {
        if (car_of(list) == item)
            continue;
        const Value cell = cons(car_of(list), nil);
        set_cdr(last, cell);
        last = cell;
    }
    return cdr_of(head);
}

// The child of that name, if parent has one: a redefinition replaces it.
static Value child_named(Value parent, Value name)
{
    for (Value list = class_block(parent)->descendants; list != nil; list = cdr_of(list)) {
        const ClassBlock* const child = class_block(car_of(list));
        if (child->name == name && !(child->united & kClassRetired))
            return car_of(list);
    }
    return nil;
}

// From the last entry down; what cls has already stays, so the first parent with a name wins.
static void inherit_members(Value cls, Value parent)
{
    for (int i = class_block(parent)->table_size - 1; i >= 0; --i) {
        const Value entry = member_at(class_block(parent), i);
        if (is_end(entry))
            continue;
        const ClassBlock* const block = class_block(cls);
        assert(i < block->table_size && "an index that the counter has not reached");
        if (!is_end(member_at(block, i)))
            continue;
        const Value own = entry.tag() == kTagSlot ? new_descriptor(cdr_of(entry)) : entry;
        store_value(block_of(class_block(cls)->members) + 2 + 4 * i, own);
    }
}

enum class OpenerRule { inherit, keep };

static void link_parent(Value cls, Value parent, OpenerRule rule)
{
    const Value predecessor = child_named(parent, class_block(cls)->name);
    Value children = class_block(parent)->descendants;
    if (predecessor != nil)
        children = list_without(children, predecessor);
    children = append_lists(children, cons(cls, nil));
    class_block(parent)->descendants = children;
    const Value parents = append_lists(class_block(cls)->ascendants, cons(parent, nil));
    class_block(cls)->ascendants = parents;
    const Value genealogy =
        append_lists(class_block(cls)->genealogy, class_block(parent)->genealogy);
    class_block(cls)->genealogy = genealogy;
    // A mixin without a native side does not take away the one that another parent gives.
    const uint32_t opener = class_block(parent)->opener;
    if (rule == OpenerRule::inherit && opener)
        class_block(cls)->opener = opener;
    inherit_members(cls, parent);
}

static void note_system_class(Value cls)
{
    if (!is_true_flag(global_value(symbol_system)))
        return;
    const Value known = global_value(symbol_system_classes);
    set_global_value(symbol_system_classes, cons(cls, known == no_value ? nil : known));
}

Value define_native_class(const char* name, Opener opener, Value parents)
{
    const Value symbol = intern(name);
    const Value cls = new_bare_class(symbol, opener_row(opener));
    if (obj_root == nil)
        obj_root = cls;
    else if (parents == nil)
        parents = obj_root;
    if (parents.tag() == kTagClass)
        parents = cons(parents, nil);
    for (; parents != nil; parents = cdr_of(parents))
        link_parent(cls, car_of(parents), OpenerRule::keep);
    set_global_value(symbol, cls);
    note_system_class(cls);
    return cls;
}

// ---- Questions

static bool has_ancestor(Value cls, Value name)
{
    check_stack();
    if (class_block(cls)->name == name)
        return true;
    for (Value list = class_block(cls)->ascendants; list != nil; list = cdr_of(list))
        if (has_ancestor(car_of(list), name))
            return true;
    return false;
}

bool is_a(Value object, Value class_name)
{
    return object != root_class && has_ancestor(object_block(object)->class_, class_name);
}

// ---- Primitives

static Value made_class(Value name, const Value* parents, uint8_t flags)
{
    if (!is_symbol(name))
        raise_error(kErrorType, name);
    for (const Value* parent = parents; !is_end(*parent); ++parent)
        class_argument(*parent);
    const Value cls = new_bare_class(name, 0);
    class_block(cls)->united = flags;
    for (const Value* parent = parents; !is_end(*parent); ++parent)
        link_parent(cls, *parent, OpenerRule::inherit);
    if (!(flags & kClassMixin) && !is_a(cls, class_block(obj_root)->name))
        link_parent(cls, obj_root, OpenerRule::inherit);
    note_system_class(cls);
    return cls;
}

static Value new_class(Value name, Rest parents)
{
    return made_class(name, parents, kClassUnited);
}

static Value new_mixin(Value name, Rest parents)
{
    return made_class(name, parents, kClassUnited | kClassMixin);
}

static Value unite_class(Value name, Rest parents)
{
    if (!is_symbol(name))
        raise_error(kErrorType, name);
    const Value cls = global_value(name);
    if (!is_real_class(cls))
        raise_error(kErrorType, name);
    if (has_united && !is_end(*parents)) {
        Value known = class_block(cls)->ascendants;
        for (; !is_end(*parents); ++parents) {
            if (known == nil || car_of(known) != *parents)
                raise_error(kErrorType, *parents);
            known = cdr_of(known);
        }
        if (known != nil)
            raise_error(kErrorType, append_lists(known, nil));
    }
    has_united = true;
    class_block(cls)->united |= kClassUnited;
    return cls;
}

static Value remove_class(Value cls)
{
    for (Value list = class_block(class_argument(cls))->ascendants; list != nil; list = cdr_of(list)) {
        const Value children = list_without(class_block(car_of(list))->descendants, cls);
        class_block(car_of(list))->descendants = children;
    }
    return no_value;
}

static Value self() { return self_object; }

static Value object_p(Value v) { return boolean(is_object(v)); }
static Value class_p(Value v) { return boolean(v.tag() == kTagClass); }
static Value instance_p(Value v) { return boolean(v.tag() == kTagInstance); }

static Value object_class(Value object)
{
    return object == root_class ? root_class : class_of(object_argument(object));
}

static Value object_opened_p()
{
    return boolean(self_object != root_class && object_is_open(self_object));
}

static Value class_name(Value cls) { return class_block(class_argument(cls))->name; }

// Lisp gets copies: nothing checks the lists of a class when they are walked.
static Value ascendants(Value cls)
{
    return append_lists(class_block(class_argument(cls))->ascendants, nil);
}

static Value genealogy(Value cls)
{
    return append_lists(class_block(class_argument(cls))->genealogy, nil);
}

// Layouts that a class has outgrown are kept among its descendants, and shown to nobody.
static Value descendants(Value cls)
{
    Value list = append_lists(class_block(class_argument(cls))->descendants, nil);
    Value rest = list;
    while (rest != nil) {
        const Value child = car_of(rest);
        rest = cdr_of(rest);
        if (class_block(child)->united & kClassRetired)
            list = list_without(list, child);
    }
    return list;
}

static Value class_table_size(Value cls)
{
    return make_fixnum(class_block(class_argument(cls))->table_size);
}

static Value superclass(Value object)
{
    if (object == root_class)
        return nil;
    const Value parents = class_block(class_of(object_argument(object)))->ascendants;
    return parents == nil ? nil : car_of(parents);
}

static Value class_united_p(Value cls)
{
    return boolean(class_block(class_argument(cls))->united & kClassUnited);
}

static Value reset_inited(Value cls)
{
    reset_layout(class_argument(cls));
    return no_value;
}

static const Primitive class_primitives[] = {
    { "new-class", new_class,
      "(new-class name parent...): a new class; obj-root is its last parent unless it descends from it "
      "already; error 2 with a name that is no symbol, or a parent that is no class" },
    { "new-mixin", new_mixin,
      "(new-mixin name parent...): as new-class, without the implied parent obj-root" },
    { "unite-class", unite_class,
      "(unite-class name parent...): the class that name is bound to, made by the system; the parents, "
      "if given, must be its own in order, or error 2 with the first that differs or with those that "
      "remain" },
    { "remove-class", remove_class,
      "(remove-class class): takes the class out of its parents' descendants; no value" },
    { "make-instance", make_instance,
      "(make-instance class): a new instance, its slots at their defaults; nothing is sent to it" },
    { "self", self, "(self): the current object" },
    { "object?", object_p, "(object? value): t for a class or an instance" },
    { "class?", class_p, "(class? value): t for a class" },
    { "instance?", instance_p, "(instance? value): t for an instance" },
    { "object-class", object_class, "(object-class object): the object's class; a class answers itself" },
    { "object-opened?", object_opened_p, "(object-opened?): t if the current object has a native side" },
    { "class-name", class_name, "(class-name class): its name, a symbol" },
    { "ascendants", ascendants, "(ascendants class): its parents, in order" },
    { "descendants", descendants, "(descendants class): its direct children" },
    { "genealogy", genealogy,
      "(genealogy class): the class, then each parent's genealogy in turn; a class reached twice stands "
      "there twice" },
    { "class-table-size", class_table_size,
      "(class-table-size class): the entries of its member table" },
    { "superclass", superclass,
      "(superclass object): the first parent of the object's class, or nil" },
    { "class-united?", class_united_p,
      "(class-united? class): t when the class has been made or united by Lisp code" },
    { "reset-inited", reset_inited,
      "(reset-inited class): the next make-instance lays the slots out anew, so slots may be added; "
      "instances that exist keep their layout; no value" },
};

static void mark_classes() { mark_value(obj_root); }

void init_classes()
{
    openers.clear();
    obj_root = nil;
    has_united = false;
    add_root_marker(mark_classes);
    symbol_system = intern("System?", symbol_t);
    symbol_system_classes = intern("System-Classes", nil);
    define_primitives(class_primitives);
}
