// Arrays of any rank. The block in the heap:
//
//     +-------+------+----+----+- - -+------------+------------+- - -
//     | total | rank | d0 | d1 |     | (0 0 ...)  | (1 0 ...)  |
//     +-------+------+----+----+- - -+------------+------------+- - -
//       16      16     16   16         32           32 bits
//
// The first subscript varies fastest. An array of rank 0 has no elements.
#include "kernel/primitive.h"
#include "kernel/symbols.h"
#include "library/arguments.h"
#include "library/library.h"

constexpr uint32_t kSizeLimit = 65536;

static uint32_t array_word(Value array, uint32_t i)
{
    uint16_t word;
    memcpy(&word, block_of(array) + 2 * i, 2);
    return word;
}

static uint32_t total_of(Value array)
{
    return array_word(array, 0);
}
static uint32_t rank_of(Value array)
{
    return array_word(array, 1);
}
static uint32_t dimension_of(Value array, uint32_t i)
{
    return array_word(array, 2 + i);
}

static uint8_t* element_place(Value array, uint32_t i)
{
    return block_of(array) + 4 + 2 * rank_of(array) + 4 * i;
}

static Value make_array(Rest dimensions)
{
    const uint32_t rank = run_length(dimensions);
    uint64_t total = rank > 0;
    for (uint32_t i = 0; i < rank; ++i) {
        total *= short_value(dimensions[i]);
        if (total > UINT32_MAX)
            total = UINT32_MAX; // refused below, unless a dimension of 0 follows
    }
    const uint64_t size = 4 + 4 * total + 2 * rank;
    if (size >= kSizeLimit)
        raise_error(kErrorType,
                    make_unsigned(size > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(size)));
    ensure_space(static_cast<uint32_t>(size));
    const Value array = new_indirect(static_cast<uint32_t>(size), kTagArray, kHeaderArray);
    uint8_t* place = block_of(array);
    const auto put_word = [&place](uint32_t word) {
        const uint16_t half = static_cast<uint16_t>(word);
        memcpy(place, &half, 2);
        place += 2;
    };
    put_word(static_cast<uint32_t>(total));
    put_word(rank);
    for (uint32_t i = 0; i < rank; ++i)
        put_word(short_value(dimensions[i]));
    for (; total > 0; --total, place += 4)
        store_value(place, make_fixnum(0));
    return array;
}

static Value array_p(Value v)
{
    return boolean(v.tag() == kTagArray);
}

// The element that the run of subscripts names; error 2 with the subscript that is out of range, or
// with the array when their number is not its rank.
static uint32_t element_argument(Value array, Rest subscripts)
{
    const uint32_t rank = rank_of(typed_argument(array, kTagArray));
    if (rank == 0 || run_length(subscripts) != rank)
        raise_error(kErrorType, array);
    uint32_t offset = 0;
    uint32_t stride = 1;
    for (uint32_t i = 0; i < rank; ++i) {
        const uint32_t subscript = unsigned_value(subscripts[i]);
        if (subscript >= dimension_of(array, i))
            raise_error(kErrorType, subscripts[i]);
        offset += subscript * stride;
        stride *= dimension_of(array, i);
    }
    return offset;
}

static Value array_ref(Rest arguments)
{
    if (is_end(arguments[0]))
        raise_error(kErrorType);
    const uint32_t i = element_argument(arguments[0], arguments + 1);
    return load_value(element_place(arguments[0], i));
}

static Value array_set_x(Rest arguments)
{
    if (is_end(arguments[0]) || is_end(arguments[1]))
        raise_error(kErrorType, is_end(arguments[0]) ? nil : arguments[0]);
    const uint32_t i = element_argument(arguments[0], arguments + 2);
    store_value(element_place(arguments[0], i), arguments[1]);
    return arguments[1];
}

static Value copy_array(Value from, Value to)
{
    const uint32_t total = total_of(typed_argument(from, kTagArray));
    if (total > total_of(typed_argument(to, kTagArray)))
        raise_error(kErrorType, to);
    memmove(element_place(to, 0), element_place(from, 0), 4 * total);
    return no_value;
}

static const Primitive array_primitives[] = {
    { "make-array", make_array,
      "(make-array d0 d1 ...): a new array of these dimensions, filled with 0; error 2 with the "
      "size in bytes for one of 65536 or more" },
    { "array?", array_p, "(array? v): whether v is an array" },
    { "array-ref", array_ref,
      "(array-ref array i j ...): the element; error 2 for a subscript out of range, missing or "
      "too many" },
    { "array-set!", array_set_x,
      "(array-set! array v i j ...): stores v as the element; v; errors as array-ref" },
    { "copy-array", copy_array,
      "(copy-array from to): copies the elements of from into to, which must have as many; "
      "no-value" },
};

void init_arrays()
{
    define_primitives(array_primitives);
}
