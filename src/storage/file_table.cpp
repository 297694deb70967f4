#include "storage/file_table.h"

struct FileSlot {
    bool in_use;
    FileHandle file;
};

static FileSlot slots[kMostFileReferences];
static int roving;

int GetFileReference(FileHandle file)
{
    for (int i = 0; i < kMostFileReferences; i++) {
        const int slot = (roving + i) % kMostFileReferences;
        if (slots[slot].in_use)
            continue;
        slots[slot] = { true, file };
        roving = slot;
        return slot + 1;
    }
    return -1;
}

void FreeFileReference(int reference)
{
    if (reference >= 1 && reference <= kMostFileReferences)
        slots[reference - 1] = {};
}

FileHandle FileOfReference(int reference)
{
    if (reference < 1 || reference > kMostFileReferences || !slots[reference - 1].in_use)
        return kNoFile;
    return slots[reference - 1].file;
}
