// The forms that define things and the `bind` family, which takes lists, keywords, properties and
// native structures apart. All get their arguments unevaluated; the local variables in them have been
// resolved by the walk over the function that they stand in.
#include "kernel/definitions.h"

#include <cstring>
#include <vector>

#include "kernel/collector.h"
#include "kernel/evaluator.h"
#include "kernel/hooks.h"
#include "kernel/lists.h"
#include "kernel/primitive.h"
#include "kernel/symbols.h"

static Value symbol_lambda;
static Value symbol_nil;
static Value symbol_search_property;

// ---- define

// The value of (name value), (name documentation value), (name) or ((name params...) body...).
static Value defined_value(Value arguments)
{
    const Value target = car_of(arguments);
    const Value parts = cdr_of(arguments);
    if (is_pair(target)) {
        const Value function = compile_alone(symbol_lambda, cons(cdr_of(target), parts));
        protect(function);
        return function;
    }
    if (!is_pair(parts))
        return no_value;
    return eval(car_of(is_pair(cdr_of(parts)) ? cdr_of(parts) : parts));
}

static Value define(Value arguments)
{
    const Value target = first(arguments);
    const Value name = is_pair(target) ? car_of(target) : target;
    if (!is_symbol(name))
        raise_error(kErrorType, name);
    const Value value = defined_value(arguments);
    hooks.prepare_definition(name, true);
    if (self_object == root_class)
        set_symbol_value(name, value);
    else
        hooks.define_member(name, value);
    if (value.tag() == kTagClass && value != root_class)
        hooks.class_defined(name, value);
    return name;
}

static Value defslot(Value arguments)
{
    const Value name = first(arguments);
    if (!is_symbol(name))
        raise_error(kErrorType, name);
    hooks.define_slot(arguments);
    return name;
}

// ---- Structures in memory

struct Structure {
    Value name;
    Value descriptor;
};

static std::vector<Structure> structures;  // marked by mark_structures

static void mark_structures()
{
    for (const Structure& structure : structures)
        mark_value(structure.descriptor);
}

static Structure* find_structure(Value name)
{
    for (Structure& structure : structures)
        if (structure.name == name)
            return &structure;
    return nullptr;
}

static uint32_t width_bytes(int32_t width)
{
    switch (width) {
    case 1:
        return 1;
    case 2: case 3: case -2: case -3:
        return 2;
    case 4: case -4:
        return 4;
    default:
        return 0;
    }
}

// One field of a descriptor: [name] width [offset]. Without an offset the field lies right behind the
// one before it.
struct Field {
    Value name;  // nil when it has none
    int32_t width;
    uint32_t offset;
};

static Field field_of(Value field_spec, uint32_t behind)
{
    Field field = { nil, 0, behind };
    Value parts = field_spec;
    if (is_symbol(first(parts)) || first(parts).tag() == kTagVariable) {
        field.name = first(parts);
        parts = rest(parts);
    }
    if (!is_fixnum(first(parts)) || width_bytes(fixnum_value(first(parts))) == 0)
        raise_error(kErrorType, field_spec);
    field.width = fixnum_value(first(parts));
    parts = rest(parts);
    if (is_pair(parts)) {
        field.offset = static_cast<uint32_t>(integer_value(car_of(parts)));
        parts = cdr_of(parts);
    }
    if (!is_nil(parts))
        raise_error(kErrorType, field_spec);
    return field;
}

// Descriptors are checked when they are recorded, so that a mistake is told where it was made.
static Value defstruct(Value arguments)
{
    const Value name = first(arguments);
    const Value descriptor = first(rest(arguments));
    if (!is_symbol(name))
        raise_error(kErrorType, name);
    Value specs = descriptor;
    for (uint32_t count = 0; is_pair(specs); specs = cdr_of(specs)) {
        if (++count > spaces.node_count)
            raise_error(kErrorType, descriptor);
        field_of(car_of(specs), 0);
    }
    if (!is_nil(specs))
        raise_error(kErrorType, descriptor);
    if (Structure* known = find_structure(name))
        known->descriptor = descriptor;
    else
        structures.push_back({ name, descriptor });
    return name;
}

