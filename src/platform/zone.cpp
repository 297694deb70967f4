// The zone's allocator: blocks with boundary tags, free blocks in lists by size class (two levels,
// found by bit search), everything behind the last block in one rest that grows page by page.
//
// A block is a header of 16 bytes and what the caller gets. Lisp code can store anywhere in the
// zone, so no header is believed unless its check word is right: a damaged block is left where it
// is rather than spread its damage.
//
//     | size, bit 0: in use | size of the block before | bytes asked for | check |  bytes...
#include "platform/zone.h"

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>

uint8_t* zone_base = nullptr;
uint32_t zone_committed = kZoneFirst;

struct ZoneBlock {
    uint32_t size; // the whole block, a multiple of 16; bit 0 is set while it is in use
    uint32_t previous;
    uint32_t asked;
    uint32_t check;
    uint32_t next_free; // the links stand in the bytes of a free block
    uint32_t previous_free;
};

constexpr uint64_t kZoneSize = uint64_t(1) << 32;
constexpr uint32_t kHeader = 16;
constexpr uint32_t kSmallestBlock = 32;
constexpr uint32_t kInUse = 1;
constexpr uint64_t kZoneEnd = kZoneSize - 0x10000; // a block's end must be a 32-bit number
constexpr uint64_t kCommitStep = 1 << 20;
constexpr uint32_t kGiveBackSize = 1 << 20; // free blocks from here on hand their pages back
constexpr int kLinearClasses = 32;          // sizes below 512, 16 apart
constexpr int kLevels = 25;

struct ZoneState {
    uint32_t rest = kZoneFirst; // where the bytes begin that no block covers
    uint32_t last_size = 0;     // size of the block that ends there
    uint32_t used = 0;          // bytes in blocks that are in use
    uint32_t secret = 0;
    uint32_t refuse_in = 0;
    uint32_t levels = 0; // bit n: level n has a free block
    uint32_t classes[kLevels] = {};
    uint32_t heads[kLevels][kLinearClasses] = {};
};

static ZoneState zone;

static ZoneBlock* block_at(uint32_t address)
{
    return reinterpret_cast<ZoneBlock*>(zone_base + address);
}

static uint32_t check_of(uint32_t address, const ZoneBlock* block)
{
    uint32_t mix = (address ^ zone.secret) * 0x9e3779b1u;
    mix = (mix ^ block->size) * 0x85ebca6bu;
    return mix ^ block->asked ^ (mix >> 15);
}

// Whether a whole block with a sound header begins at address.
static bool is_block(uint32_t address)
{
    if (address < kZoneFirst || address % 16 != 0 || address >= zone.rest)
        return false;
    const ZoneBlock* block = block_at(address);
    const uint32_t size = block->size & ~kInUse;
    return block->check == check_of(address, block) && size >= kSmallestBlock &&
           size <= zone.rest - address;
}

static bool is_used_block(uint32_t address)
{
    return is_block(address) && (block_at(address)->size & kInUse);
}

static bool is_free_block(uint32_t address)
{
    return is_block(address) && !(block_at(address)->size & kInUse);
}

static void seal(uint32_t address, uint32_t size_and_flag, uint32_t asked)
{
    ZoneBlock* block = block_at(address);
    block->size = size_and_flag;
    block->asked = asked;
    block->check = check_of(address, block);
}

// ---- Size classes ----

struct SizeClass {
    int level;
    int index;
};

static SizeClass class_of(uint32_t size)
{
    if (size < 16 * kLinearClasses)
        return { 0, static_cast<int>(size / 16) };
    const int log = std::bit_width(size) - 1;
    return { log - 8, static_cast<int>(size >> (log - 5)) & (kLinearClasses - 1) };
}

static void list_free_block(uint32_t address, uint32_t size)
{
    const SizeClass place = class_of(size);
    uint32_t& head = zone.heads[place.level][place.index];
    ZoneBlock* block = block_at(address);
    block->next_free = head;
    block->previous_free = 0;
    if (head != 0 && is_free_block(head))
        block_at(head)->previous_free = address;
    head = address;
    zone.levels |= 1u << place.level;
    zone.classes[place.level] |= 1u << place.index;
}

static void set_head(SizeClass place, uint32_t address)
{
    zone.heads[place.level][place.index] = address;
    if (address != 0)
        return;
    zone.classes[place.level] &= ~(1u << place.index);
    if (zone.classes[place.level] == 0)
        zone.levels &= ~(1u << place.level);
}

// A link of a free block may have been overwritten: the list is cut where it stops making sense.
static void unlist_free_block(uint32_t address)
{
    const ZoneBlock* block = block_at(address);
    const SizeClass place = class_of(block->size);
    const uint32_t next =
        block->next_free != 0 && is_free_block(block->next_free) ? block->next_free : 0;
    const uint32_t before = block->previous_free;
    if (next != 0)
        block_at(next)->previous_free = before;
    if (zone.heads[place.level][place.index] == address)
        set_head(place, next);
    else if (before != 0 && is_free_block(before))
        block_at(before)->next_free = next;
    else
        set_head(place, next);
}

