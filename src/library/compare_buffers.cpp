// The difference of two texts in memory, as Lisp sees it.
#include "kernel/primitive.h"
#include "library/library.h"
#include "library/line_compare.h"
#include "library/list_walk.h"
#include "library/memory_arguments.h"

static Value compare_buffers(Value pointer_a, Value length_a, Value pointer_b, Value length_b)
{
    const uint32_t a_length = length_argument(length_a);
    const uint32_t b_length = length_argument(length_b);
    const uint8_t* const a = a_length ? memory_argument(pointer_a, a_length) : nullptr;
    const uint8_t* const b = b_length ? memory_argument(pointer_b, b_length) : nullptr;
    const std::vector<LineChange> changes = compare_lines(a, a_length, b, b_length);
    ListBuilder list;
    list.add(make_unsigned(static_cast<uint32_t>(changes.size())));
    for (const LineChange& change : changes) {
        ListBuilder block;
        block.add(make_fixnum(change.inserted));
        block.add(make_unsigned(change.at));
        block.add(make_unsigned(change.first));
        block.add(make_unsigned(change.end));
        list.add(block.list());
    }
    return list.list();
}

static const Primitive compare_primitives[] = {
    { "compare-buffers", compare_buffers,
      "(compare-buffers pointer-a length-a pointer-b length-b): the shortest change by whole lines "
      "(ended by carriage returns) that makes text a into text b: (count block...) with blocks (1 place "
      "start end) for bytes start to end of b that go in before that place of a, and (0 start start "
      "end) for bytes that are taken out of a. (0) for equal texts. Error 2 when memory is not there" },
};

void init_compare_buffers() { define_primitives(compare_primitives); }
