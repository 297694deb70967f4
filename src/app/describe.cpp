// What programmers ask a console: which names there are, and what stands behind one.
#include "app/describe.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "kernel/call_trace.h"
#include "kernel/errors.h"
#include "kernel/evaluator.h"
#include "kernel/primitive.h"
#include "kernel/printer.h"
#include "kernel/symbols.h"
#include "objects/objects.h"

static std::map<std::string, std::string> definitions;

std::string definition_place(const std::string& name)
{
    const auto found = definitions.find(name.substr(name.rfind(' ') + 1));
    return found == definitions.end() ? "" : found->second;
}

void note_definition(const std::string& name, const std::string& place)
{
    definitions[name] = place;
}

void forget_definitions()
{
    definitions.clear();
}

static void print_line(const std::string& text)
{
    print_text(text.c_str());
    print_char('\r');
}

// ---- apropos

static Value apropos(Value text)
{
    const std::string wanted = coerce_to_cstring(text);
    std::vector<std::string> names;
    const SymbolEntry* const table = reinterpret_cast<SymbolEntry*>(symbol_base);
    for (uint32_t i = 0; i < spaces.symbol_count; i++) {
        if (table[i].name == 0)
            continue;
        const std::string name = string_chars(Value::from_bits(table[i].name));
        const bool defined = table[i].value != no_value.bits() || table[i].slot_index >= 0;
        if (defined && name[0] != ':' && name.find(wanted) != std::string::npos)
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    for (const std::string& name : names)
        print_line(name);
    return no_value;
}

// ---- describe

// "name: value" with the display form of the value.
static void print_field(const std::string& name, Value v)
{
    print_text(("  " + name + ": ").c_str());
    print_display(v);
    print_char('\r');
}

static std::string class_text(Value cls)
{
    const Value name = class_block(cls)->name;
    return is_symbol(name) ? symbol_chars(name) : "?";
}

static std::string class_list_text(Value classes)
{
    std::string text;
    for (; is_pair(classes); classes = cdr_of(classes))
        text += " " + class_text(car_of(classes));
    return text.empty() ? " none" : text;
}

static void describe_function(Value f)
{
    const Value function =
        f.tag() == kTagLexical || f.tag() == kTagClosed || f.tag() == kTagClosedSyntax
            ? (f.tag() == kTagLexical ? cdr_of(f) : car_of(f))
            : f;
    const std::string name = function_name(f);
    print_text(name.empty() ? "a function without a name" : name.c_str());
    print_text(": ");
    print_display(car_of(cdr_of(function)));
    print_char('\r');
    const std::string place = definition_place(name);
    if (!place.empty())
        print_line("  defined in " + place);
}

// Names that the class itself knows, methods and slots apart, sorted.
static void collect_members(Value cls, std::vector<std::string>* methods,
                            std::vector<std::string>* slots)
{
    const SymbolEntry* const table = reinterpret_cast<SymbolEntry*>(symbol_base);
    for (uint32_t i = 0; i < spaces.symbol_count; i++) {
        if (table[i].name == 0)
            continue;
        const Value symbol(kTagSymbol, i * sizeof(SymbolEntry));
        if (Value::from_bits(table[i].slot_class) == cls) {
            methods->push_back(symbol_chars(symbol));
            continue;
        }
        const Value entry = member_entry(cls, symbol);
        if (!is_end(entry))
            (entry.tag() == kTagSlot ? slots : methods)->push_back(symbol_chars(symbol));
    }
    std::sort(methods->begin(), methods->end());
    std::sort(slots->begin(), slots->end());
}

static std::string joined(const std::vector<std::string>& names)
{
    std::string text;
    for (const std::string& name : names)
        text += " " + name;
    return text.empty() ? " none" : text;
}

static void describe_class(Value cls)
{
    print_line("class " + class_text(cls));
    print_line("  parents:" + class_list_text(class_block(cls)->ascendants));
    print_line("  children:" + class_list_text(class_block(cls)->descendants));
    std::vector<std::string> methods, slots;
    collect_members(cls, &methods, &slots);
    for (const std::string& slot : slots) {
        const Value descriptor = slot_descriptor(cls, intern_dynamic(slot.c_str()));
        print_field("slot " + slot, slot_record(descriptor)->default_);
    }
    print_line("  methods:" + joined(methods));
}

static void describe_instance(Value object)
{
    const Value cls = object_block(object)->class_;
    print_line("an instance of " + class_text(cls));
    std::vector<std::string> methods, slots;
    collect_members(cls, &methods, &slots);
    for (const std::string& slot : slots) {
        const Value descriptor = slot_descriptor(cls, intern_dynamic(slot.c_str()));
        if (slot_record(descriptor)->allocate)
            print_field(slot, read_slot_raw(object, descriptor));
    }
    for (Value list = object_block(object)->overrides; is_pair(list); list = cdr_of(list))
        print_field(std::string("override ") + symbol_chars(car_of(car_of(list))),
                    cdr_of(car_of(list)));
}

static void describe_value(Value v)
{
    switch (v.tag()) {
    case kTagPrimitive:
    case kTagSpecial:
        print_line(primitive_row(v).usage);
        break;
    case kTagFunction:
    case kTagSyntax:
    case kTagGamma:
    case kTagSyntaxGamma:
    case kTagLexical:
    case kTagClosed:
    case kTagClosedSyntax:
        describe_function(v);
        break;
    case kTagClass:
        if (v == root_class)
            print_line("the class KALVEX: no object is current");
        else
            describe_class(v);
        break;
    case kTagInstance:
        describe_instance(v);
        break;
    default:
        print_display(v);
        print_char('\r');
    }
}

// A symbol is described by its usage line, if it has one, or by its value.
static Value describe(Value v)
{
    if (!is_symbol(v)) {
        describe_value(v);
        return no_value;
    }
    const char* usage = primitive_usage(symbol_chars(v));
    if (usage)
        print_line(usage);
    else if (is_bound(v) && symbol_value(v) != v)
        describe_value(symbol_value(v));
    else
        print_line(std::string("the symbol ") + symbol_chars(v));
    return no_value;
}

static const Primitive describe_primitives[] = {
    { "apropos", apropos,
      "(apropos text): prints the defined names that hold the text, sorted, one a line" },
    { "describe", describe,
      "(describe value): prints what a function, class, instance or the name of one is: parameters "
      "and "
      "place of its definition, parents, slots and methods, the slots' values, or the usage line" },
};

void init_describe()
{
    forget_definitions();
    define_primitives(describe_primitives);
}
