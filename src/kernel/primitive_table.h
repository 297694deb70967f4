// The rows behind primitive nodes, for the evaluator's inner paths. Row 1 is the first.
#pragma once

#include "kernel/primitive.h"

extern const Primitive* primitive_rows;

// Calls an entry with n fixed arguments.
Value call_entry(const Primitive& row, uint32_t n, const Value* arguments);
