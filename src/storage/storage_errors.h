// How storage, which knows no Value, raises an error: through a hook that the kernel fills at boot.
// The hook does not return; what it throws passes through the natives, which leave their state
// whole. Without a kernel it throws StorageError, which unit tests catch.
#pragma once

#include <cstdint>

constexpr int32_t kNoStorageValue = INT32_MIN; // the error's value is nil

enum StorageErrorCode : int {
    kStorageErrorType = 2,   // a dead Handle or Ptr
    kStorageErrorMemory = 9, // no memory for a checked allocation or the handle table
    kStorageErrorLock = 60,  // HLock of a Handle without a block
};

struct StorageError {
    int code;
    int32_t value;
};

extern void (*raise_storage_error)(int code, int32_t value);
