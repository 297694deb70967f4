// `sort` against its algorithm written plainly: the order of equal elements is part of the
// contract.
#include <algorithm>
#include <random>
#include <vector>

#include "interpreter.h"
#include "kernel/collector.h"

struct Item {
    int key;
    int serial;
};

static bool goes_before(const Item& a, const Item& b)
{
    return a.key < b.key;
}

// The middle item as pivot, both ends scanned towards each other, then each side in turn.
static void model_sort(std::vector<Item>& items, size_t low, size_t high)
{
    if (high - low < 2)
        return;
    std::swap(items[low], items[low + (high - low) / 2]);
    const Item pivot = items[low];
    size_t i = low + 1;
    size_t j = high - 1;
    while (true) {
        while (i < high && goes_before(items[i], pivot))
            i++;
        while (j > low && !goes_before(items[j], pivot))
            j--;
        if (i >= j)
            break;
        std::swap(items[i++], items[j--]);
    }
    std::swap(items[low], items[j]);
    model_sort(items, low, j);
    model_sort(items, j + 1, high);
}

// ((key . serial) ...)
static Value list_of(const std::vector<Item>& items)
{
    Value list = nil;
    for (size_t i = items.size(); i-- > 0;)
        list = cons(cons(make_fixnum(items[i].key), make_fixnum(items[i].serial)), list);
    return list;
}

static std::vector<int> serials(Value list)
{
    std::vector<int> result;
    for (; list != nil; list = cdr_of(list))
        result.push_back(fixnum_value(cdr_of(car_of(list))));
    return result;
}

TEST(sort, puts_items_in_the_order_of_the_stated_quicksort)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    in_interpreter([&] {
        for (int round = 0; round < 400; ++round) {
            std::vector<Item> items(random() % 70);
            const int keys = 1 + static_cast<int>(random() % 20);
            for (size_t i = 0; i < items.size(); ++i)
                items[i] = { static_cast<int>(random()) % keys, static_cast<int>(i) };
            const Value sorted = lisp("sort", list_of(items), global_value(intern("<")),
                                      global_value(intern("car")));
            model_sort(items, 0, items.size());
            std::vector<int> wanted;
            for (const Item& item : items)
                wanted.push_back(item.serial);
            ASSERT_EQ(serials(sorted), wanted);
        }
        EXPECT_EQ(verify_heap(), nullptr);
    });
}

TEST(sort, gives_its_work_arrays_back_after_errors)
{
    in_interpreter([] {
        const Value list = list_of({ { 2, 0 }, { 1, 1 }, { 3, 2 } });
        const uint32_t before = zone_available();
        for (int i = 0; i < 10; ++i)
            EXPECT_TRUE(ends_in_error([&] { lisp("sort", list, global_value(intern("<"))); }));
        EXPECT_EQ(zone_available(), before);
    });
}

TEST(sort, refuses_when_memory_is_short)
{
    in_interpreter([] {
        const Value list = list_of({ { 2, 0 }, { 1, 1 } });
        zone_refuse_allocation(1);
        const auto sorted = [&] {
            return lisp("sort", list, global_value(intern("<")), global_value(intern("car")));
        };
        EXPECT_TRUE(ends_in_error(sorted));
        zone_refuse_allocation(0);
        EXPECT_EQ(serials(sorted()), (std::vector<int>{ 1, 0 }));
    });
}
