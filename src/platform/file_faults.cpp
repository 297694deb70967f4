#include "platform/file_faults.h"

#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

// How to undo one change of a file, or of a folder's list of names.
struct Undo {
    enum Kind { bytes, created, removed } kind;
    std::string path;
    uint64_t offset;
    uint64_t size; // of the file, before the change
    std::string old;
};

struct FaultState {
    FileFault fault = FileFault::none;
    uint32_t nth = 0;
    uint32_t changes = 0;
    bool struck = false;
    bool watch = false;
    std::vector<Undo> undos;
};

static FaultState faults;
static bool simulated_syncs;

void SimulateSyncs(bool simulate)
{
    simulated_syncs = simulate;
}

bool SyncsAreSimulated()
{
    return simulated_syncs;
}

void SetFileFault(FileFault fault, uint32_t nth, bool watch_unsynced)
{
    faults = FaultState();
    faults.fault = fault;
    faults.nth = nth;
    faults.watch = watch_unsynced;
}

uint32_t FileChangesSoFar()
{
    return faults.changes;
}

bool FileFaultStruck()
{
    return faults.struck;
}

FaultAnswer AskFileFault(FileChange change)
{
    faults.changes++;
    if (faults.fault == FileFault::none || faults.changes < faults.nth)
        return FaultAnswer::go_on;
    if (faults.fault == FileFault::full && change == FileChange::remove)
        return FaultAnswer::go_on;
    if (faults.fault == FileFault::refuse && faults.changes > faults.nth)
        return FaultAnswer::go_on;
    faults.struck = true;
    const bool first = faults.changes == faults.nth;
    return faults.fault == FileFault::torn && first && change == FileChange::write
               ? FaultAnswer::half
               : FaultAnswer::fail;
}

bool WatchingUnsynced()
{
    return faults.watch;
}

static std::string read_bytes(int descriptor, uint64_t offset, uint64_t count)
{
    std::string bytes(count, '\0');
    const ssize_t got = pread(descriptor, bytes.data(), count, static_cast<off_t>(offset));
    bytes.resize(got < 0 ? 0 : static_cast<size_t>(got));
    return bytes;
}

void NoteFileWrite(int descriptor, const std::string& path, uint64_t offset, uint64_t count)
{
    struct stat found;
    if (fstat(descriptor, &found) != 0)
        return;
    faults.undos.push_back({ Undo::bytes, path, offset, static_cast<uint64_t>(found.st_size),
                             read_bytes(descriptor, offset, count) });
}

void NoteFileCreated(const std::string& path)
{
    faults.undos.push_back({ Undo::created, path, 0, 0, {} });
}

void NoteFileRemoved(const std::string& path)
{
    const int descriptor = open(path.c_str(), O_RDONLY);
    if (descriptor < 0)
        return;
    struct stat found;
    fstat(descriptor, &found);
    faults.undos.push_back({ Undo::removed, path, 0, 0,
                             read_bytes(descriptor, 0, static_cast<uint64_t>(found.st_size)) });
    close(descriptor);
}

void NoteFileSynced(const std::string& path)
{
    std::erase_if(faults.undos,
                  [&](const Undo& undo) { return undo.kind == Undo::bytes && undo.path == path; });
}

void NoteFolderSynced(const std::string& folder)
{
    std::erase_if(faults.undos, [&](const Undo& undo) {
        const size_t slash = undo.path.rfind('/');
        const std::string in = slash == std::string::npos ? "." : undo.path.substr(0, slash);
        return undo.kind != Undo::bytes && in == folder;
    });
}

static void undo_change(const Undo& undo)
{
    if (undo.kind == Undo::created) {
        unlink(undo.path.c_str());
        return;
    }
    const int flags = undo.kind == Undo::removed ? O_WRONLY | O_CREAT | O_TRUNC : O_WRONLY;
    const int descriptor = open(undo.path.c_str(), flags, 0666);
    if (descriptor < 0)
        return;
    const ssize_t put =
        pwrite(descriptor, undo.old.data(), undo.old.size(), static_cast<off_t>(undo.offset));
    if (undo.kind == Undo::bytes && put >= 0 &&
        ftruncate(descriptor, static_cast<off_t>(undo.size)) != 0) {
        // the test that asked for the loss sees a file that does not fit
    }
    close(descriptor);
}

void LosePower(uint32_t seed)
{
    std::mt19937 random(seed);
    for (auto undo = faults.undos.rbegin(); undo != faults.undos.rend(); ++undo) {
        if (seed == 0 || random() % 2 == 0)
            undo_change(*undo);
    }
    faults = FaultState();
}
