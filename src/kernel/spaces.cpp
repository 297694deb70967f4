// The arena: sizing, carving, the allocators, growth and moves. Nothing here looks at what a Value
// means beyond its tag.
#include "kernel/spaces.h"

#include <cassert>

#include "kernel/collector.h"
#include "kernel/errors.h"
#include "kernel/frames.h"
#include "kernel/hooks.h"
#include "kernel/object_layout.h"
#include "kernel/symbols.h"
#include "storage/handles.h"

Spaces spaces;
uint8_t* node_base;
uint8_t* symbol_base;
Value* lisp_sp;
uint32_t* prolog_sp;
Value self_object = root_class;
Value empty_string;

constexpr uint32_t kSymbolSize = 16;
constexpr uint32_t kNodeSize = 8;
constexpr uint32_t kStackMargin = 2000;    // bytes kept free at the end of both stacks
constexpr uint32_t kFreshRun = 16384;
constexpr uint32_t kLeastFreeNodes = 5000;  // fewer after a collection, and the nodes try to grow

static uint8_t* round_up(uint8_t* p, uintptr_t unit)
{
    return reinterpret_cast<uint8_t*>((reinterpret_cast<uintptr_t>(p) + unit - 1) & ~(unit - 1));
}

static uint8_t* node_end()
{
    return node_base + spaces.node_count * kNodeSize;
}

// ---- Opening

// Puts the nodes [first, last) on the free list in ascending order, behind what it holds.
static void link_free_nodes(uint32_t first, uint32_t last)
{
    uint32_t end = spaces.free_head;
    if (end != nil.bits()) {
        for (;;) {
            const uint32_t next = reinterpret_cast<Node*>(node_base + end)->cdr;
            if (next == nil.bits())
                break;
            end = next;
        }
    }
    for (uint32_t i = first; i < last; ++i) {
        Node* node = reinterpret_cast<Node*>(node_base) + i;
        node->car = nil.bits();
        node->cdr = i + 1 < last ? (i + 1) * kNodeSize : nil.bits();
    }
    if (end != nil.bits())
        reinterpret_cast<Node*>(node_base + end)->cdr = first * kNodeSize;
    else
        spaces.free_head = first * kNodeSize;
    spaces.free_nodes += last - first;
}

// Nodes go on the list by runs, as they are needed: linking a million touches 8 MB. False when all
// have been there.
static bool link_fresh_nodes()
{
    const uint32_t first = spaces.fresh_node;
    if (first >= spaces.node_count)
        return false;
    const uint32_t left = spaces.node_count - first;
    spaces.fresh_node = first + (left < kFreshRun ? left : kFreshRun);
    link_free_nodes(first, spaces.fresh_node);
    return true;
}

uint32_t free_node_count()
{
    return spaces.free_nodes + spaces.node_count - spaces.fresh_node;
}

static void carve(uint8_t* block, const SpaceSizes& sizes, uint32_t nodes, uint32_t arena)
{
    spaces.symbol_count = spaces.free_symbols = sizes.symbols;
    symbol_base = round_up(block, 16);
    uint8_t* p = symbol_base + size_t{ sizes.symbols } * kSymbolSize;

    spaces.lisp_stack_base = lisp_sp = reinterpret_cast<Value*>(p);
    spaces.lisp_stack_words = sizes.lisp_stack;
    p += size_t{ sizes.lisp_stack } * 4;
    spaces.lisp_stack_limit = reinterpret_cast<Value*>(p - kStackMargin);

    spaces.prolog_base = reinterpret_cast<uint32_t*>(p);
    spaces.prolog_words = sizes.prolog_stack;
    p += size_t{ sizes.prolog_stack } * 4;
    spaces.prolog_top = prolog_sp = reinterpret_cast<uint32_t*>(p) - 1;
    *spaces.prolog_top = end_of_args.bits();

    node_base = round_up(p, kNodeSize);
    spaces.node_count = nodes;
    spaces.heap_base = spaces.heap_pointer = node_end();
    spaces.heap_end = block + arena;
    zone_prefer_large_pages(zone_address(node_base), static_cast<uint32_t>(spaces.heap_end - node_base));
}

