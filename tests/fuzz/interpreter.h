// An interpreter for fuzz targets that work on Lisp data.
#pragma once

#include <cstddef>
#include <cstdint>

// Runs body on the bytes at top level: an error in it ends it in order. The interpreter is made at the
// first call and made anew when its symbols run out; now and then the heap is verified, and what is
// wrong with it aborts.
void run_in_interpreter(void (*body)(const uint8_t* data, size_t size), const uint8_t* data, size_t size);
