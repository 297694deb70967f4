// Vectors: a count of 16 bits, then the elements, in one block of the heap. Their size stays below
// 65,536 bytes, so 16,383 elements are the most.
#include "kernel/primitive.h"
#include "kernel/symbols.h"
#include "library/arguments.h"
#include "library/library.h"
#include "library/list_walk.h"

constexpr uint32_t kMostElements = 16383;

static Value checked_vector(uint32_t count, Value fill)
{
    if (count > kMostElements)
        raise_error(kErrorType, make_unsigned(count));
    return make_vector(count, fill);
}

static Value vector(Rest elements)
{
    const uint32_t count = run_length(elements);
    const Value result = checked_vector(count, nil);
    for (uint32_t i = 0; i < count; ++i)
        vector_set(result, i, elements[i]);
    return result;
}

static Value make_vector_(Value n, Value fill)
{
    return checked_vector(unsigned_value(n), fill);
}

static Value vector_p(Value v)
{
    return boolean(v.tag() == kTagVector);
}

static Value vector_length(Value v)
{
    return make_fixnum(static_cast<int32_t>(vector_count(vector_argument(v))));
}

// A place in the vector; error 2 at or past its length.
static uint32_t place_argument(Value v, Value i)
{
    const uint32_t place = unsigned_value(i);
    if (place >= vector_count(vector_argument(v)))
        raise_error(kErrorType, i);
    return place;
}

static Value vector_ref_(Value v, Value i)
{
    return vector_ref(v, place_argument(v, i));
}

static Value vector_set_x(Value v, Value i, Value x)
{
    vector_set(v, place_argument(v, i), x);
    return x;
}

static Value list_to_vector(Value list)
{
    uint32_t count = 0;
    PureGuard guard;
    for (Value tail = list; guard.more(tail); tail = cdr_of(tail))
        ++count;
    const Value result = checked_vector(count, nil);
    for (uint32_t i = 0; i < count; ++i, list = cdr_of(list))
        vector_set(result, i, car_of(list));
    return result;
}

static Value vector_to_list(Value v)
{
    Value result = nil;
    for (uint32_t i = vector_count(vector_argument(v)); i-- > 0;)
        result = cons(vector_ref(v, i), result);
    return result;
}

static Value copy_vector(Value v)
{
    const uint32_t count = vector_count(vector_argument(v));
    const Value result = make_vector(count, nil);
    memcpy(block_of(result) + 2, block_of(v) + 2, 4 * count);
    return result;
}

static const Primitive vector_primitives[] = {
    { "vector", vector, "(vector v ...): a new vector of the arguments" },
    { "make-vector", make_vector_,
      "(make-vector n fill): a new vector of n elements fill; error 2 for n above 16383" },
    { "vector?", vector_p, "(vector? v): whether v is a vector" },
    { "vector-length", vector_length, "(vector-length vector): number of elements" },
    { "vector-ref", vector_ref_, "(vector-ref vector i): element i from 0; error 2 past the end" },
    { "vector-set!", vector_set_x,
      "(vector-set! vector i v): stores v as element i; v; error 2 past the end" },
    { "list->vector", list_to_vector, "(list->vector list): a new vector of the elements" },
    { "vector->list", vector_to_list, "(vector->list vector): a new list of the elements" },
    { "copy-vector", copy_vector, "(copy-vector vector): a new vector of the same elements" },
};

void init_vectors()
{
    define_primitives(vector_primitives);
}
