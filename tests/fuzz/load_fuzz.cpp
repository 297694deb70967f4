// The compact form of `Load` resources. The input is a 16-bit length, a table of names of that many
// bytes, and the tokenised text. The forms are not evaluated: any program could stand in them.
#include "interpreter.h"
#include "kernel/errors.h"
#include "kernel/reader.h"
#include "kernel/symbols.h"

static void read_load(const uint8_t* data, size_t size)
{
    if (size < 2)
        return;
    size_t table = static_cast<size_t>(data[0] << 8 | data[1]);
    if (table > size - 2)
        table = size - 2;
    if (!install_compact_symbols(data + 2, static_cast<uint32_t>(table)))
        install_compact_symbols(reinterpret_cast<const uint8_t*>("\0\1a"), 4);
    // A load is under way: source references are read.
    set_global_value(intern("Load-File"), make_fixnum(0));
    ByteInput bytes(data + 2 + table, static_cast<uint32_t>(size - 2 - table));
    while (read_form() != kTokenEnd) {
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    run_in_interpreter(read_load, data, size);
    return 0;
}
