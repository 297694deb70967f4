// The attributes of a slot: the fields of its record, by keyword.
#pragma once

#include "objects/objects.h"

enum class SlotArgument { evaluated, as_written };  // by defslot

struct SlotField {
    const char* name;
    StoredValue SlotRecord::*value;  // one of these two is set
    uint8_t SlotRecord::*flag;       // takes the truth of what is stored
    SlotArgument argument;
    bool fixed;                      // may not change once the class has its layout
    Value keyword;
};

// Error 2 with the keyword when it names no attribute.
const SlotField& slot_field(Value keyword);

// A flag as t or nil.
Value read_field(const SlotRecord* record, const SlotField& field);

// A copy for another owner.
Value copy_record(Value record, Value owner);
