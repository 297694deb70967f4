// What the storage tests share: a folder of their own, whole files in and out, error codes.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

#include "platform/file_paths.h"
#include "storage/storage_errors.h"

using Bytes = std::vector<uint8_t>;

struct TestFolder {
    TestFolder()
    {
        // In memory where that is possible: the tests open and close files by the thousand.
        const bool memory = access("/dev/shm", W_OK) == 0;
        std::string pattern = memory ? "/dev/shm/kalvex-XXXXXX" : "/tmp/kalvex-XXXXXX";
        host = mkdtemp(pattern.data());
    }
    ~TestFolder() { std::filesystem::remove_all(host); }
    std::string path(const std::string& name) const { return system_path(host) + "\\" + name; }
    std::string host;
};

inline Bytes read_whole_file(const std::string& path)
{
    std::ifstream stream(host_path(path), std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(stream), {});
}

inline void write_whole_file(const std::string& path, const Bytes& bytes)
{
    std::ofstream stream(host_path(path), std::ios::binary | std::ios::trunc);
    stream.write(reinterpret_cast<const char*>(bytes.data()),
                 static_cast<std::streamsize>(bytes.size()));
}

inline bool file_is_there(const std::string& path)
{
    return std::filesystem::exists(host_path(path));
}

// The code of the error that an action raises, 0 for none.
template <typename Action> int error_of(Action action)
{
    try {
        action();
    } catch (const StorageError& error) {
        return error.code;
    }
    return 0;
}
