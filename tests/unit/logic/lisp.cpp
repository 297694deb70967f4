#include "lisp.h"

#include "kernel/errors.h"
#include "kernel/evaluator.h"
#include "kernel/hooks.h"
#include "kernel/printer.h"
#include "kernel/reader.h"
#include "kernel/symbols.h"

static Value evaluate_forms(const std::string& text)
{
    const ByteInput source(reinterpret_cast<const uint8_t*>(text.data()),
                           static_cast<uint32_t>(text.size()));
    Value result = no_value;
    for (;;) {
        const Value form = read_form();
        if (form == kTokenEnd)
            return result;
        if (form != kTokenNothing)
            result = eval_toplevel(form);
    }
}

static int no_alert(int, const char*, const char*, const char*, const char*)
{
    return 1;
}

std::string evaluate(const std::string& text)
{
    hooks.alert = no_alert;
    const SavedState state;
    const CatchFrame frame(intern("toplevel"));
    try {
        const Value result = evaluate_forms(text);
        CaptureFrame capture;
        print_display(result);
        const Value shown = capture.text();
        return string_chars(shown);
    } catch (const thrower&) {
        state.restore();
        current_frame = state.frame;
        return "error";
    }
}

SpaceSizes small_sizes()
{
    SpaceSizes sizes;
    sizes.symbols = 8192;
    sizes.lisp_stack = 1 << 18;
    sizes.prolog_stack = 1 << 16;
    sizes.nodes = 100000;
    sizes.heap = 4 << 20;
    sizes.reserve = 0;
    sizes.machine_stack = 2 << 20;
    return sizes;
}
