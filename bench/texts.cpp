// kalvex-bench-texts search FILE PATTERNS: how many places of the file begin with one of the lines of
// PATTERNS. kalvex-bench-texts compare A B: how many lines a shortest script changes. Both as the
// primitives do it; bench/texts times them beside grep and diff.
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <string_view>
#include <sys/mman.h>
#include <sys/stat.h>

#include "library/line_compare.h"
#include "library/pattern_search.h"

static std::string_view map_file(const char* path)
{
    const int file = open(path, O_RDONLY);
    struct stat status = {};
    if (file < 0 || fstat(file, &status) != 0 || status.st_size == 0)
        return {};
    const size_t size = static_cast<size_t>(status.st_size);
    return { static_cast<const char*>(mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, file, 0)), size };
}

static const uint8_t* bytes_of(std::string_view text)
{
    return reinterpret_cast<const uint8_t*>(text.data());
}

static int search(const char* path, const char* patterns_path)
{
    const std::string_view text = map_file(path);
    std::vector<std::string> patterns;
    std::ifstream lines(patterns_path);
    for (std::string line; std::getline(lines, line);)
        patterns.push_back(line);
    const PatternSearch search(patterns, SearchDirection::forward, nullptr);
    const uint32_t end = static_cast<uint32_t>(text.size());
    uint32_t count = 0;
    PatternSearch::Match match = {};
    for (uint32_t at = 0; search.find(bytes_of(text), at, end, &match); at = match.offset + 1)
        ++count;
    printf("%u\n", count);
    return 0;
}

static int compare(const char* a_path, const char* b_path)
{
    const std::string_view a = map_file(a_path);
    const std::string_view b = map_file(b_path);
    const auto changes = compare_lines(bytes_of(a), static_cast<uint32_t>(a.size()), bytes_of(b),
                                       static_cast<uint32_t>(b.size()));
    printf("%zu\n", changes.size());
    return 0;
}

int main(int count, char** words)
{
    if (count == 4 && strcmp(words[1], "search") == 0)
        return search(words[2], words[3]);
    if (count == 4 && strcmp(words[1], "compare") == 0)
        return compare(words[2], words[3]);
    fprintf(stderr, "usage: kalvex-bench-texts search FILE PATTERNS | compare A B\n");
    return 2;
}
