// Mark and sweep for nodes, sliding compaction for blocks. Roots are exact but for the machine
// stack, which is scanned for words that look like Values.
#pragma once

#include "kernel/value.h"

// Runs a collection. The argument changes nothing.
void collect(bool compact);

// For root markers and native objects, during a collection only.
void mark_value(Value v);

// Marks the machine stack from the current frame up to this address.
void set_stack_top(void* top);

// Bytes of an indirect's block, up to where the next one begins. The node must be in the chain.
struct Node;
uint32_t block_size(const Node* node);

// Reads KALVEX_GC_STRESS; collections at every n-th allocation begin with this call.
void start_collector_stress();

// Deletes every native object that a pointer still owns, and what hash tables hold outside the arena,
// at the end of a run.
void release_native_objects();

// Counts down at each allocation under KALVEX_GC_STRESS; true when it is time to collect.
bool stress_collection_due();

// Walks all spaces and answers null, or what is wrong.
const char* verify_heap();

void init_collector();
