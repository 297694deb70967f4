// Steps of changing a database's file, for database_update.cpp and database_compaction.cpp.
#pragma once

#include <cassert>

#include "storage/database_chain.h"

// Sets the map back if the step is not completed, and undoes the change on disk that it began.
struct DatabaseStep {
    explicit DatabaseStep(DatabaseFile& changed);
    ~DatabaseStep();
    DatabaseStep(const DatabaseStep&) = delete;
    DatabaseStep& operator=(const DatabaseStep&) = delete;
    DatabaseFile& file;
    std::vector<uint8_t> before;
    const bool begins;
    bool completed = false;
};

// Writes the data of records, those that join in one go. Ends with flush or drop.
class RecordWriter {
public:
    explicit RecordWriter(DatabaseFile& file) : file_(file) {}
    ~RecordWriter();
    bool put(uint32_t offset, Handle handle, uint32_t size);
    bool flush();
    void drop() { buffer_.clear(); }

private:
    DatabaseFile& file_;
    uint32_t start_ = 0;
    std::vector<uint8_t> buffer_;
};

// Writes header and map and ends the change. What the map will cover is in the journal already.
bool write_database_map(DatabaseFile& file);

// Writes every changed record, then the map.
int write_database(DatabaseFile& file);
