// The handle table. It stands outside the zone, so that no stray store of Lisp code reaches it; the
// free entries are chained through their block field, highest index first after each growth.
#include "storage/handles.h"

#include <cstdlib>
#include <cstring>

#include "storage/storage_errors.h"

struct HandleEntry {
    int32_t size;      // -1: on the free list; 0: alive without a block
    ZoneAddress block; // on the free list: the next free entry
    uint16_t generation;
    uint8_t purgeable;
    uint8_t locks;
    bool is_ptr; // the Handle stands behind a Ptr
};

struct HandleState {
    HandleEntry* table = nullptr;
    uint32_t count = 0; // a multiple of 32
    uint32_t free_head = 0;
    uint32_t total = 0;
    uint32_t limit = UINT32_MAX;
};

static constexpr uint32_t kGrowth = 32;
static constexpr uint32_t kMostEntries = 1 << 24;
static constexpr uint32_t kMostBytes = INT32_MAX;
static constexpr uint32_t kMemoryReserve = 1000000;
static constexpr uint32_t kPtrHeader = 4;

static HandleState handles;

static void throw_storage_error(int code, int32_t value)
{
    throw StorageError{ code, value };
}

void (*raise_storage_error)(int code, int32_t value) = throw_storage_error;

bool HandleIsLive(Handle handle)
{
    return handle != 0 && handle < handles.count && handles.table[handle].size >= 0;
}

static HandleEntry& live_entry(Handle handle)
{
    if (!HandleIsLive(handle))
        raise_storage_error(kStorageErrorType, kNoStorageValue);
    return handles.table[handle];
}

uint16_t HandleGeneration(Handle handle)
{
    return handle < handles.count ? handles.table[handle].generation : 0;
}

// ---- The table ----

static void push_free(Handle handle)
{
    HandleEntry& entry = handles.table[handle];
    entry.size = -1;
    entry.block = handles.free_head;
    entry.purgeable = entry.locks = 0;
    entry.is_ptr = false;
    entry.generation++;
    handles.free_head = handle;
}

// Links the new entries upward, so that the highest is handed out first. In the first table this
// links entry 0 as well, at the end of the list, where it means that nothing is free.
static void grow_table()
{
    const uint32_t count = handles.count + kGrowth;
    void* grown =
        count > kMostEntries ? nullptr : realloc(handles.table, count * sizeof(HandleEntry));
    if (grown == nullptr)
        raise_storage_error(kStorageErrorMemory, kNoStorageValue);
    handles.table = static_cast<HandleEntry*>(grown);
    for (uint32_t i = handles.count; i < count; i++) {
        handles.table[i] = HandleEntry();
        push_free(i);
    }
    handles.count = count;
    zone_open();
}

// ---- Memory ----

uint32_t MemoryAvailable()
{
    if (handles.total > handles.limit)
        return 0;
    const uint32_t free_bytes = zone_available();
    const uint32_t cap = free_bytes > kMemoryReserve ? free_bytes - kMemoryReserve : 0;
    const uint32_t left = handles.limit - handles.total;
    return left < cap ? left : cap;
}

static void drop_block(HandleEntry& entry)
{
    handles.total -= static_cast<uint32_t>(entry.size);
    zone_free(entry.block);
    entry.size = 0;
    entry.block = 0;
    entry.locks = 0;
}

uint32_t PurgeMemory(uint32_t needed)
{
    uint32_t available = MemoryAvailable();
    if (available > needed)
        return available;
    for (uint32_t i = 1; i < handles.count; i++) {
        HandleEntry& entry = handles.table[i];
        if (entry.size > 0 && entry.purgeable && entry.locks == 0) {
            available += static_cast<uint32_t>(entry.size);
            drop_block(entry);
        }
    }
    return available;
}

void SetHandleLimit(uint32_t bytes)
{
    handles.limit = bytes;
}

uint32_t HandleLimit()
{
    return handles.limit;
}

uint32_t HandleTotal()
{
    return handles.total;
}

uint32_t HandleEntryCount()
{
    return handles.count;
}

static bool give_block(HandleEntry& entry, uint32_t size)
{
    const ZoneAddress block = size <= kMostBytes ? zone_allocate(size) : 0;
    if (block == 0)
        return false;
    entry.block = block;
    entry.size = static_cast<int32_t>(size);
    handles.total += size;
    return true;
}

// ---- Handles ----

static Handle take_entry()
{
    if (handles.free_head == 0)
        grow_table();
    const Handle handle = handles.free_head;
    HandleEntry& entry = handles.table[handle];
    handles.free_head = entry.block;
    entry.size = 0;
    entry.block = 0;
    return handle;
}

Handle NewHandle(uint32_t size)
{
    PurgeMemory(size);
    const Handle handle = take_entry();
    if (size > 0 && !give_block(handles.table[handle], size)) {
        push_free(handle);
        return 0;
    }
    return handle;
}

Handle NewHandleChecked(uint32_t size)
{
    const Handle handle = NewHandle(size);
    if (handle == 0)
        raise_storage_error(kStorageErrorMemory, kNoStorageValue);
    return handle;
}

void DisposeHandle(Handle handle)
{
    HandleEntry& entry = live_entry(handle);
    if (entry.block != 0)
        drop_block(entry);
    push_free(handle);
}

