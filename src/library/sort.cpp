// Sorting. The elements and their keys stand in a work array outside the heap, where the collector
// finds them through the chain of sorts in progress: a compare function may sort in its turn.
#include "kernel/collector.h"
#include "kernel/evaluator.h"
#include "kernel/hooks.h"
#include "kernel/primitive.h"
#include "library/list_modules.h"
#include "library/list_walk.h"

struct SortItem {
    Value element;
    Value key;
};

// Freed with the frame of the sort, by whatever way control leaves it.
class SortArray {
public:
    explicit SortArray(uint32_t count_) : count(count_), outer_(innermost)
    {
        if (count > UINT32_MAX / sizeof(SortItem) ||
            !(block_ = zone_allocate(count * sizeof(SortItem))))
            raise_error(kErrorNoMemory);
        items = reinterpret_cast<SortItem*>(zone_pointer(block_));
        for (uint32_t i = 0; i < count; ++i)
            items[i] = SortItem();
        innermost = this;
    }
    ~SortArray()
    {
        innermost = outer_;
        zone_free(block_);
    }
    SortArray(const SortArray&) = delete;
    SortArray& operator=(const SortArray&) = delete;

    static void mark_all()
    {
        for (const SortArray* array = innermost; array; array = array->outer_)
            for (uint32_t i = 0; i < array->count; ++i) {
                mark_value(array->items[i].element);
                mark_value(array->items[i].key);
            }
    }

    SortItem* items;
    const uint32_t count;

private:
    static inline SortArray* innermost = nullptr;

    SortArray* const outer_;
    ZoneAddress block_ = 0;
};

static void swap_items(SortItem& a, SortItem& b)
{
    const SortItem item = a;
    a = b;
    b = item;
}

// Puts the middle item of [low, high) where it belongs and answers that place. Which items change
// places, and so the order of equal ones, is part of what `sort` promises.
static uint32_t split(SortItem* items, uint32_t low, uint32_t high, Value compare)
{
    swap_items(items[low], items[low + (high - low) / 2]);
    const Value pivot = items[low].key;
    uint32_t i = low;
    uint32_t j = high;
    for (;;) {
        do
            ++i;
        while (i < high && call_value(compare, items[i].key, pivot) != nil);
        do
            --j;
        while (j > low && call_value(compare, items[j].key, pivot) == nil);
        if (i >= j)
            break;
        swap_items(items[i], items[j]);
    }
    swap_items(items[low], items[j]);
    return j;
}

// Recurs for the shorter side, so that the depth stays logarithmic.
static void quicksort(SortItem* items, uint32_t low, uint32_t high, Value compare)
{
    while (high - low > 1) {
        const uint32_t middle = split(items, low, high, compare);
        if (middle - low < high - middle - 1) {
            quicksort(items, low, middle, compare);
            low = middle + 1;
        } else {
            quicksort(items, middle + 1, high, compare);
            high = middle;
        }
    }
}

// From the end; of neighbours that are the same, the last stays.
static Value list_of_items(const SortItem* items, uint32_t count, Value same)
{
    Value result = nil;
    for (uint32_t i = count; i-- > 0;)
        if (same == nil || i + 1 == count ||
            call_value(same, items[i].key, items[i + 1].key) == nil)
            result = cons(items[i].element, result);
    return result;
}

static Value sort(Value list, Value compare, Value key, Value same)
{
    if (list == nil)
        return nil;
    if (!is_pair(list))
        raise_error(kErrorType, list);
    const uint32_t count = pairs_to_end(list);
    SortArray array(count);
    for (uint32_t i = 0; i < count; ++i, list = cdr_of(list))
        array.items[i] = { car_of(list), car_of(list) };
    if (list != nil)
        raise_error(kErrorType, list);
    if (key != nil)
        for (uint32_t i = 0; i < count; ++i)
            array.items[i].key = call_value(key, array.items[i].element);
    quicksort(array.items, 0, count, compare);
    return list_of_items(array.items, count, same);
}

static const Primitive sort_primitives[] = {
    { "sort", sort,
      "(sort list compare key same): fresh list in the order in which (compare key key) holds "
      "between neighbours, not stable; key, when given, is called once for each element; same, "
      "when given, drops all but the last of neighbours for which (same key key) holds" },
};

void init_sort()
{
    add_root_marker(SortArray::mark_all);
    define_primitives(sort_primitives);
}