// The first free block of a class that holds size bytes, looking at no more than limit of them.
static uint32_t search_class(SizeClass place, uint32_t size, uint32_t limit)
{
    uint32_t address = zone.heads[place.level][place.index];
    for (uint32_t seen = 0; address != 0 && seen < limit; seen++) {
        if (!is_free_block(address)) {
            set_head(place, 0); // damaged: its blocks are lost, the zone is not
            return 0;
        }
        if (block_at(address)->size >= size)
            return address;
        address = block_at(address)->next_free;
    }
    return 0;
}

static uint32_t find_free_block(uint32_t size)
{
    const SizeClass own = class_of(size);
    if (const uint32_t found = search_class(own, size, 8))
        return found;
    for (;;) {
        SizeClass place = own;
        uint32_t bits = own.index == 31 ? 0 : zone.classes[own.level] & (~0u << (own.index + 1));
        if (bits == 0) {
            const uint32_t levels =
                own.level + 1 == kLevels ? 0 : zone.levels & (~0u << (own.level + 1));
            if (levels == 0)
                return 0;
            place.level = std::countr_zero(levels);
            bits = zone.classes[place.level];
        }
        place.index = std::countr_zero(bits);
        if (const uint32_t found = search_class(place, size, 1))
            return found; // else the class was damaged and is empty now: look again
    }
}

// ---- Blocks ----

static bool commit_up_to(uint64_t end)
{
    if (end <= zone_committed)
        return true;
    if (end > kZoneEnd)
        return false;
    uint64_t target = (end + kCommitStep - 1) / kCommitStep * kCommitStep;
    if (target > kZoneEnd)
        target = kZoneEnd;
    if (mprotect(zone_base + zone_committed, target - zone_committed, PROT_READ | PROT_WRITE) != 0)
        return false;
    zone_committed = static_cast<uint32_t>(target);
    return true;
}

static void set_previous_of_next(uint32_t address, uint32_t size)
{
    if (address + size == zone.rest)
        zone.last_size = size;
    else
        block_at(address + size)->previous = size;
}

static void give_pages_back(uint32_t address, uint32_t size)
{
    if (size < kGiveBackSize)
        return;
    const uint32_t first = (address + sizeof(ZoneBlock) + 4095) & ~4095u;
    const uint32_t end = (address + size) & ~4095u;
    madvise(zone_base + first, end - first, MADV_DONTNEED);
}

void zone_prefer_large_pages(ZoneAddress address, uint32_t size)
{
    const uint32_t first = (address + 4095) & ~4095u;
    const uint32_t end = (address + size) & ~4095u;
    if (first < end)
        madvise(zone_base + first, end - first, MADV_HUGEPAGE);
}

// Makes the bytes a free block, or part of the rest, together with free neighbours.
static void release_bytes(uint32_t address, uint32_t size)
{
    const uint32_t freed = address;
    const uint32_t freed_size = size;
    const uint32_t before = block_at(address)->previous;
    if (before != 0 && before <= address - kZoneFirst && is_free_block(address - before) &&
        block_at(address - before)->size == before) {
        unlist_free_block(address - before);
        address -= before;
        size += before;
    }
    if (address + size < zone.rest && is_free_block(address + size)) {
        const uint32_t behind = address + size;
        unlist_free_block(behind);
        size += block_at(behind)->size;
    }
    if (address + size == zone.rest) {
        const uint32_t last = address == kZoneFirst ? 0 : block_at(address)->previous;
        zone.rest = address;
        zone.last_size = last;
    } else {
        seal(address, size, 0);
        set_previous_of_next(address, size);
        list_free_block(address, size);
    }
    give_pages_back(freed, freed_size);
}

// Cuts a block in use down to size bytes when what is left over makes a block.
static void trim(uint32_t address, uint32_t whole, uint32_t size, uint32_t asked)
{
    if (whole - size < kSmallestBlock) {
        seal(address, whole | kInUse, asked);
        return;
    }
    seal(address, size | kInUse, asked);
    block_at(address + size)->previous = size;
    seal(address + size, (whole - size) | kInUse, 0);
    set_previous_of_next(address + size, whole - size);
    release_bytes(address + size, whole - size);
}

// The size of the whole block for a request, or 0 when no block can be that long.
static uint32_t whole_size(uint32_t asked)
{
    const uint64_t size = (uint64_t(asked) + kHeader + 15) & ~uint64_t(15);
    if (size > kZoneEnd - kZoneFirst)
        return 0;
    return size < kSmallestBlock ? kSmallestBlock : static_cast<uint32_t>(size);
}

static bool refused_on_purpose()
{
    return zone.refuse_in != 0 && --zone.refuse_in == 0;
}

static uint32_t allocate_from_rest(uint32_t size)
{
    const uint32_t address = zone.rest;
    if (!commit_up_to(uint64_t(address) + size))
        return 0;
    block_at(address)->previous = zone.last_size;
    zone.rest = address + size;
    zone.last_size = size;
    return address;
}