static void clear_spaces()
{
    SymbolEntry* entry = reinterpret_cast<SymbolEntry*>(symbol_base);
    for (uint32_t i = 0; i < spaces.symbol_count; ++i)
        entry[i] = { 0, 0, 0, -1, -1 };

    memset(node_base, 0xff, kNodeSize);
    spaces.free_head = nil.bits();
    spaces.free_nodes = 0;
    spaces.node_threshold = 2;
    spaces.fresh_node = 1;
    link_fresh_nodes();
    spaces.chain_head = spaces.chain_end = cons(nil, nil).payload();
    self_object = root_class;
}

ArenaResult open_arena(const SpaceSizes& sizes, uint32_t free_memory, uint32_t* shortage_kb)
{
    const int64_t fixed = int64_t{ kSymbolSize } * sizes.symbols + int64_t{ 4 } * sizes.lisp_stack +
                          32 + int64_t{ 4 } * sizes.prolog_stack;
    const int64_t least = fixed + int64_t{ kNodeSize } * sizes.nodes + sizes.heap;
    int64_t size = sizes.partition ? sizes.partition : least + sizes.reserve;
    size = size < free_memory ? size : free_memory;

    const int64_t spare = size - sizes.reserve - least;
    if (spare < 0 || sizes.symbols < 16 || sizes.nodes < 16 || sizes.lisp_stack * int64_t{ 4 } <= kStackMargin ||
        sizes.prolog_stack < 2) {
        *shortage_kb = spare < 0 ? static_cast<uint32_t>(1 - spare / 1024) : 1;
        return ArenaResult::too_small;
    }
    int64_t nodes = sizes.nodes + sizes.spare_to_nodes * (spare / 800);
    nodes = nodes < kMostNodes ? nodes : kMostNodes;
    const int64_t reserve = sizes.reserve + sizes.spare_to_reserve * (spare / 100);
    const int64_t arena = size - reserve;
    const int64_t heap = arena - fixed - kNodeSize * nodes;
    // The arena counts; the reserve is left to handles.
    SetHandleLimit(sizes.partition ? static_cast<uint32_t>(size) : UINT32_MAX);
    const Ptr block = heap < 0 ? 0 : NewPtr(static_cast<uint32_t>(arena));
    if (!block) {
        *shortage_kb = static_cast<uint32_t>(arena / 1024);
        return ArenaResult::too_small;
    }
    spaces = Spaces{};
    spaces.arena = block;
    spaces.reserve = static_cast<uint32_t>(reserve);
    spaces.machine_stack = sizes.machine_stack > kStackMargin ? sizes.machine_stack - kStackMargin : 0;
    carve(zone_pointer(block), sizes, static_cast<uint32_t>(nodes), static_cast<uint32_t>(arena));
    clear_spaces();
    return ArenaResult::ready;
}

void close_arena()
{
    if (spaces.arena)
        DisposePtr(spaces.arena);
    spaces = Spaces{};
    node_base = symbol_base = nullptr;
    lisp_sp = nullptr;
    prolog_sp = nullptr;
    self_object = root_class;
}

// ---- Exhaustion

// Lets the user go on at toplevel or leave the program.
[[noreturn]] static void out_of_memory()
{
    hooks.show_arrow();
    if (hooks.alert(5600 + dialog_language, "", "", "", "") == 2)
        hooks.quit(0);
    throw_toplevel();
}

static void collect_and_grow()
{
    collect(true);
    if (free_node_count() < kLeastFreeNodes)
        grow_nodes(1);
}

void make_room_for_nodes()
{
    if (stress_collection_due())
        collect(true);
    if (spaces.free_nodes < 2 && !link_fresh_nodes())
        collect_and_grow();
    if (spaces.free_nodes < 2)
        out_of_memory();
}

static uint32_t free_heap()
{
    return static_cast<uint32_t>(spaces.heap_end - spaces.heap_pointer);
}

