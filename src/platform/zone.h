// The zone: one region of 4 GiB of address space, aligned on 4 GiB, from which everything comes
// that a 32-bit word may name: the arena of the Lisp, handle blocks, plain blocks, native objects.
// A zone address is the low half of the machine address; 0 is null, page 0 is never mapped.
// Memory stands behind what was handed out only; the rest of the region is reserved, not usable.
#pragma once

#include <cstddef>
#include <cstdint>

using ZoneAddress = uint32_t;

extern uint8_t* zone_base;      // machine address of zone address 0; set by zone_open
extern uint32_t zone_committed; // every address in [kZoneFirst, zone_committed) is readable memory

constexpr ZoneAddress kZoneFirst = 0x10000;

// Reserves the region; a second call does nothing. Ends the program with a message when the address
// space cannot be had. zone_close gives everything back (all zone addresses die).
void zone_open();
void zone_close();

// A block of at least size bytes, aligned on 16, contents undefined; 0 when the zone is full or the
// system refuses memory. A size of 0 gives a block of its own too.
ZoneAddress zone_allocate(uint32_t size);

// Moves or resizes a block, keeping the lesser of both sizes; 0 on refusal, and then the old block
// stands as before. zone_free of 0 does nothing.
ZoneAddress zone_reallocate(ZoneAddress block, uint32_t size);
void zone_free(ZoneAddress block);

// The size that was asked for.
uint32_t zone_block_size(ZoneAddress block);

// Asks the system for large pages behind a big region that will be filled from its start: a fault for
// 2 MB in place of one for 4 KB. A hint only.
void zone_prefer_large_pages(ZoneAddress address, uint32_t size);

inline uint8_t* zone_pointer(ZoneAddress address)
{
    return zone_base + address;
}

// The zone address of memory that lies in the zone.
inline ZoneAddress zone_address(const void* pointer)
{
    return static_cast<ZoneAddress>(reinterpret_cast<uintptr_t>(pointer));
}

// Whether size bytes from address on can be read and written without a fault.
inline bool zone_mapped(ZoneAddress address, uint32_t size)
{
    return address >= kZoneFirst && address <= zone_committed && size <= zone_committed - address;
}

// Bytes of the zone that are not in blocks, whether memory stands behind them yet or not.
uint32_t zone_available();

// For tests: the nth zone_allocate or zone_reallocate from now on is refused; 0 refuses none.
void zone_refuse_allocation(uint32_t nth);

// For tests and debugging: whether the chain of blocks is sound from end to end.
bool zone_verify();
