// The arena and its five spaces, in address order: symbols, Lisp stack, Prolog stack, nodes, heap.
// Nodes never move; heap blocks move at every collection, so a Value may be held across an
// allocation and the address of a block may not.
#pragma once

#include <cstdint>
#include <cstring>

#include "kernel/value.h"
#include "platform/zone.h"

struct Node {
    uint32_t car;  // a Value or a header; bit 30 permanent mark, bit 31 collector's mark
    uint32_t cdr;  // a Value, a zone address, or raw bits
};

// Sizes asked of the arena, as an Image file's preferences give them.
struct SpaceSizes {
    uint32_t symbols = 16384;            // entries of 16 bytes
    uint32_t lisp_stack = 1 << 20;       // words
    uint32_t prolog_stack = 1 << 18;     // words
    uint32_t nodes = 500000;             // of 8 bytes
    uint32_t heap = 16 << 20;            // bytes
    uint32_t reserve = 8 << 20;          // bytes left to the system
    uint32_t machine_stack = 16 << 20;   // bytes
    uint32_t spare_to_nodes = 0;         // percent
    uint32_t spare_to_reserve = 0;       // percent
    uint32_t partition = 0;              // bytes in all; 0: as much as the sizes above need
};

struct Spaces {
    uint32_t symbol_count;       // entries in the table
    uint32_t free_symbols;
    Value* lisp_stack_base;
    Value* lisp_stack_limit;     // 2000 bytes below the end: nothing may be pushed from here on
    uint32_t lisp_stack_words;
    uint32_t* prolog_base;       // lowest word
    uint32_t* prolog_top;        // the last word, which holds end-of-args
    uint32_t prolog_words;
    uint32_t node_count;         // with node 0, which is reserved
    uint32_t free_head;          // byte offset of the first free node; nil's bits end the list
    uint32_t free_nodes;         // on that list
    uint32_t fresh_node;         // index of the first node that was never on the list
    uint32_t node_threshold;     // cons looks closer when fewer than this are free
    uint8_t* heap_base;
    uint8_t* heap_pointer;
    uint8_t* heap_end;
    uint32_t chain_head;         // payload of the first indirect
    uint32_t chain_end;          // payload of the blockless last one
    uint32_t machine_stack;      // bytes promised to the machine stack
    uint32_t reserve;
    ZoneAddress arena;
    bool growable;
};

extern Spaces spaces;
extern uint8_t* node_base;
extern uint8_t* symbol_base;
extern Value* lisp_sp;         // next free word of the Lisp stack
extern uint32_t* prolog_sp;    // last used word of the Prolog stack
extern Value self_object;      // the current object; root_class when there is none
extern Value empty_string;     // shared by all that answer ""

enum class ArenaResult { ready, too_small };

// Carves the arena by the sizes. On too_small *shortage_kb is what the dialog shows and nothing is
// left allocated. free_memory caps the partition. close_arena gives all of it back.
ArenaResult open_arena(const SpaceSizes& sizes, uint32_t free_memory, uint32_t* shortage_kb);
void close_arena();

// ---- Nodes

// The node that v's payload names, without a type test. The empty asm keeps the compiler from
// carrying only the payload or the address across a call: the stack scan must find the whole word.
inline Node* node_of(Value v)
{
    uint32_t bits = v.bits();
    asm volatile("" : "+r"(bits));
    return reinterpret_cast<Node*>(node_base + (bits & kPayloadMask));
}

inline Value car_of(Value v) { return Value::from_bits(node_of(v)->car & ~kPermanentMark); }
inline Value cdr_of(Value v) { return Value::from_bits(node_of(v)->cdr); }

// A permanent node is skipped by the marking, so one that comes to hold something new is remembered
// and its two words become roots.
void remember_node(Node* node);

inline void set_car(Value v, Value car)
{
    Node* node = node_of(v);
    if (node->car & kPermanentMark)
        remember_node(node);
    node->car = (node->car & kPermanentMark) | car.bits();
}

inline void set_cdr(Value v, Value cdr)
{
    Node* node = node_of(v);
    if (node->car & kPermanentMark)
        remember_node(node);
    node->cdr = cdr.bits();
}

// The header or first tag of a node, marks cleared.
inline Tag header_of(Value v) { return static_cast<Tag>(node_of(v)->car >> 24 & 0x3f); }

uint32_t free_node_count();  // with those that were never on the list

// Makes room for two nodes: collects, grows, or ends in the out-of-memory dialog.
void make_room_for_nodes();

// A fresh node with raw words; may run a collection.
inline Value new_node(Tag tag, uint32_t car, uint32_t cdr)
{
    if (spaces.free_nodes < spaces.node_threshold) [[unlikely]]
        make_room_for_nodes();
    const uint32_t offset = spaces.free_head;
    Node* node = reinterpret_cast<Node*>(node_base + offset);
    spaces.free_head = node->cdr;
    --spaces.free_nodes;
    node->car = car;
    node->cdr = cdr;
    // Opaque as in node_of: else the compiler may keep the offset and put the tag on at the last use,
    // where a collection in between doesn't see it.
    uint32_t bits = Value(tag, offset).bits();
    asm volatile("" : "+r"(bits));
    return Value::from_bits(bits);
}