uint32_t GetHandleSize(Handle handle)
{
    return static_cast<uint32_t>(live_entry(handle).size);
}

static bool change_block(HandleEntry& entry, uint32_t size)
{
    const ZoneAddress block = size <= kMostBytes ? zone_reallocate(entry.block, size) : 0;
    if (block == 0)
        return false;
    handles.total += size - static_cast<uint32_t>(entry.size);
    entry.block = block;
    entry.size = static_cast<int32_t>(size);
    return true;
}

int SetHandleSize(Handle handle, uint32_t size)
{
    HandleEntry& entry = live_entry(handle);
    if (size == 0) {
        if (entry.size != 0)
            drop_block(entry);
        return 0;
    }
    PurgeMemory(size); // may empty this very Handle
    const bool done = entry.size == 0 ? give_block(entry, size) : change_block(entry, size);
    return done ? 0 : -1;
}

void SetHandleSizeChecked(Handle handle, uint32_t size)
{
    if (SetHandleSize(handle, size) != 0)
        raise_storage_error(kStorageErrorMemory, kNoStorageValue);
}

uint8_t* HLock(Handle handle)
{
    HandleEntry& entry = live_entry(handle);
    if (entry.size == 0)
        raise_storage_error(kStorageErrorLock, kNoStorageValue);
    if (entry.locks < UINT8_MAX)
        entry.locks++;
    return zone_pointer(entry.block);
}

void HUnlock(Handle handle)
{
    HandleEntry& entry = live_entry(handle);
    if (entry.size != 0 && entry.locks > 0)
        entry.locks--;
}

uint8_t HandleLocks(Handle handle)
{
    return live_entry(handle).locks;
}

void HPurge(Handle handle)
{
    live_entry(handle).purgeable = 1;
}

void HNoPurge(Handle handle)
{
    live_entry(handle).purgeable = 0;
}

bool HandleIsEmpty(Handle handle)
{
    return live_entry(handle).block == 0;
}

Handle CopyHandle(Handle handle)
{
    const uint32_t size = GetHandleSize(handle);
    if (size == 0)
        return NewHandle(0);
    LockedHandle source(handle); // the allocation must not purge it
    const Handle copy = NewHandle(size);
    if (copy != 0)
        memcpy(LockedHandle(copy).bytes, source.bytes, size);
    return copy;
}

bool EqualHandles(Handle first, Handle second)
{
    const uint32_t size = GetHandleSize(first);
    if (size != GetHandleSize(second))
        return false;
    return size == 0 || memcmp(LockedHandle(first).bytes, LockedHandle(second).bytes, size) == 0;
}

ZoneAddress DetachBlock(Handle handle)
{
    HandleEntry& entry = live_entry(handle);
    const ZoneAddress block = entry.block;
    handles.total -= static_cast<uint32_t>(entry.size);
    push_free(handle);
    return block;
}

Handle AdoptBlock(ZoneAddress block)
{
    const Handle handle = take_entry();
    HandleEntry& entry = handles.table[handle];
    const uint32_t size = zone_block_size(block);
    if (size == 0 || size > kMostBytes) {
        zone_free(block);
        return handle;
    }
    entry.block = block;
    entry.size = static_cast<int32_t>(size);
    handles.total += size;
    return handle;
}

// ---- Ptrs ----

Ptr NewPtr(uint32_t size)
{
    if (size > kMostBytes - kPtrHeader)
        return 0;
    const Handle handle = NewHandle(size + kPtrHeader);
    if (handle == 0)
        return 0;
    uint8_t* bytes = HLock(handle);
    handles.table[handle].is_ptr = true;
    memcpy(bytes, &handle, sizeof handle);
    return zone_address(bytes) + kPtrHeader;
}

Ptr NewPtrChecked(uint32_t size)
{
    const Ptr address = NewPtr(size);
    if (address == 0)
        raise_storage_error(kStorageErrorMemory, kNoStorageValue);
    return address;
}

// The Handle behind a Ptr, 0 if there is none: the index found in front of the address counts only
// when the table says that its block begins there.
static Handle handle_of_ptr(Ptr address)
{
    if (address < kPtrHeader || !zone_mapped(address - kPtrHeader, kPtrHeader))
        return 0;
    Handle handle;
    memcpy(&handle, zone_pointer(address - kPtrHeader), sizeof handle);
    if (!HandleIsLive(handle) || !handles.table[handle].is_ptr)
        return 0;
    return handles.table[handle].block == address - kPtrHeader ? handle : 0;
}

bool PtrIsLive(Ptr address)
{
    return handle_of_ptr(address) != 0;
}

void DisposePtr(Ptr address)
{
    DisposeHandle(handle_of_ptr(address));
}

uint32_t GetPtrSize(Ptr address)
{
    return GetHandleSize(handle_of_ptr(address)) - kPtrHeader;
}

void BlockMove(const void* source, void* destination, uint32_t count)
{
    memmove(destination, source, count);
}

void DisposeAllHandles()
{
    for (uint32_t i = 1; i < handles.count; i++) {
        if (handles.table[i].size > 0)
            drop_block(handles.table[i]);
    }
    free(handles.table);
    handles = HandleState();
}
