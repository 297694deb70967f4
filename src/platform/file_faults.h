// For tests: makes the nth change of any file fail, as a full disk, a death of the process or a
// loss of power would. A change is a write, a truncation, a sync, a creation, a deletion or a
// renaming.
#pragma once

#include <cstdint>
#include <string>

enum class FileFault {
    none,
    refuse, // the nth change fails, all others work
    full,   // every change from the nth on fails, but deletions
    die,    // from the nth on nothing reaches the disk any more
    torn    // as die, but the nth, if it is a write, reaches the disk by half
};

// Starts counting anew. With watch_unsynced every change is noted until it is synced.
void SetFileFault(FileFault fault, uint32_t nth, bool watch_unsynced = false);
uint32_t FileChangesSoFar();
bool FileFaultStruck();

// The power fails now: of the changes that were not synced, those that the seed picks are undone,
// in reverse order; with a seed of 0 all are. Call it when every file is closed.
void LosePower(uint32_t seed);

// With true a sync counts as done without the disk being asked: tests have no need to wait for it.
void SimulateSyncs(bool simulate);

// ---- For files.cpp ----

enum class FaultAnswer { go_on, fail, half };
enum class FileChange { write, truncate, sync, create, remove, rename };

FaultAnswer AskFileFault(FileChange change);
bool WatchingUnsynced();
bool SyncsAreSimulated();
void NoteFileWrite(int descriptor, const std::string& path, uint64_t offset, uint64_t count);
void NoteFileCreated(const std::string& path);
void NoteFileRemoved(const std::string& path);
void NoteFileSynced(const std::string& path);
void NoteFolderSynced(const std::string& folder);
