// Mark, compact, sweep. Marking goes by the node's own header over an explicit stack. Compaction
// slides blocks down in allocation order; a block ends where the next in the chain begins, so its
// size needs no look at what it holds.
#include "kernel/collector.h"

#include <cstdlib>
#include <cstring>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "kernel/errors.h"
#include "kernel/frames.h"
#include "kernel/hooks.h"
#include "kernel/object_layout.h"
#include "kernel/shapes.h"
#include "kernel/symbols.h"

static constexpr uint32_t kLive = kPermanentMark | kCollectorMark;
static constexpr uint32_t kStressShift = 16;  // bytes that the heap goes up and down under stress
static constexpr uint8_t kPoison = 0xdb;

static void* stack_top;
static std::vector<Value> open_values;
static bool marking;
static std::unordered_set<Node*> remembered;
static std::unordered_map<uint32_t, uint32_t> value_slots;  // class payload -> Value slots a instance

static uint32_t stress_interval;  // 0: off
static uint32_t stress_left;
static bool stress_shifted;

static Node* node_at(uint32_t offset)
{
    return reinterpret_cast<Node*>(node_base + offset);
}

void set_stack_top(void* top)
{
    stack_top = top;
}

void remember_node(Node* node)
{
    remembered.insert(node);
}

// ---- Marking

static bool names_node(uint32_t payload)
{
    return payload >= sizeof(Node) && payload < spaces.fresh_node * sizeof(Node) &&
           payload % sizeof(Node) == 0;
}

// Whether a word found where anything may lie is a Value that names a node.
static bool plausible(Value v)
{
    if (v.bits() >= 0x40000000 || !names_node(v.payload()))
        return false;
    const uint32_t shape = shape_of(v);
    return shape == kShapeNode || (shape != kShapeNone && (node_of(v)->car >> 24 & 0x3f) == shape);
}

static void open_block_values(const uint8_t* place, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i)
        open_values.push_back(load_value(place + 4 * i));
}

static uint32_t half_word(const uint8_t* place)
{
    uint16_t n;
    memcpy(&n, place, 2);
    return n;
}

static void open_class(const uint8_t* block)
{
    const ClassBlock* const cls = reinterpret_cast<const ClassBlock*>(block);
    for (Value v : { Value(cls->class_), Value(cls->native), Value(cls->overrides), Value(cls->name),
                     Value(cls->members), Value(cls->ascendants), Value(cls->descendants),
                     Value(cls->genealogy) })
        open_values.push_back(v);
    if (Value(cls->members).tag() == kTagBlock) {
        const uint8_t* const table = block_of(cls->members);
        open_block_values(table + 2, (half_word(table) - 2) / 4);
    }
}

// How many words of an instance hold Values: the layout puts them first. A method may have taken the
// name of a slot since, whose word then just stays as it is.
static uint32_t value_slot_count(Value cls)
{
    const auto known = value_slots.find(cls.payload());
    if (known != value_slots.end())
        return known->second;
    uint32_t end = sizeof(ObjectBlock);
    const ClassBlock* const block = class_block(cls);
    for (int i = 0; i < block->table_size; ++i) {
        const Value member = member_at(block, i);
        if (member.tag() != kTagSlot)
            continue;
        const SlotRecord* const record = slot_record(member);
        if (record->allocate && record->kind == kSlotValue && slot_offset(member) + 4 > end)
            end = slot_offset(member) + 4;
    }
    return value_slots[cls.payload()] = (end - sizeof(ObjectBlock)) / 4;
}

// An instance older than its class's last layout has words there that are no Values.
static void open_instance(const Node* node)
{
    const uint8_t* const block = zone_pointer(node->cdr);
    const ObjectBlock* const object = reinterpret_cast<const ObjectBlock*>(block);
    open_values.push_back(object->class_);
    open_values.push_back(object->native);
    open_values.push_back(object->overrides);
    const uint32_t size = block_size(node);
    uint32_t count = value_slot_count(object->class_);
    count = 12 + 4 * count <= size ? count : (size - 12) / 4;
    for (uint32_t i = 0; i < count; ++i) {
        const Value v = load_value(block + 12 + 4 * i);
        if (plausible(v))
            open_values.push_back(v);
    }
}

