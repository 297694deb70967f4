#include "kernel/call_trace.h"

#include "kernel/errors.h"
#include "kernel/evaluator.h"
#include "kernel/object_layout.h"
#include "kernel/primitive.h"
#include "kernel/symbols.h"

static std::string symbol_text(Value symbol)
{
    return is_symbol(symbol) ? symbol_chars(symbol) : "";
}

static SymbolEntry* symbol_table()
{
    return reinterpret_cast<SymbolEntry*>(symbol_base);
}

static Value symbol_number(uint32_t i)
{
    return Value(kTagSymbol, i * sizeof(SymbolEntry));
}

// The one class's method, or the global.
static std::string name_in_symbols(Value function)
{
    for (uint32_t i = 0; i < spaces.symbol_count; ++i) {
        const SymbolEntry& entry = symbol_table()[i];
        if (entry.name == 0 || entry.value != function.bits())
            continue;
        const Value owner = Value::from_bits(entry.slot_class);
        const std::string name = symbol_chars(symbol_number(i));
        if (owner.tag() == kTagClass && owner != root_class)
            return symbol_text(class_block(owner)->name) + " " + name;
        return name;
    }
    return "";
}

static bool has_member(Value cls, int16_t index, Value function)
{
    return index < class_block(cls)->table_size && member_at(class_block(cls), index) == function;
}

// Whether a parent of the class holds the method too, so that it was defined further up.
static bool is_inherited(Value cls, int16_t index, Value function)
{
    for (Value list = class_block(cls)->ascendants; is_pair(list); list = cdr_of(list)) {
        if (has_member(car_of(list), index, function))
            return true;
    }
    return false;
}

// A method that was defined in the class. The classes are found through their names.
static std::string name_in_class(Value cls, Value function)
{
    for (uint32_t i = 0; i < spaces.symbol_count; ++i) {
        const SymbolEntry& entry = symbol_table()[i];
        if (entry.name != 0 && entry.slot_index >= 0 &&
            has_member(cls, entry.slot_index, function) &&
            !is_inherited(cls, entry.slot_index, function))
            return symbol_text(class_block(cls)->name) + " " + symbol_chars(symbol_number(i));
    }
    return "";
}

std::string function_name(Value function)
{
    const std::string name = name_in_symbols(function);
    if (!name.empty())
        return name;
    for (uint32_t i = 0; i < spaces.symbol_count; ++i) {
        const SymbolEntry& entry = symbol_table()[i];
        const Value cls = Value::from_bits(entry.value);
        if (entry.name == 0 || cls.tag() != kTagClass || cls == root_class)
            continue;
        const std::string method = name_in_class(cls, function);
        if (!method.empty())
            return method;
    }
    return "";
}

static LambdaFrame* next_lambda_frame(LambdaFrame* frame)
{
    return frame->previous ? frame->previous->lambda_frame : nullptr;
}

std::vector<RunningFunction> running_functions(size_t most)
{
    std::vector<RunningFunction> functions;
    Value last = nil;
    LambdaFrame* frame = current_frame->lambda_frame;
    for (; frame && frame != &top_frame; frame = next_lambda_frame(frame)) {
        if (frame->callee == nil)
            continue;
        if (frame->callee == last) {
            ++functions.back().depth;
            continue;
        }
        std::string name = function_name(frame->callee);
        if (name.empty())
            continue;
        if (functions.size() == most)
            break;
        last = frame->callee;
        functions.push_back({ std::move(name), 1 });
    }
    return functions;
}

// ---- Primitives

static constexpr size_t kMostNames = 50;

static Value running_functions_primitive()
{
    const std::vector<RunningFunction> functions = running_functions(kMostNames);
    Value list = nil;
    for (size_t i = functions.size(); i-- > 0;) {
        const Value name = make_string(functions[i].name.c_str());
        list = cons(name, list);
    }
    return list;
}

// Only a frame that is still running is taken.
static Value eval_in_primitive(Value form, Value pointer)
{
    const uint32_t word = pointer_of(pointer);
    LambdaFrame* frame = current_frame->lambda_frame;
    while (frame && static_cast<uint32_t>(reinterpret_cast<uintptr_t>(frame)) != word)
        frame = next_lambda_frame(frame);
    if (!frame)
        raise_error(kErrorType, pointer);
    return eval_in(form, frame);
}

static const Primitive call_trace_primitives[] = {
    { "running-functions", running_functions_primitive,
      "(running-functions): names of the Lisp functions that are running, innermost first, as "
      "strings; "
      "those without a name are left out, one that calls itself stands once, and fifty are the "
      "most" },
    { "eval-in", eval_in_primitive,
      "(eval-in form frame): value of form with the local variables of a running call; frame is "
      "what a "
      "syntax with two parameters gets as the second. Error 2 when that call has ended" },
};

void init_call_trace()
{
    define_primitives(call_trace_primitives);
}
