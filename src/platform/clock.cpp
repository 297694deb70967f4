#include "platform/clock.h"

#include <ctime>

static bool is_virtual;
static uint32_t virtual_ms;

static uint64_t monotonic_ms()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

uint32_t tick_count_ms()
{
    static const uint64_t start = monotonic_ms();
    return is_virtual ? virtual_ms : static_cast<uint32_t>(monotonic_ms() - start);
}

uint32_t ticks()
{
    return static_cast<uint32_t>(uint64_t{ tick_count_ms() } * 3 / 50);
}

void use_virtual_clock(uint32_t ms)
{
    is_virtual = true;
    virtual_ms = ms;
}

void advance_virtual_clock(uint32_t ms)
{
    virtual_ms += ms;
}

void use_real_clock()
{
    is_virtual = false;
}