static Value read_field(const Field& field, uint32_t base, Value pointer)
{
    const uint32_t size = width_bytes(field.width);
    const uint32_t address = base + field.offset;
    if (!zone_mapped(address, size))
        raise_error(kErrorType, pointer);
    const uint8_t* const bytes = zone_pointer(address);
    uint32_t raw = 0;
    for (uint32_t i = 0; i < size; ++i)
        raw |= static_cast<uint32_t>(bytes[i]) << 8 * (field.width < 0 ? size - 1 - i : i);
    switch (field.width) {
    case 3: case -3:
        return make_fixnum(static_cast<int16_t>(raw));
    case 4: case -4:
        return make_integer(static_cast<int32_t>(raw));
    default:
        return make_fixnum(static_cast<int32_t>(raw));
    }
}

// ---- Names of keywords, fields and variables, compared by their letters

static Value name_symbol(Value name)
{
    if (name.tag() == kTagVariable)
        return variable_symbol(name);
    if (!is_symbol(name))
        raise_error(kErrorType, name);
    return name;
}

// Whether a symbol's name, without the colon of a keyword, is that of another symbol.
static bool same_name(Value key, Value symbol)
{
    if (key.tag() == kTagVariable)
        key = variable_symbol(key);
    if (!is_symbol(key))
        return false;
    const char* const chars = symbol_chars(key);
    return strcmp(chars + (*chars == ':'), symbol_chars(symbol)) == 0;
}

// A spec is a place, or (place default).
static Value spec_place(Value spec)
{
    return is_pair(spec) ? car_of(spec) : spec;
}

static Value spec_default(Value spec)
{
    const Value form = first(rest(spec));
    return is_nil(form) ? nil : eval(form);
}

static void set_place(Value place, Value v)
{
    assign(place, v, current_lambda());
}

static Value body_value(Value forms)
{
    return eval_body(forms, current_lambda());
}

// ---- bind

static void bind_pattern(Value pattern, Value value)
{
    check_stack();
    while (is_pair(pattern)) {
        if (!is_pair(value) && !is_nil(value))
            raise_error(kErrorType, value);
        bind_pattern(car_of(pattern), first(value));
        pattern = cdr_of(pattern);
        value = rest(value);
    }
    // The name `nil` reads as a symbol, which no one means to bind.
    if (!is_nil(pattern) && pattern != symbol_nil)
        set_place(pattern, value);
}

static Value bind(Value arguments)
{
    const Value value = eval(first(rest(arguments)));
    bind_pattern(first(arguments), value);
    return body_value(rest(rest(arguments)));
}

// A list of key, value, key, value...: error 2 with the tail that has no value. A list that goes
// round has no end to look for.
static void check_keywords(Value list)
{
    uint32_t count = 0;
    for (Value tail = list; !is_nil(tail); tail = cdr_of(cdr_of(tail)))
        if (!is_pair(tail) || !is_pair(cdr_of(tail)) || ++count > spaces.node_count)
            raise_error(kErrorType, tail);
}

// no_value when the key is not there.
static Value keyword_value(Value list, Value symbol)
{
    for (Value tail = list; is_pair(tail); tail = rest(rest(tail)))
        if (same_name(car_of(tail), symbol))
            return first(rest(tail));
    return no_value;
}

static Value bind_keywords(Value arguments)
{
    const Value list = eval(first(rest(arguments)));
    check_keywords(list);
    for (Value specs = first(arguments); is_pair(specs); specs = cdr_of(specs)) {
        const Value place = spec_place(car_of(specs));
        Value value = keyword_value(list, name_symbol(place));
        if (value == no_value)
            value = spec_default(car_of(specs));
        set_place(place, value);
    }
    return body_value(rest(rest(arguments)));
}

static Value bind_optionals(Value arguments)
{
    Value list = eval(first(rest(arguments)));
    for (Value specs = first(arguments); is_pair(specs); specs = cdr_of(specs)) {
        if (!is_pair(list) && !is_nil(list))
            raise_error(kErrorType, list);
        const Value value = is_pair(list) ? car_of(list) : spec_default(car_of(specs));
        set_place(spec_place(car_of(specs)), value);
        list = rest(list);
    }
    return body_value(rest(rest(arguments)));
}

