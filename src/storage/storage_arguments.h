// Arguments of storage primitives, read and refused alike.
#pragma once

#include <string>

#include "kernel/spaces.h"
#include "storage/handles.h"
#include "storage/resource_map.h"

// A pointer object of a Handle, told from one whose Handle was disposed of since by the Handle's
// generation, which the object keeps as its stamp.
Value make_handle_pointer(PointerKind kind, Handle handle);

// The Handle that a pointer object names; error 2 when there is none, or no longer.
Handle handle_argument(Value pointer);

// The same for calls that answer with a status: 0 for a stale one.
Handle resource_argument(Value pointer);

// The four first bytes of a string.
ResType type_argument(Value string);
Value make_type_string(ResType type); // the empty string for 0

int16_t id_argument(Value integer);

// A name of at most 255 bytes: nil is none.
std::string name_argument(Value name);

// The bytes of a string; error 2 for anything else.
std::string text_argument(Value string);

// Any integer as its 32 bits.
uint32_t bits_argument(Value integer);

// Zone memory at a pointer object's address plus offset, which a Lisp program may have made up:
// error 2 unless all size bytes can be reached.
uint8_t* memory_argument(Value pointer, uint32_t offset, uint32_t size);
