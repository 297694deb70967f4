// Resource files in the Macintosh layout (docs/formats/resource-file.md) and the chain of open
// ones. Every operation sets the status that ResError reads: 0, or one of ResStatus. What gives a
// Handle gives 0 on failure. A Handle that was got from a file belongs to its map: closing the file
// disposes of it, unless it was released or detached before.
#pragma once

#include <string>
#include <string_view>

#include "platform/files.h"
#include "storage/handles.h"
#include "storage/resource_map.h"

enum ResStatus : int16_t {
    kResGood = 0,
    kResWriteFailed = -34,
    kResReadFailed = -36,
    kResCannotOpen = -37, // or is no resource file, or too many are open
    kResWriteProtected = -44,
    kResExists = -48,
    kResNoMemory = -108,
    kResNotFound = -192, // or the Handle is no resource
    kResUnknownFile = -193,
    kResAddFailed = -194,
    kResRemoveFailed = -196,
};

int16_t ResError();

// Keeps the status while it stands, for those who look something up on the side.
struct ResStatusFrame {
    ResStatusFrame();
    ~ResStatusFrame();
    const int16_t saved;
};

// ---- Files. Paths are system paths of at most 255 bytes ----

void CreateResFile(std::string_view path, ResType creator, ResType type);
int OpenResFile(std::string_view path); // the file's reference, -1 on failure
void CloseResFile(int reference);
void CloseAllResFiles();
int FindResFile(std::string_view path); // -1: not open
int CountOpenResFiles();
void UpdateResFile(int reference);
void UseResFile(int reference); // 0: no current file
int CurResFile();
int HomeResFile(Handle handle);
uint16_t GetResFileAttrs(int reference);
void SetResFileAttrs(int reference, uint16_t attributes);

// Forgets all open files as a process that dies does: for crash tests.
void AbandonAllResFiles();

// Whether the file is open as a resource file or could be; opens none.
bool IsResourceFile(std::string_view path);

// The open file's handle, for the four bytes of type and creator in its header; kNoFile if unknown.
FileHandle ResFileHandle(int reference);

// ---- Finding ----

void SetResLoad(uint8_t flag); // 0: getters give the Handle without reading the data again
Handle GetResource(ResType type, int16_t id);
Handle GetNamedResource(ResType type, std::string_view name);
Handle Get1Resource(ResType type, int16_t id);
Handle GetIndResource(ResType type, int32_t index); // from 1
Handle Get1IndResource(ResType type, int32_t index);
int32_t CountResources(ResType type);
int32_t Count1Resources(ResType type);
int32_t Count1Types();
ResType Get1IndType(int32_t index); // from 1; 0 when out of range
int16_t UniqueID(ResType type);

// ---- One resource ----

void LoadResource(Handle handle);
void ReleaseResource(Handle handle);
void DetachResource(Handle handle);
int32_t SizeResource(Handle handle); // -1 when it is not known

struct ResInfo {
    int16_t id = 0;
    ResType type = 0;
    std::string name;
};
bool GetResInfo(Handle handle, ResInfo& info);
void SetResInfo(Handle handle, int16_t id, std::string_view name);
uint8_t GetResAttrs(Handle handle);
void SetResAttrs(Handle handle, uint8_t attributes);
void ChangedResource(Handle handle);
void AddResource(Handle handle, ResType type, int16_t id, std::string_view name);
void RmveResource(Handle handle);
void WriteResource(Handle handle);

// ---- Resources of known types ----

Handle GetString(int16_t id);
// The string of that index, from 1, of the STR# resource: a length byte and its characters. The
// buffer has room for 256 bytes.
void GetIndString(uint8_t* buffer, int16_t id, int32_t index);
int32_t CountIndStrings(int16_t id); // 0 when it is missing
// Eight bytes; the buffer stays as it is when there is no such pattern. Id 0 has 1, 4 and 20.
void GetIndPattern(uint8_t* buffer, int16_t id, int32_t index);
