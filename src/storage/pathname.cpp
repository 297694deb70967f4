#include "storage/pathname.h"

#include "kernel/errors.h"
#include "kernel/spaces.h"
#include "kernel/symbols.h"
#include "platform/files.h"

static constexpr size_t kLongestPath = 255;
static constexpr int kDeepestPathname = 200; // lists in lists, symbols behind symbols

static void append_component(std::string& path, const char* component)
{
    if (*component == 0)
        return;
    if (!path.empty() && path.back() != '\\' && *component != '\\')
        path += '\\';
    else if (!path.empty() && path.back() == '\\' && *component == '\\')
        component++;
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

// Back to front, so that the list needs no last pair.
Value make_pathname_list(const std::string& path)
{
    Value list;
    size_t end = path.size();
    while (end > 0) {
        const size_t slash = path.rfind('\\', end - 1);
        const size_t start = slash == std::string::npos ? 0 : slash + 1;
        std::string component = path.substr(start, end - start);
        if (start == 0 && component.size() > 2 && component[1] == ':') {
            list = cons(make_string(component.c_str() + 2), list);
            component.resize(2);
        }
        if (!component.empty())
            list = cons(make_string(component.c_str()), list);
        end = start == 0 ? 0 : start - 1;
    }
    return list;
}

void raise_file_error(Value pathname)
{
    switch (GetLastError()) {
    case kFileErrorNotFound:
        raise_error(kErrorFileNotFound, pathname);
    case kFileErrorNotSameDevice:
        raise_error(kErrorAccess, pathname);
    case kFileErrorTooManyOpen:
        raise_error(kErrorTooManyFiles, pathname);
    case kFileErrorDiskFull:
        raise_error(kErrorDiskFull, pathname);
    default:
        raise_error(kErrorFile, make_integer(static_cast<int32_t>(GetLastError())));
    }
}
