// The one place where a status of the resource layer becomes a Lisp error.
#pragma once

#include <cstdint>

void raise_resource_status(int16_t status); // returns for 0
