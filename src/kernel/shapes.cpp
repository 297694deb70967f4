#include "kernel/shapes.h"

#define N kShapeNode
const uint32_t value_shape[64] = {
    /* 00 */ 0, kHeaderBox, 0, kHeaderReal, N, 0, kHeaderVector, kHeaderString,
    /* 08 */ 0, N, kHeaderInstance, N, 0, 0, N, kHeaderClass,
    /* 10 */ kHeaderHashTable, N, N, kHeaderBox, kHeaderPointer, N, N, 0,
    /* 18 */ 0, 0, 0, N, 0, 0, 0, 0,
    /* 20 */ 0, 0, 0, N, 0, 0, 0, 0,
    /* 28 */ 0, 0, 0, 0, 0, 0, 0, 0,
    /* 30 */ 0, 0, 0, N, 0, 0, 0, 0,
    /* 38 */ 0, 0, kHeaderSlotData, kHeaderBlock, 0, N, kHeaderArray, N,
};
#undef N
