// The small numbers, 1 to 256, under which resource files are known.
#pragma once

#include "platform/files.h"

constexpr int kMostFileReferences = 256;

// A number for an open file, -1 when all are taken. The search for a free one starts at the place
// that was given last, so numbers are not given again at once.
int GetFileReference(FileHandle file);
void FreeFileReference(int reference);
FileHandle FileOfReference(int reference); // kNoFile for a number that is not in use