static void open_node(Node* node)
{
    const uint8_t* const block = zone_pointer(node->cdr);
    const uint32_t header = node->car >> 24 & 0x3f;
    node->car |= kCollectorMark;
    switch (header) {
    case kHeaderBox:
    case kHeaderReal:
    case kHeaderString:
    case kHeaderBlock:
        return;
    case kHeaderVector:
        open_block_values(block + 2, half_word(block));
        return;
    case kHeaderArray:
        open_block_values(block + 4 + 2 * half_word(block + 2), half_word(block));
        return;
    case kHeaderHashTable:
        if (node->cdr != 0)
            open_block_values(block, spaces.symbol_count);
        return;
    case kHeaderPointer:
        if ((node->car & 0xff) == kPointerCpp && node->cdr != 0)
            reinterpret_cast<NativeObject*>(zone_pointer(node->cdr))->mark();
        return;
    case kHeaderSlotData:
        open_block_values(block, 12);
        return;
    case kHeaderClass:
        open_class(block);
        return;
    case kHeaderInstance:
        open_instance(node);
        return;
    default:
        break;
    }
    // A plain node: on along the spine, the cars wait.
    for (;;) {
        const Value car = Value::from_bits(node->car & ~kLive);
        if (shape_of(car) != kShapeNone && car.payload() != 0)
            open_values.push_back(car);
        const Value cdr = Value::from_bits(node->cdr);
        if (shape_of(cdr) != kShapeNode || cdr.payload() == 0) {
            open_values.push_back(cdr);
            return;
        }
        Node* const next = node_at(cdr.payload());
        if (next->car & kLive)
            return;
        node = next;
        const uint32_t next_header = node->car >> 24 & 0x3f;
        if (is_header(next_header)) {
            open_values.push_back(cdr);
            return;
        }
        node->car |= kCollectorMark;
    }
}

static void drain()
{
    while (!open_values.empty()) {
        const Value v = open_values.back();
        open_values.pop_back();
        if (shape_of(v) == kShapeNone || v.payload() == 0)
            continue;
        Node* const node = node_at(v.payload());
        if (!(node->car & kLive))
            open_node(node);
    }
}

void mark_value(Value v)
{
    open_values.push_back(v);
    if (marking)
        return;
    marking = true;
    drain();
    marking = false;
}

// ---- Roots

__attribute__((noinline, no_sanitize("address", "undefined")))
static void scan_machine_stack()
{
    __builtin_unwind_init();  // registers that belong to callers go to this frame
    const uint8_t* const end = static_cast<const uint8_t*>(stack_top);
    const uint8_t* p = static_cast<const uint8_t*>(__builtin_frame_address(0));
    p -= 16 * sizeof(void*);  // where the registers were saved
    p = reinterpret_cast<const uint8_t*>(reinterpret_cast<uintptr_t>(p) & ~uintptr_t{ 7 });
    const uintptr_t first_node = reinterpret_cast<uintptr_t>(node_base) + sizeof(Node);
    const uintptr_t last_node = reinterpret_cast<uintptr_t>(node_base) + spaces.fresh_node * sizeof(Node);
    for (; p + 8 <= end; p += 8) {
        const uint64_t word = *reinterpret_cast<const uint64_t*>(p);
        const Value low = Value::from_bits(static_cast<uint32_t>(word));
        const Value high = Value::from_bits(static_cast<uint32_t>(word >> 32));
        if (plausible(low))
            open_values.push_back(low);
        if (plausible(high))
            open_values.push_back(high);
        if (word >= first_node && word < last_node) {
            const uint32_t offset = static_cast<uint32_t>(word - reinterpret_cast<uintptr_t>(node_base));
            open_values.push_back(Value(kTagList, offset & ~7u));
        }
    }
}

static void open_roots()
{
    const SymbolEntry* const entry = reinterpret_cast<const SymbolEntry*>(symbol_base);
    for (uint32_t i = 0; i < spaces.symbol_count; ++i) {
        if (entry[i].name == 0)
            continue;
        open_values.push_back(Value::from_bits(entry[i].value));
        open_values.push_back(Value::from_bits(entry[i].slot_class));
    }
    open_values.push_back(self_object);
    open_values.push_back(empty_string);
    for (const Node* node : remembered) {
        open_values.push_back(Value::from_bits(node->car & ~kLive));
        open_values.push_back(Value::from_bits(node->cdr));
    }
    for (const Value* p = spaces.lisp_stack_base; p < lisp_sp; ++p)
        open_values.push_back(*p);
    call_root_markers();
    scan_machine_stack();
}

