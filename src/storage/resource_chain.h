// The chain of open resource files and the layer's state, for the resource_*.cpp files alone.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "storage/resource_file.h"
#include "storage/stored_file.h"

constexpr uint32_t kResHeaderSize = 256;

struct ResFile {
    std::string path;
    int reference = 0;
    StoredFile stored;
    ResourceMap map;
};

struct ResState {
    int16_t status = kResGood;
    std::vector<std::unique_ptr<ResFile>> chain; // oldest first: the chain's top is the last
    int current = 0;                             // 0: none
    uint8_t load = 1;
    bool counts_dirty = true;
    std::vector<std::pair<ResType, int32_t>> counts; // the type cache
    ResType unique_type = 0;
    int16_t unique_id = 128;
};

extern ResState resources;

// A resource of an open file.
struct ResFound {
    ResFile* file = nullptr;
    ResPlace place;
    explicit operator bool() const { return file != nullptr; }
};

ResFile* res_file(int reference); // null: unknown
// By Handle, over the whole chain; sets the status kResNotFound when it is no resource.
ResFound find_resource(Handle handle);
void set_status(int16_t status);

enum class LoadMode { normal, preload };
// The entry's Handle, loaded as the mode and the load flag ask; 0 with the status set on failure.
Handle load_entry(ResFile& file, ResPlace place, LoadMode mode);
// The length word of data that lies wholly before the map, -1 otherwise.
int64_t stored_length(ResFile& file, uint32_t data_offset);
