// Configurations: the nested lists from which objects are built.
//
//     (header (key value ...) (child ...) page ...)
//
// A header is the keyword :initargs, a tag (symbol or integer), or a list (type name owner ...).
#pragma once

#include "kernel/value.h"

// The readers answer nil for nil; error 2 with what is no configuration or no header.
Value header_name(Value header);
Value config_header(Value config);
Value config_properties(Value config);
Value config_children(Value config);
Value config_name(Value config);

// The configuration (:initargs nil nil) with all the creation arguments put in: a key that is a list
// is a path through children, made where they are missing.
Value initargs_config(Value initargs);

// The tail of a property list that begins at the key, or nil.
Value find_property(Value properties, Value key);

// The keyword of a symbol, nil when there is none yet (so that nothing can have it for a key).
Value existing_keyword(Value symbol);
