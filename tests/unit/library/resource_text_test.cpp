// `format`'s texts out of resource files.
#include <cstdio>
#include <cstring>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "app/boot.h"
#include "kernel/evaluator.h"
#include "kernel/printer.h"
#include "kernel/reader.h"
#include "storage/bytes.h"
#include "storage/resource_file.h"

static Value evaluate(const char* text)
{
    const InputFrame frame;
    const ByteInput bytes(reinterpret_cast<const uint8_t*>(text),
                          static_cast<uint32_t>(strlen(text)));
    return eval_toplevel(read_form());
}

static std::string text_of(const char* form)
{
    return string_chars(coerce_to_string(evaluate(form)));
}

static void add_resource(const char* type, int16_t id, const std::string& content)
{
    const Handle handle = NewHandleChecked(static_cast<uint32_t>(content.size()));
    if (!content.empty()) {
        const LockedHandle locked(handle);
        memcpy(locked.bytes, content.data(), content.size());
    }
    AddResource(handle, get_be32(reinterpret_cast<const uint8_t*>(type)), id, "");
}

TEST(format_of_resources, texts_come_from_the_open_files)
{
    const std::string path = testing::TempDir() + "kalvex_texts_" + std::to_string(getpid());
    const int status = run_interpreter(console_sizes(), [&] {
        CreateResFile(path, 0x4b414c56, 0x72737263);
        const int reference = OpenResFile(path);
        EXPECT_GE(reference, 0);
        add_resource("STR ", 128, "\5hello");
        add_resource("STR ", 129, "\x14" "cut short");
        add_resource("STR ", 130, "");
        add_resource("STR#", 128, std::string("\0\2\3one\0", 7));
        EXPECT_EQ(text_of("(format t \"<~i>\" 128)"), "<hello>");
        EXPECT_EQ(text_of("(format t \"<~8i~8@i>\" 128 128)"), "<hello      hello>");
        EXPECT_EQ(text_of("(format t \"<~i>\" 129)"), "<cut short>");
        EXPECT_EQ(text_of("(format t \"<~i>\" 130)"), "<>");
        EXPECT_EQ(text_of("(format t \"<~i>\" 999)"), "<>");
        EXPECT_EQ(text_of("(format t \"<~:i~:i~:i~4:i>~a\" 128 1 128 2 128 3 128 1 'rest)"),
                  "<oneone >rest");
        CloseResFile(reference);
        return 0;
    });
    EXPECT_EQ(status, 0);
    remove(path.c_str());
}
