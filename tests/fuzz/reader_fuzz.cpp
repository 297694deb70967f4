// Any bytes end in forms or an error.
#include "interpreter.h"
#include "kernel/errors.h"
#include "kernel/reader.h"

static void read_all(const uint8_t* data, size_t size)
{
    ByteInput bytes(data, static_cast<uint32_t>(size));
    while (read_form() != kTokenEnd) {
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    run_in_interpreter(read_all, data, size);
    return 0;
}