ZoneAddress zone_allocate(uint32_t asked)
{
    const uint32_t size = whole_size(asked);
    if (size == 0 || zone_base == nullptr || refused_on_purpose())
        return 0;
    uint32_t address = find_free_block(size);
    if (address == 0) {
        address = allocate_from_rest(size);
        if (address != 0)
            seal(address, size | kInUse, asked);
        else
            address = search_class(class_of(size), size, ~0u);
        if (address == 0)
            return 0;
    }
    if (is_free_block(address)) {
        unlist_free_block(address);
        trim(address, block_at(address)->size, size, asked);
    }
    zone.used += block_at(address)->size & ~kInUse;
    return address + kHeader;
}

void zone_free(ZoneAddress payload)
{
    if (payload == 0)
        return;
    const uint32_t address = payload - kHeader;
    if (!is_used_block(address)) {
        fprintf(stderr, "kalvex: the zone has no block at %#x to free\n", payload);
        return;
    }
    const uint32_t size = block_at(address)->size & ~kInUse;
    zone.used -= size;
    block_at(address)->check = 0; // when it melts into a neighbour its header stays behind
    release_bytes(address, size);
}

// Grows or shrinks a block where it stands, if the bytes behind it allow that.
static bool resize_in_place(uint32_t address, uint32_t size, uint32_t asked)
{
    uint32_t whole = block_at(address)->size & ~kInUse;
    const uint32_t before = whole;
    if (whole < size && address + whole == zone.rest) {
        if (!commit_up_to(uint64_t(address) + size))
            return false;
        zone.rest = address + size;
        zone.last_size = whole = size;
    } else if (whole < size) {
        const uint32_t behind = address + whole;
        if (!is_free_block(behind) || block_at(behind)->size < size - whole)
            return false;
        unlist_free_block(behind);
        whole += block_at(behind)->size;
        set_previous_of_next(address, whole);
    }
    trim(address, whole, size, asked);
    zone.used += (block_at(address)->size & ~kInUse) - before;
    return true;
}

ZoneAddress zone_reallocate(ZoneAddress payload, uint32_t asked)
{
    if (payload == 0)
        return zone_allocate(asked);
    const uint32_t address = payload - kHeader;
    const uint32_t size = whole_size(asked);
    if (size == 0 || !is_used_block(address) || refused_on_purpose())
        return 0;
    if (resize_in_place(address, size, asked))
        return payload;
    const ZoneAddress fresh = zone_allocate(asked);
    if (fresh == 0)
        return 0;
    const uint32_t kept = block_at(address)->asked;
    memcpy(zone_pointer(fresh), zone_pointer(payload), kept < asked ? kept : asked);
    zone_free(payload);
    return fresh;
}

uint32_t zone_block_size(ZoneAddress payload)
{
    return payload >= kHeader && is_used_block(payload - kHeader)
               ? block_at(payload - kHeader)->asked
               : 0;
}

uint32_t zone_available()
{
    return static_cast<uint32_t>(kZoneEnd - kZoneFirst - zone.used);
}

void zone_refuse_allocation(uint32_t nth)
{
    zone.refuse_in = nth;
}

bool zone_verify()
{
    uint32_t address = kZoneFirst;
    uint32_t previous = 0;
    uint32_t used = 0;
    while (address < zone.rest) {
        if (!is_block(address) || block_at(address)->previous != previous)
            return false;
        previous = block_at(address)->size & ~kInUse;
        if (block_at(address)->size & kInUse)
            used += previous;
        address += previous;
    }
    return address == zone.rest && previous == zone.last_size && used == zone.used;
}

// ---- The region ----

void zone_open()
{
    if (zone_base != nullptr)
        return;
    void* got =
        mmap(nullptr, 2 * kZoneSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (got == MAP_FAILED) {
        fprintf(stderr, "kalvex: 4 GiB of address space are needed and cannot be had\n");
        exit(1);
    }
    uint8_t* const start = static_cast<uint8_t*>(got);
    const uintptr_t aligned =
        (reinterpret_cast<uintptr_t>(start) + kZoneSize - 1) & ~(uintptr_t(kZoneSize) - 1);
    uint8_t* const base = reinterpret_cast<uint8_t*>(aligned);
    if (base != start)
        munmap(start, static_cast<size_t>(base - start));
    if (base + kZoneSize != start + 2 * kZoneSize)
        munmap(base + kZoneSize, static_cast<size_t>(start + kZoneSize - base));
    zone_base = base;
    zone_committed = kZoneFirst;
    zone = ZoneState();
    zone.secret = static_cast<uint32_t>(aligned >> 32) * 0x27d4eb2fu + 0x165667b1u;
}

void zone_close()
{
    if (zone_base == nullptr)
        return;
    munmap(zone_base, kZoneSize);
    zone_base = nullptr;
    zone_committed = kZoneFirst;
    zone = ZoneState();
}
