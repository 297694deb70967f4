// Taking configurations apart, and building one from creation arguments.
#include "objects/configurations.h"

#include <string>

#include "kernel/errors.h"
#include "kernel/frames.h"
#include "kernel/symbols.h"
#include "objects/objects.h"

static Value keyword_initargs;

static bool is_tag(Value v)
{
    return is_symbol(v) || is_fixnum(v) || v.tag() == kTagLong || v.tag() == kTagUnsignedLong;
}

// ---- Headers

static Value header_item(Value header, int n)
{
    if (header != nil && !is_pair(header))
        raise_error(kErrorType, header);
    for (; n > 0 && is_pair(header); --n)
        header = cdr_of(header);
    return is_pair(header) ? car_of(header) : nil;
}

Value header_name(Value header)
{
    if (header == keyword_initargs)
        return nil;
    return is_tag(header) ? header : header_item(header, 1);
}

static Value header_type(Value header)
{
    return is_tag(header) ? nil : header_item(header, 0);
}

static Value header_owner(Value header)
{
    return is_tag(header) ? nil : header_item(header, 2);
}

// ---- Parts

// The cell that holds part n (3: the cell whose cdr is the pages is part 2's).
static Value part_cell(Value config, int n)
{
    Value cell = config;
    for (; n > 0 && is_pair(cell); --n)
        cell = cdr_of(cell);
    if (!is_pair(cell))
        raise_error(kErrorType, config);
    return cell;
}

static Value part(Value config, int n)
{
    return config == nil ? nil : car_of(part_cell(config, n));
}

Value config_header(Value config) { return part(config, 0); }
Value config_properties(Value config) { return part(config, 1); }
Value config_children(Value config) { return part(config, 2); }

static Value config_pages(Value config)
{
    return config == nil ? nil : cdr_of(part_cell(config, 2));
}

Value config_name(Value config) { return header_name(config_header(config)); }
static Value config_type(Value config) { return header_type(config_header(config)); }
static Value config_owner(Value config) { return header_owner(config_header(config)); }

static Value set_config_header(Value config, Value v)
{
    set_car(part_cell(config, 0), v);
    return no_value;
}

static Value set_config_properties(Value config, Value v)
{
    set_car(part_cell(config, 1), v);
    return no_value;
}

static Value set_config_children(Value config, Value v)
{
    set_car(part_cell(config, 2), v);
    return no_value;
}

static Value set_config_pages(Value config, Value v)
{
    set_cdr(part_cell(config, 2), v);
    return no_value;
}

static Value tag_p(Value v) { return boolean(is_tag(v)); }

// ---- Creation arguments

static Value make_config(Value header)
{
    return cons(header, cons(nil, cons(nil, nil)));
}

static Value child_headed(Value config, Value header)
{
    for (Value list = config_children(config); is_pair(list); list = cdr_of(list))
        if (is_pair(car_of(list)) && car_of(car_of(list)) == header)
            return car_of(list);
    return nil;
}

static void dispatch_argument(Value config, Value key, Value v)
{
    while (is_pair(key)) {
        const Value head = car_of(key);
        Value child = child_headed(config, head);
        if (child == nil) {
            child = make_config(head);
            set_config_children(config, cons(child, config_children(config)));
        }
        config = child;
        key = cdr_of(key);
        if (is_pair(key) && cdr_of(key) == nil)
            key = car_of(key);
    }
    const Value rest = cons(v, config_properties(config));
    set_config_properties(config, cons(key, rest));
}

Value initargs_config(Value initargs)
{
    const Value config = make_config(keyword_initargs);
    while (is_pair(initargs)) {
        const Value key = car_of(initargs);
        initargs = cdr_of(initargs);
        dispatch_argument(config, key, is_pair(initargs) ? car_of(initargs) : nil);
        if (is_pair(initargs))
            initargs = cdr_of(initargs);
    }
    return config;
}

Value find_property(Value properties, Value key)
{
    while (is_pair(properties)) {
        if (car_of(properties) == key)
            return properties;
        const Value rest = cdr_of(properties);
        properties = is_pair(rest) ? cdr_of(rest) : nil;
    }
    return nil;
}

Value existing_keyword(Value symbol)
{
    if (!is_symbol(symbol))
        raise_error(kErrorType, symbol);
    const char* const name = symbol_chars(symbol);
    if (name[0] == ':')
        return symbol;
    return find_symbol((":" + std::string(name)).c_str());
}

static const Primitive config_primitives[] = {
    { "tag?", tag_p, "(tag? value): t for a symbol or an integer" },
    { "header-type", header_type,
      "(header-type header): the first item of a list; nil for a tag; error 2 with what is no header" },
    { "header-name", header_name,
      "(header-name header): the tag itself, or the second item of a list; nil for :initargs" },
    { "header-owner", header_owner,
      "(header-owner header): the third item of a list; nil for a tag" },
    { "config-header", config_header,
      "(config-header configuration): its first item; nil for nil; error 2 with what is none" },
    { "config-properties", config_properties,
      "(config-properties configuration): its property list; nil for nil" },
    { "config-children", config_children,
      "(config-children configuration): the configurations of its children; nil for nil" },
    { "config-pages", config_pages,
      "(config-pages configuration): the configurations of the pages under it; nil for nil" },
    { "config-type", config_type, "(config-type configuration): header-type of its header" },
    { "config-name", config_name, "(config-name configuration): header-name of its header" },
    { "config-owner", config_owner, "(config-owner configuration): header-owner of its header" },
    { "set-config-header", set_config_header,
      "(set-config-header configuration header): stores in place; no value; error 2 with nil" },
    { "set-config-properties", set_config_properties,
      "(set-config-properties configuration list): stores in place; no value; error 2 with nil" },
    { "set-config-children", set_config_children,
      "(set-config-children configuration list): stores in place; no value; error 2 with nil" },
    { "set-config-pages", set_config_pages,
      "(set-config-pages configuration list): stores in place; no value; error 2 with nil" },
};

void init_configurations()
{
    keyword_initargs = intern_keyword("initargs");
    define_primitives(config_primitives);
}