static void mark_all()
{
    marking = true;
    value_slots.clear();
    node_at(spaces.chain_head)->car |= kCollectorMark;
    node_at(spaces.chain_end)->car |= kCollectorMark;
    open_roots();
    drain();
    marking = false;
}

// ---- Blocks

uint32_t block_size(const Node* node)
{
    const uint32_t next = node->car & kPayloadMask;
    const uint32_t end = next == spaces.chain_end ? zone_address(spaces.heap_pointer) : node_at(next)->cdr;
    return end - node->cdr;
}

// Headers of the nodes in the chain; another one there is a broken heap.
static constexpr uint64_t kBlockHeaders =
    1ull << kHeaderArray | 1ull << kHeaderVector | 1ull << kHeaderReal | 1ull << kHeaderString |
    1ull << kHeaderSlotData | 1ull << kHeaderClass | 1ull << kHeaderInstance | 1ull << kHeaderBlock;

static bool heap_is_broken;

static void compact_heap()
{
    forget_object_view();
    if (spaces.chain_head == spaces.chain_end)
        return;
    Node* previous = node_at(spaces.chain_head);
    uint32_t top = previous->cdr + block_size(previous);
    for (uint32_t offset = previous->car & kPayloadMask;;) {
        Node* const link = node_at(offset);
        const bool is_end = offset == spaces.chain_end;
        const uint32_t next = link->car & kPayloadMask;
        if (!is_end && (kBlockHeaders >> (link->car >> 24 & 0x3f) & 1) == 0)
            heap_is_broken = true;
        if (link->car & kLive) {
            previous->car = (previous->car & ~kPayloadMask) | offset;
            previous = link;
            if (!is_end) {
                const uint32_t size = block_size(link);
                if (link->cdr != top)
                    memmove(zone_pointer(top), zone_pointer(link->cdr), size);
                link->cdr = top;
                top += size;
            }
        }
        if (is_end)
            break;
        offset = next;
    }
    uint8_t* const old_end = spaces.heap_pointer;
    spaces.heap_pointer = zone_pointer(top);
    if (stress_interval)
        memset(spaces.heap_pointer, kPoison, static_cast<size_t>(old_end - spaces.heap_pointer));
}

// Under stress every block moves at every collection.
static void shake_heap()
{
    forget_object_view();
    const size_t used = static_cast<size_t>(spaces.heap_pointer - spaces.heap_base);
    if (!stress_shifted && spaces.heap_end - spaces.heap_pointer < 2 * kStressShift)
        return;
    const uint32_t shift = stress_shifted ? -kStressShift : kStressShift;
    uint8_t* const base = spaces.heap_base + static_cast<int32_t>(shift);
    memmove(base, spaces.heap_base, used);
    spaces.heap_base = base;
    spaces.heap_pointer = base + used;
    if (stress_shifted)
        memset(spaces.heap_pointer, kPoison, kStressShift);
    for (uint32_t offset = spaces.chain_head; offset != spaces.chain_end;) {
        Node* const node = node_at(offset);
        node->cdr += shift;
        offset = node->car & kPayloadMask;
    }
    stress_shifted = !stress_shifted;
}

// ---- Sweep

static void release(const Node* node)
{
    const uint32_t header = node->car >> 24;
    if (node->cdr == 0)
        return;
    if (header == kHeaderPointer && (node->car & 0xff) != kPointerCpp)
        return;
    if (header == kHeaderPointer)
        reinterpret_cast<NativeObject*>(zone_pointer(node->cdr))->~NativeObject();
    zone_free(node->cdr);
}

void release_native_objects()
{
    Node* const nodes = reinterpret_cast<Node*>(node_base);
    for (uint32_t i = 1; i < spaces.fresh_node; ++i) {
        Node& node = nodes[i];
        const uint32_t header = node.car >> 24 & 0x3f;
        if (header != kHeaderPointer && header != kHeaderHashTable)
            continue;
        node.car &= ~kLive;
        release(&node);
        node.cdr = 0;
    }
}

