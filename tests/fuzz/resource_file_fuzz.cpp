// Any bytes as a resource file: it is refused or opened; if it opens, everything is looked up,
// changed and written, and the file that comes out opens again.
#include <cstdlib>
#include <string>
#include <unistd.h>

#include "platform/file_paths.h"
#include "storage/resource_file.h"
#include "storage/stored_file.h"

static std::string scratch_path()
{
    static std::string path;
    if (path.empty()) {
        const char* folder = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        path =
            system_path(std::string(folder) + "/kalvex-fuzz-" + std::to_string(getpid()) + ".rsrc");
    }
    return path;
}

static void walk()
{
    for (int32_t i = 1; i <= Count1Types() && i < 40; i++) {
        const ResType type = Get1IndType(i);
        for (int32_t index = 1; index <= Count1Resources(type) && index < 40; index++) {
            const Handle handle = Get1IndResource(type, index);
            if (handle == 0)
                continue;
            ResInfo info;
            if (!GetResInfo(handle, info) || HomeResFile(handle) != CurResFile())
                abort();
            SizeResource(handle);
            GetNamedResource(type, info.name);
            if (index % 3 == 0) {
                SetResInfo(handle, static_cast<int16_t>(info.id + 1), info.name + "x");
            } else if (index % 3 == 1) {
                SetHandleSize(handle, GetHandleSize(handle) + 1);
                ChangedResource(handle);
            } else {
                RmveResource(handle);
                if (ResError() == 0)
                    DisposeHandle(handle);
            }
        }
        UniqueID(type);
        CountResources(type);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    SetStorageSync(StorageSync::none);
    const std::string path = scratch_path();
    const FileHandle file =
        CreateFileA(path.c_str(), FileAccess::read_write, FileDisposition::create_always);
    WriteFileAt(file, 0, data, static_cast<uint32_t>(size));
    CloseHandle(file);
    const int reference = OpenResFile(path);
    if (reference >= 0) {
        uint8_t buffer[256];
        GetIndString(buffer, 128, 2);
        GetIndPattern(buffer, 128, 2);
        walk();
        AddResource(NewHandle(5), res_type("FUZZ"), 1, "name");
        UpdateResFile(reference);
        const bool written = ResError() == 0;
        CloseResFile(reference);
        if (written && OpenResFile(path) < 0)
            abort();
    }
    CloseAllResFiles();
    DisposeAllHandles();
    DeleteFileA(path.c_str());
    return 0;
}