static Value bind_properties(Value arguments)
{
    for (Value names = first(arguments); is_pair(names); names = cdr_of(names)) {
        const Value place = car_of(names);
        set_place(place, call_value(symbol_search_property, name_symbol(place)));
    }
    return body_value(rest(arguments));
}

// ---- bind-struct

// The field that a place is for: the one of its name, or by number when the descriptor has no names.
static Field place_field(Value descriptor, Value place, Value wanted, uint32_t number)
{
    const Value symbol = name_symbol(wanted);
    uint32_t behind = 0;
    for (uint32_t i = 0; is_pair(descriptor); descriptor = cdr_of(descriptor), ++i) {
        const Field field = field_of(car_of(descriptor), behind);
        if (is_nil(field.name) ? i == number : same_name(field.name, symbol))
            return field;
        behind = field.offset + width_bytes(field.width);
    }
    raise_error(kErrorType, place);
}

static Value bind_struct(Value arguments)
{
    const Value name = first(arguments);
    const Structure* const structure = find_structure(name);
    if (!structure)
        raise_error(kErrorType, name);
    const Value descriptor = structure->descriptor;
    const Value tail = rest(rest(arguments));
    const Value pointer = eval(first(tail));
    const uint32_t base = pointer_of(pointer);
    uint32_t number = 0;
    for (Value fields = first(rest(arguments)); is_pair(fields); fields = cdr_of(fields), ++number) {
        const Value place = spec_place(car_of(fields));
        const Value wanted = is_pair(car_of(fields)) ? first(rest(car_of(fields))) : place;
        set_place(place, read_field(place_field(descriptor, place, wanted, number), base, pointer));
    }
    return body_value(rest(tail));
}

// ----

static const Primitive definition_primitives[] = {
    Primitive::special("define", define,
      "(define name value), (define name documentation value), (define (name _param...) body...): binds "
      "name to the value, or makes it a method or constant of the class that is current; the name. A "
      "name alone is left unbound. The code of the last form is permanent. Error 2 when name is no "
      "symbol" ),
    Primitive::special("defslot", defslot,
      "(defslot name keyword value...): adds a slot to the current class; the name. Error 2 for an "
      "unknown keyword, 56 and 57 once the class has instances" ),
    Primitive::special("defstruct", defstruct,
      "(defstruct name (field...)): records how a structure lies in memory; the name. A field is (name "
      "width offset), (name width), or the same without name: width as for mref (1, 2, 3, 4, -2, -3, "
      "-4), offset in bytes, right behind the field before when left out. Error 2 with a bad field" ),
    Primitive::special("bind", bind,
      "(bind pattern value body...): sets the variables and symbols of the pattern to the parts of the "
      "value in the same places (nil past the end of a list) and evaluates the body. Error 2 for "
      "anything else in the pattern, and for an atom where it wants a list" ),
    Primitive::special("bind-keywords", bind_keywords,
      "(bind-keywords (name-or-(name default)...) list body...): sets each name to what stands behind "
      "its keyword in the list, else to its default, and evaluates the body. Error 2 with the tail of "
      "an odd list" ),
    Primitive::special("bind-optionals", bind_optionals,
      "(bind-optionals (name-or-(name default)...) list body...): sets the names to the items of the "
      "list, those that it is too short for to their defaults, and evaluates the body" ),
    Primitive::special("bind-properties", bind_properties,
      "(bind-properties (name...) body...): sets each name to what search-property of the current "
      "object answers for it and evaluates the body" ),
    Primitive::special("bind-struct", bind_struct,
      "(bind-struct name (field...) pointer body...): sets variables to fields of the structure at the "
      "pointer, as defstruct described it, and evaluates the body. A field is a variable of the "
      "field's name, or (variable field-name); without names in the descriptor they go by position. "
      "Error 2 for an unknown structure or field, and with the pointer when it leads nowhere" ),
};

void init_definitions()
{
    structures.clear();
    add_root_marker(mark_structures);
    symbol_lambda = intern("lambda");
    symbol_nil = intern("nil");
    symbol_search_property = intern("search-property");
    define_primitives(definition_primitives);
}
