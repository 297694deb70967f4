// The millisecond clock of the run-time, real or set by hand.
#pragma once

#include <cstdint>

// Milliseconds since the program started, or what the virtual clock says; wraps at 32 bits.
uint32_t tick_count_ms();

// Seconds since 1970, UTC; under the virtual clock what it was when that began and has advanced since.
int64_t calendar_seconds();

// Lets the time pass; under the virtual clock it just goes on by as much.
void sleep_ms(uint32_t ms);

// Ticks of 1/60 s, made from the milliseconds times 3 over 50.
uint32_t ticks();

// From now on the clock stands still but for advance_virtual_clock.
void use_virtual_clock(uint32_t ms);
void advance_virtual_clock(uint32_t ms);
void use_real_clock();