void ensure_space(uint32_t bytes)
{
    bytes = (bytes & 0xffff) + 1;  // a block is rounded up to an even size
    if (free_heap() >= bytes && spaces.free_nodes >= spaces.node_threshold) [[likely]]
        return;
    if (stress_collection_due())
        collect(true);
    if (spaces.free_nodes < 2)
        link_fresh_nodes();
    if (free_heap() < bytes || spaces.free_nodes < 2)
        collect_and_grow();
    if (free_heap() < bytes || spaces.free_nodes < 2)
        out_of_memory();
}

// ---- Boxed values and indirects

Value make_boxed(Tag tag, uint32_t bits)
{
    return new_node(tag, kHeaderBox << 24, bits);
}

Value make_unsigned(uint32_t u)
{
    if (u < 0x7fffff)
        return make_fixnum(static_cast<int32_t>(u));
    return make_boxed(u < 0x7fffffff ? kTagLong : kTagUnsignedLong, u);
}

int32_t integer_value_slow(Value v)
{
    if (v.tag() != kTagLong)
        raise_error(kErrorType, v);
    return static_cast<int32_t>(node_of(v)->cdr);
}

uint32_t unsigned_value(Value v)
{
    if (v.tag() == kTagUnsignedLong)
        return node_of(v)->cdr;
    const int32_t i = integer_value(v);
    if (i < 0)
        raise_error(kErrorType, v);
    return static_cast<uint32_t>(i);
}

uint16_t short_value(Value v)
{
    if (!is_fixnum(v) || fixnum_value(v) < 0 || fixnum_value(v) > 0xffff)
        raise_error(kErrorType, v);
    return static_cast<uint16_t>(fixnum_value(v));
}

double real_value(Value v)
{
    switch (v.tag()) {
    case kTagInteger:
        return fixnum_value(v);
    case kTagReal:
        return real_of(v);
    case kTagLong:
        return static_cast<int32_t>(node_of(v)->cdr);
    case kTagUnsignedLong:
        return node_of(v)->cdr;
    default:
        raise_error(kErrorType, v);
    }
}

Value new_indirect(uint32_t size, Tag value_tag, Tag header)
{
    assert(spaces.free_nodes > 0 && "ensure_space was not called");
    assert(size <= free_heap() && "ensure_space asked for less");
    const uint32_t fresh = spaces.free_head;
    Node* const end = reinterpret_cast<Node*>(node_base + fresh);
    spaces.free_head = end->cdr;
    --spaces.free_nodes;
    end->car = nil.bits();
    end->cdr = nil.bits();

    const uint32_t offset = spaces.chain_end;
    Node* const node = reinterpret_cast<Node*>(node_base + offset);
    node->car = header << 24 | fresh;
    node->cdr = zone_address(spaces.heap_pointer);
    spaces.heap_pointer += (size + 1) & ~1u;
    spaces.chain_end = fresh;
    return Value(value_tag, offset);
}

Value make_real(double d)
{
    ensure_space(sizeof d);
    const Value v = new_indirect(sizeof d, kTagReal, kHeaderReal);
    memcpy(block_of(v), &d, sizeof d);
    return v;
}

Value new_block(uint32_t size)
{
    if (size > 0xfffd)
        raise_error(kErrorNoMemory);
    ensure_space(size + 2);
    const Value v = new_indirect(size + 2, kTagBlock, kHeaderBlock);
    const uint16_t total = static_cast<uint16_t>(size + 2);
    memcpy(block_of(v), &total, 2);
    return v;
}

void ensure_text(uint32_t length)
{
    if (length > kLongestString)
        raise_error(kErrorType, make_unsigned(length));
    // The one byte that ensure_space adds for the rounding holds the longest text's NUL.
    ensure_space(length < kLongestString ? length + 1 : length);
}

Value make_string(const char* chars)
{
    return make_string(chars, static_cast<uint32_t>(strlen(chars)));
}

