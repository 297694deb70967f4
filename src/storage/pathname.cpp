#include "storage/pathname.h"

#include "kernel/errors.h"
#include "kernel/spaces.h"
#include "kernel/symbols.h"

static constexpr size_t kLongestPath = 255;
static constexpr int kDeepestPathname = 200; // lists in lists, symbols behind symbols

static void append_component(std::string& path, const char* component)
{
    if (*component == 0)
        return;
    if (!path.empty() && path.back() != '\\' && *component != '\\')
        path += '\\';
    path += component;
}

static void append_pathname(std::string& path, Value pathname, int depth)
{
    if (depth > kDeepestPathname || path.size() > kLongestPath)
        raise_error(kErrorType, pathname);
    if (is_nil(pathname))
        return;
    if (is_string(pathname)) {
        append_component(path, string_chars(pathname));
    } else if (is_symbol(pathname)) {
        const Value value = symbol_value(pathname);
        if (value == no_value)
            raise_error(kErrorUnbound, pathname);
        if (is_symbol(value))
            raise_error(kErrorType, pathname);
        append_pathname(path, value, depth + 1);
    } else if (is_pair(pathname)) {
        for (Value rest = pathname; is_pair(rest); rest = cdr_of(rest))
            append_pathname(path, car_of(rest), depth + 1);
    } else {
        raise_error(kErrorType, pathname);
    }
}

std::string path_argument(Value pathname)
{
    std::string path;
    append_pathname(path, pathname, 0);
    const bool is_root = path.size() <= 1 || path[path.size() - 2] == ':';
    if (!path.empty() && path.back() == '\\' && !is_root)
        path.pop_back();
    if (path.size() > kLongestPath)
        raise_error(kErrorType, pathname);
    return path;
}
