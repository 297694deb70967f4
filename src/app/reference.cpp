#include "app/reference.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "app/boot.h"
#include "kernel/primitive.h"
#include "kernel/symbols.h"
#include "platform/text_encoding.h"

// Keywords such as :left are bound to themselves, which defines nothing.
static bool is_defined(const SymbolEntry& entry)
{
    if (entry.name == 0)
        return false;
    if (entry.slot_class != 0 || entry.slot_index >= 0)
        return true;
    return entry.value != no_value.bits() && string_chars(Value::from_bits(entry.name))[0] != ':';
}

void print_defined_names()
{
    std::vector<std::string> names;
    const SymbolEntry* const table = reinterpret_cast<SymbolEntry*>(symbol_base);
    for (uint32_t i = 0; i < spaces.symbol_count; i++) {
        if (is_defined(table[i]))
            names.push_back(utf8_from_ansi(string_chars(Value::from_bits(table[i].name))));
    }
    std::sort(names.begin(), names.end());
    for (const std::string& name : names)
        printf("%s\n", name.c_str());
}

int print_usage_of(const char* name)
{
    const char* usage = primitive_usage(name);
    if (!usage) {
        fprintf(stderr, "kalvex-repl: %s has no usage line\n", name);
        return 1;
    }
    printf("%s\n", usage);
    return 0;
}

// The form stands in front of the first ": " that is outside all parentheses.
static size_t form_end(std::string_view usage)
{
    int depth = 0;
    for (size_t i = 0; i + 1 < usage.size(); i++) {
        depth += usage[i] == '(' ? 1 : usage[i] == ')' ? -1 : 0;
        if (depth == 0 && usage[i] == ':' && usage[i + 1] == ' ')
            return i;
    }
    return usage.size();
}

void print_reference()
{
    printf("# Primitives\n\nWritten by the build from the usage lines of the primitive tables.\n");
    const char* module = "";
    for (size_t i = 0; i < primitive_count(); i++) {
        if (strcmp(module, primitive_module(i)) != 0) {
            module = primitive_module(i);
            printf("\n## %s\n\n", module);
        }
        const Primitive& row = primitive_at(i);
        const std::string_view usage = row.usage ? row.usage : "";
        const size_t end = form_end(usage);
        const std::string form(end == usage.size() ? std::string_view(row.name)
                                                   : usage.substr(0, end));
        const std::string text(end == usage.size() ? usage : usage.substr(end + 2));
        printf("- **%s** `%s`: %s\n", row.name, form.c_str(), text.c_str());
    }
}
