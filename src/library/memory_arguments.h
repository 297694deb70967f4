// Readers of arguments that name memory outside the heap. What is not mapped, or no longer alive,
// is error 2 with the value.
#pragma once

#include "library/arguments.h"
#include "storage/storage_arguments.h" // and those that name a handle

// Address of size bytes behind a pointer; it does not move while nothing is disposed of.
inline uint8_t* memory_argument(Value pointer, uint32_t size)
{
    const uint32_t address = pointer_of(pointer);
    if (!zone_mapped(address, size))
        raise_error(kErrorType, pointer);
    return zone_pointer(address);
}
