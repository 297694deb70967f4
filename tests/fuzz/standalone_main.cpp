// Runs a fuzz target without libFuzzer: on every seed, then on seeds altered by a fixed generator for
// the seconds given. fuzz-target [-seconds=N] [-seed=N] FILE-OR-FOLDER...
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

using Bytes = std::vector<uint8_t>;

static Bytes read_bytes(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

static void collect_seeds(const std::filesystem::path& path, std::vector<Bytes>& seeds)
{
    if (std::filesystem::is_directory(path)) {
        for (const auto& entry : std::filesystem::directory_iterator(path))
            collect_seeds(entry.path(), seeds);
    } else {
        seeds.push_back(read_bytes(path));
    }
}

static void alter(Bytes& bytes, const std::vector<Bytes>& seeds, std::mt19937& random)
{
    const auto below = [&](size_t n) { return n ? random() % n : 0; };
    static const uint8_t telling[] = { 0, 1, 0x7f, 0x80, 0xff, '(', ')', '.', '"', '\\', '#', '{', '}', '&' };
    for (size_t changes = 1 + below(8); changes > 0; --changes) {
        const size_t at = below(bytes.size() + 1);
        switch (below(6)) {
        case 0:
            if (at < bytes.size())
                bytes[at] = static_cast<uint8_t>(random());
            break;
        case 1:
            bytes.insert(bytes.begin() + static_cast<long>(at), telling[below(sizeof telling)]);
            break;
        case 2:
            bytes.resize(at);
            break;
        case 3: {
            const size_t end = at + below(bytes.size() - at + 1);
            bytes.erase(bytes.begin() + static_cast<long>(at), bytes.begin() + static_cast<long>(end));
            break;
        }
        case 4: {
            const Bytes& other = seeds[below(seeds.size())];
            const size_t from = below(other.size());
            const size_t count = below(other.size() - from + 1);
            bytes.insert(bytes.begin() + static_cast<long>(at), other.begin() + static_cast<long>(from),
                         other.begin() + static_cast<long>(from + count));
            break;
        }
        default:
            if (at < bytes.size())
                bytes[at] ^= static_cast<uint8_t>(1 << below(8));
        }
        if (bytes.size() > 65536)
            bytes.resize(65536);
    }
}

// What a crash leaves behind to be run again.
static void keep(const Bytes& bytes)
{
    std::ofstream("fuzz-last-input", std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

int main(int count, char** words)
{
    double seconds = 2;
    unsigned seed = 1;
    bool keeps = false;
    std::vector<Bytes> seeds;
    for (int i = 1; i < count; ++i) {
        if (strncmp(words[i], "-seconds=", 9) == 0)
            seconds = atof(words[i] + 9);
        else if (strncmp(words[i], "-seed=", 6) == 0)
            seed = static_cast<unsigned>(atoi(words[i] + 6));
        else if (strcmp(words[i], "-keep") == 0)
            keeps = true;
        else
            collect_seeds(words[i], seeds);
    }
    seeds.push_back({});
    for (const Bytes& bytes : seeds)
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());

    std::mt19937 random(seed);
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    size_t runs = seeds.size();
    for (; std::chrono::steady_clock::now() < end; ++runs) {
        Bytes bytes = seeds[random() % seeds.size()];
        alter(bytes, seeds, random);
        if (keeps)
            keep(bytes);
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    printf("%zu inputs, seed %u\n", runs, seed);
    return 0;
}