inline Value cons(Value car, Value cdr) { return new_node(kTagList, car.bits(), cdr.bits()); }

// ---- Numbers

Value make_boxed(Tag tag, uint32_t bits);  // kTagLong or kTagUnsignedLong

inline Value make_integer(int32_t i)
{
    if (i >= kFixnumMin && i <= kFixnumMax) [[likely]]
        return make_fixnum(i);
    return make_boxed(kTagLong, static_cast<uint32_t>(i));
}

// Immediate below 0x7fffff, a long below 0x7fffffff, an unsigned-long from there on.
Value make_unsigned(uint32_t u);
Value make_real(double d);

int32_t integer_value_slow(Value v);

// An integer or long as its 32 bits; error 2 on anything else.
inline int32_t integer_value(Value v)
{
    return is_fixnum(v) ? fixnum_value(v) : integer_value_slow(v);
}

uint32_t unsigned_value(Value v);  // integer, long or unsigned-long; negative is error 2
uint16_t short_value(Value v);     // a fixnum from 0 to 65535; error 2 otherwise
double real_value(Value v);        // any number; error 2 on anything else

// The 8 bytes of a real, wherever they lie now.
inline double real_of(Value v)
{
    double d;
    memcpy(&d, zone_pointer(node_of(v)->cdr), sizeof d);
    return d;
}

// ---- Indirects: nodes with a block in the heap

// Guarantees that many free heap bytes (taken modulo 65536) and two free nodes; may collect.
void ensure_space(uint32_t bytes);

// A block at the heap pointer; ensure_space must have made room. Its bytes are not initialised.
Value new_indirect(uint32_t size, Tag value_tag, Tag header);

// Address of v's block: stale after the next allocation.
inline uint8_t* block_of(Value v) { return zone_pointer(node_of(v)->cdr); }

// Values in blocks lie at even addresses only.
inline Value load_value(const uint8_t* place)
{
    uint32_t bits;
    memcpy(&bits, place, 4);
    return Value::from_bits(bits);
}

inline void store_value(uint8_t* place, Value v)
{
    const uint32_t bits = v.bits();
    memcpy(place, &bits, 4);
}

// size + 2 bytes that begin with their own 16-bit size (size + 2 must be below 65536).
Value new_block(uint32_t size);

// The longest text of a string, its NUL not counted.
constexpr uint32_t kLongestString = 65535;

// Room for a text of that length at scratch(); error 2 with the length when it is too long.
void ensure_text(uint32_t length);

// A string of the NUL-terminated bytes, or of length bytes. Text built at scratch() is not copied
// but becomes the block itself. chars must not lie in a heap block, unless at scratch().
Value make_string(const char* chars);
Value make_string(const char* chars, uint32_t length);

// The bytes of a string: stale after the next allocation.
inline char* string_chars(Value v) { return reinterpret_cast<char*>(block_of(v)); }

// The free tail of the heap, for text under construction after ensure_space.
inline char* scratch() { return reinterpret_cast<char*>(spaces.heap_pointer); }

// A vector of count elements (at most 16383), all set to fill.
Value make_vector(uint32_t count, Value fill);
inline uint32_t vector_count(Value v)
{
    uint16_t count;
    memcpy(&count, block_of(v), 2);
    return count;
}
inline Value vector_ref(Value v, uint32_t i) { return load_value(block_of(v) + 2 + 4 * i); }
inline void vector_set(Value v, uint32_t i, Value x) { store_value(block_of(v) + 2 + 4 * i, x); }

// ---- Pointers

enum PointerKind : uint32_t {
    kPointerPlain, kPointerMemory, kPointerHandle, kPointerResource, kPointerCpp, kPointerFrame,
    kPointerFile, kPointerText, kPointerPort, kPointerOffscreen, kPointerPicture, kPointerRegion,
    kPointerDatabase, kPointerRecord, kPointerProcess, kPointerDrag,
};

// stamp: 16 bits kept beside the kind, by which the owner of the word tells a stale pointer object
// (a handle's generation, say); the Lisp never sees them.
Value make_pointer(PointerKind kind, uint32_t word, uint16_t stamp = 0);
uint32_t pointer_of(Value v);           // the second word; error 2 when v is no pointer
void set_pointer(Value v, uint32_t word);
PointerKind pointer_kind(Value v);      // error 2 when v is no pointer
void set_pointer_kind(Value v, PointerKind kind);
uint16_t pointer_stamp(Value v);

// ---- Growth and moves of the spaces

// Takes room for n (at least 5000) more nodes from the free heap. False when growth is off, the
// nodes would pass 0x100000, or the heap has not that much free.
bool grow_nodes(uint32_t n);
bool move_nodes(uint32_t bytes);      // false when there is no room; the spaces stay as they are
bool move_heap(uint32_t bytes);
bool move_symbols(uint32_t bytes);

constexpr uint32_t kMostNodes = 0x100000;
