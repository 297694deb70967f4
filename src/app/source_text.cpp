#include "app/source_text.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "platform/text_encoding.h"

static bool is_utf8(std::string_view text)
{
    for (size_t i = 0; i < text.size();) {
        const uint8_t lead = static_cast<uint8_t>(text[i]);
        const size_t length = lead < 0x80   ? 1
                              : lead < 0xc2 ? 0
                              : lead < 0xe0 ? 2
                              : lead < 0xf0 ? 3
                              : lead < 0xf5 ? 4
                                            : 0;
        if (length == 0 || i + length > text.size())
            return false;
        for (size_t k = 1; k < length; k++) {
            if ((text[i + k] & 0xc0) != 0x80)
                return false;
        }
        i += length;
    }
    return true;
}

std::string lisp_text(std::string_view host_text)
{
    if (host_text.substr(0, 3) == "\xef\xbb\xbf")
        host_text.remove_prefix(3);
    const std::string bytes =
        is_utf8(host_text) ? ansi_from_utf8(host_text) : std::string(host_text);
    std::string text;
    text.reserve(bytes.size());
    for (size_t i = 0; i < bytes.size(); i++) {
        if (bytes[i] == '\n' && i > 0 && bytes[i - 1] == '\r')
            continue;
        text += bytes[i] == '\n' ? '\r' : bytes[i];
    }
    return text;
}

bool read_host_file(const std::string& path, std::string* bytes, std::string* error)
{
    FILE* file = fopen(path.c_str(), "rb");
    if (!file) {
        *error = path + ": " + strerror(errno);
        return false;
    }
    bytes->clear();
    char buffer[65536];
    size_t count;
    while ((count = fread(buffer, 1, sizeof buffer, file)) > 0)
        bytes->append(buffer, count);
    const bool good = !ferror(file);
    if (!good)
        *error = path + ": " + strerror(errno);
    fclose(file);
    return good;
}