Value make_string(const char* chars, uint32_t length)
{
    const bool in_place = chars == scratch();
    if (length > kLongestString)
        raise_error(kErrorType, make_integer(static_cast<int32_t>(length)));
    if (!in_place)
        ensure_text(length);
    const Value v = new_indirect(length + 1, kTagString, kHeaderString);
    char* const block = string_chars(v);
    if (!in_place)
        memcpy(block, chars, length);
    block[length] = 0;
    return v;
}

Value make_vector(uint32_t count, Value fill)
{
    if (count > 16383)
        raise_error(kErrorType, make_integer(static_cast<int32_t>(count)));
    ensure_space(2 + 4 * count);
    const Value v = new_indirect(2 + 4 * count, kTagVector, kHeaderVector);
    const uint16_t n = static_cast<uint16_t>(count);
    memcpy(block_of(v), &n, 2);
    for (uint32_t i = 0; i < count; ++i)
        vector_set(v, i, fill);
    return v;
}

// ---- Pointers: car 0x35, stamp in bits 8 to 23, kind in 0 to 7; cdr the word

Value make_pointer(PointerKind kind, uint32_t word, uint16_t stamp)
{
    return new_node(kTagPointer, kHeaderPointer << 24 | uint32_t{ stamp } << 8 | kind, word);
}

static Node* pointer_node(Value v)
{
    if (v.tag() != kTagPointer)
        raise_error(kErrorType, v);
    return node_of(v);
}

uint32_t pointer_of(Value v) { return pointer_node(v)->cdr; }
void set_pointer(Value v, uint32_t word) { pointer_node(v)->cdr = word; }

PointerKind pointer_kind(Value v)
{
    return static_cast<PointerKind>(pointer_node(v)->car & 0xff);
}

void set_pointer_kind(Value v, PointerKind kind)
{
    Node* const node = pointer_node(v);
    node->car = (node->car & ~0xffu) | kind;
}

uint16_t pointer_stamp(Value v) { return static_cast<uint16_t>(pointer_node(v)->car >> 8); }

// ---- Growth and moves

// Every block's address rises by bytes. The chain's end has no block.
static void shift_heap(uint32_t bytes)
{
    forget_object_view();
    memmove(spaces.heap_base + bytes, spaces.heap_base,
            static_cast<size_t>(spaces.heap_pointer - spaces.heap_base));
    spaces.heap_base += bytes;
    spaces.heap_pointer += bytes;
    for (uint32_t offset = spaces.chain_head; offset != spaces.chain_end;) {
        Node* const node = reinterpret_cast<Node*>(node_base + offset);
        node->cdr += bytes;
        offset = node->car & kPayloadMask;
    }
}

bool grow_nodes(uint32_t n)
{
    if (!spaces.growable)
        return false;
    n = n < kLeastFreeNodes ? kLeastFreeNodes : n;
    if (n > kMostNodes || spaces.node_count + n > kMostNodes || free_heap() / kNodeSize < n)
        return false;
    shift_heap(n * kNodeSize);
    while (link_fresh_nodes()) {
    }
    const uint32_t first = spaces.node_count;
    spaces.node_count += n;
    spaces.fresh_node = spaces.node_count;
    link_free_nodes(first, spaces.node_count);
    return true;
}

bool move_heap(uint32_t bytes)
{
    bytes = (bytes + 1) & ~1u;
    if (free_heap() < bytes)
        return false;
    shift_heap(bytes);
    return true;
}

bool move_nodes(uint32_t bytes)
{
    if (bytes % kNodeSize != 0 || static_cast<size_t>(spaces.heap_base - node_end()) < bytes)
        return false;
    memmove(node_base + bytes, node_base, size_t{ spaces.node_count } * kNodeSize);
    node_base += bytes;
    return true;
}

bool move_symbols(uint32_t bytes)
{
    uint8_t* const end = symbol_base + size_t{ spaces.symbol_count } * kSymbolSize;
    const size_t gap = static_cast<size_t>(reinterpret_cast<uint8_t*>(spaces.lisp_stack_base) - end);
    if (bytes % 16 != 0 || gap < bytes)
        return false;
    memmove(symbol_base + bytes, symbol_base, static_cast<size_t>(end - symbol_base));
    symbol_base += bytes;
    return true;
}