static void sweep()
{
    Node* const nodes = reinterpret_cast<Node*>(node_base);
    const uint32_t count = spaces.fresh_node;  // what lies behind was never used
    uint32_t head = nil.bits();
    uint32_t free_count = 0;
    for (uint32_t i = 1; i < count; ++i) {
        Node& node = nodes[i];
        if (node.car & kLive) {
            node.car &= ~kCollectorMark;
            continue;
        }
        if (node.car >> 24 == kHeaderPointer || node.car >> 24 == kHeaderHashTable) [[unlikely]]
            release(&node);
        node.car = nil.bits();
        node.cdr = head;
        head = i * sizeof(Node);
        ++free_count;
    }
    spaces.free_head = head;
    spaces.free_nodes = free_count;
}

void collect(bool)
{
    hooks.end_drawing();
    hooks.show_watch();
    mark_all();
    heap_is_broken = false;
    compact_heap();
    sweep();
    if (heap_is_broken)
        internal_error_dialog("Wrong type in sweep_indirect");
    if (stress_interval)
        shake_heap();
}

// ---- Stress

bool stress_collection_due()
{
    if (stress_interval == 0 || --stress_left > 0)
        return false;
    stress_left = stress_interval;
    return true;
}

// From here on every n-th allocation collects; boot itself runs without.
void start_collector_stress()
{
    const char* const text = getenv("KALVEX_GC_STRESS");
    stress_interval = text ? static_cast<uint32_t>(strtoul(text, nullptr, 10)) : 0;
    stress_left = stress_interval;
    if (stress_interval)
        spaces.node_threshold = UINT32_MAX;
}

// ---- Verification

static const char* verify_free_list()
{
    uint32_t count = 0;
    for (uint32_t offset = spaces.free_head; offset != nil.bits(); offset = node_at(offset)->cdr) {
        if (!names_node(offset))
            return "free list leaves the nodes";
        if (node_at(offset)->car != nil.bits())
            return "node on the free list is in use";
        if (++count > spaces.node_count)
            return "free list goes round";
    }
    return count == spaces.free_nodes ? nullptr : "free nodes miscounted";
}

static const char* verify_chain()
{
    uint32_t place = zone_address(spaces.heap_base);
    uint32_t steps = 0;
    for (uint32_t offset = spaces.chain_head; offset != spaces.chain_end;) {
        const Node* const node = node_at(offset);
        if (!names_node(offset) || ++steps > spaces.node_count)
            return "broken chain of blocks";
        if (!is_header(node->car >> 24 & 0x3f))
            return "wrong header in the chain of blocks";
        if (node->cdr != place)
            return "block out of place";
        place += block_size(node);
        if (place > zone_address(spaces.heap_pointer))
            return "block beyond the heap pointer";
        offset = node->car & kPayloadMask;
    }
    return place == zone_address(spaces.heap_pointer) ? nullptr : "heap pointer out of place";
}

static const char* verify_word(uint32_t word)
{
    const Value v = Value::from_bits(word);
    if (word >= 0x40000000)
        return "mark bits in a Value";
    const uint32_t shape = shape_of(v);
    if (v.payload() == 0 || shape == kShapeNone)
        return nullptr;
    if (!names_node(v.payload()))
        return "Value that names no node";
    const Node* const node = node_at(v.payload());
    if (shape != kShapeNode)
        return (node->car >> 24 & 0x3f) == shape ? nullptr : "Value whose node has another header";
    return nullptr;
}

static const char* verify_stack_and_symbols()
{
    for (const Value* p = spaces.lisp_stack_base; p < lisp_sp; ++p)
        if (const char* wrong = verify_word(p->bits()))
            return wrong;
    const SymbolEntry* const entry = reinterpret_cast<const SymbolEntry*>(symbol_base);
    uint32_t unused = 0;
    for (uint32_t i = 0; i < spaces.symbol_count; ++i) {
        if (entry[i].name == 0) {
            ++unused;
            continue;
        }
        for (uint32_t word : { entry[i].name, entry[i].value, entry[i].slot_class })
            if (const char* wrong = verify_word(word))
                return wrong;
    }
    return unused == spaces.free_symbols ? nullptr : "free symbols miscounted";
}

const char* verify_heap()
{
    if (const char* wrong = verify_free_list())
        return wrong;
    if (const char* wrong = verify_chain())
        return wrong;
    return verify_stack_and_symbols();
}

void init_collector()
{
    open_values.clear();
    open_values.reserve(1 << 16);
    remembered.clear();
    marking = false;
    stress_interval = 0;
    stress_shifted = false;
}
