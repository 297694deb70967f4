#include "platform/clock.h"

#include <cerrno>
#include <ctime>

static bool is_virtual;
static uint32_t virtual_ms;
static int64_t virtual_start;  // calendar seconds when the virtual clock stood at 0

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

int64_t calendar_seconds()
{
    return is_virtual ? virtual_start + virtual_ms / 1000 : time(nullptr);
}

void sleep_ms(uint32_t ms)
{
    if (is_virtual) {
        advance_virtual_clock(ms);
        return;
    }
    timespec left = { ms / 1000, static_cast<long>(ms % 1000) * 1000000 };
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

uint32_t ticks()
{
    return static_cast<uint32_t>(uint64_t{ tick_count_ms() } * 3 / 50);
}

void use_virtual_clock(uint32_t ms)
{
    virtual_start = time(nullptr) - ms / 1000;
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
