// Handles, relocatable blocks of zone memory reached through a table, and Ptrs, plain blocks that
// never move. A Handle is an index into the table, 0 is none; its block may be absent (asked for at
// size 0, or purged), and only HLock gives an address. Locks nest, a locked block is not purged.
// An operation on a Handle that is not alive raises error 2 and touches nothing.
#pragma once

#include "platform/zone.h"

using Handle = uint32_t;
using Ptr = ZoneAddress;

// A Handle, or 0 when memory is refused; the bytes are undefined. Every allocation may purge.
// Raises error 9 when the table cannot grow. The checked forms raise error 9 in place of a 0.
Handle NewHandle(uint32_t size);
Handle NewHandleChecked(uint32_t size);
void DisposeHandle(Handle handle);

uint32_t GetHandleSize(Handle handle);

// 0, or non-zero when memory was refused: the Handle then keeps what it held. The block may move,
// so addresses taken by HLock are stale after it.
int SetHandleSize(Handle handle, uint32_t size);
void SetHandleSizeChecked(Handle handle, uint32_t size);

// The block's address, good until the Handle is resized or disposed of. Raises error 60 when there
// is no block. The count of locks stops at 255.
uint8_t* HLock(Handle handle);
void HUnlock(Handle handle);
uint8_t HandleLocks(Handle handle);

void HPurge(Handle handle);
void HNoPurge(Handle handle);
bool HandleIsEmpty(Handle handle);

Handle CopyHandle(Handle handle); // 0 when memory is refused
bool EqualHandles(Handle first, Handle second);

// Hands the block over (0 for an empty Handle) and ends the Handle; the receiver frees it with
// zone_free. AdoptBlock makes a Handle of a zone block.
ZoneAddress DetachBlock(Handle handle);
Handle AdoptBlock(ZoneAddress block);

// Whether the Handle may be used, and how often its index was disposed of so far: an index is used
// again, so who keeps a Handle for long compares the generation it had.
bool HandleIsLive(Handle handle);
uint16_t HandleGeneration(Handle handle);

// A Ptr is the address behind the first four bytes of a locked Handle of its own, which hold the
// Handle's index. NewPtr gives 0 when memory is refused, NewPtrChecked raises error 9.
Ptr NewPtr(uint32_t size);
Ptr NewPtrChecked(uint32_t size);
void DisposePtr(Ptr address);
uint32_t GetPtrSize(Ptr address);
bool PtrIsLive(Ptr address);

// A copy that is safe for overlap. Source first.
void BlockMove(const void* source, void* destination, uint32_t count);

// Bytes that may still be allocated under the limit. PurgeMemory empties every unlocked purgeable
// Handle unless more than needed is available already, and gives what is available then.
uint32_t MemoryAvailable();
uint32_t PurgeMemory(uint32_t needed);

void SetHandleLimit(uint32_t bytes);
uint32_t HandleLimit();
uint32_t HandleTotal();
uint32_t HandleEntryCount();

// Frees every block and the table: no Handle or Ptr is alive after it.
void DisposeAllHandles();

// Keeps a Handle locked until the block is left; it may have been disposed of by then.
struct LockedHandle {
    explicit LockedHandle(Handle locked) : handle(locked), bytes(HLock(locked)) {}
    ~LockedHandle()
    {
        if (HandleIsLive(handle))
            HUnlock(handle);
    }
    LockedHandle(const LockedHandle&) = delete;
    LockedHandle& operator=(const LockedHandle&) = delete;
    const Handle handle;
    uint8_t* const bytes;
};
