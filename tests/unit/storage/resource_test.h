// A fixture for tests of resource files: a folder, no open files, fresh handles.
#pragma once

#include <cstring>

#include <gtest/gtest.h>

#include "platform/file_faults.h"
#include "storage/bytes.h"
#include "storage/resource_file.h"
#include "storage/stored_file.h"
#include "test_files.h"

constexpr ResType kText = res_type("TEXT");
constexpr ResType kString = res_type("STR ");

class ResourceTest : public testing::Test {
protected:
    void SetUp() override
    {
        SetFileFault(FileFault::none, 0);
        SimulateSyncs(true);
        SetStorageSync(StorageSync::process);
        AbandonAllResFiles();
        DisposeAllHandles();
    }
    void TearDown() override
    {
        SetFileFault(FileFault::none, 0);
        AbandonAllResFiles();
        DisposeAllHandles();
        SimulateSyncs(false);
    }

    // Makes and opens an empty file.
    int make(const std::string& name)
    {
        CreateResFile(folder.path(name), res_type("KVXA"), res_type("rsrc"));
        EXPECT_EQ(ResError(), 0);
        return OpenResFile(folder.path(name));
    }

    static Handle handle_with(const std::string& text)
    {
        const Handle handle = NewHandle(static_cast<uint32_t>(text.size()));
        if (!text.empty())
            memcpy(LockedHandle(handle).bytes, text.data(), text.size());
        return handle;
    }

    static void set_text(Handle handle, const std::string& text)
    {
        SetHandleSize(handle, static_cast<uint32_t>(text.size()));
        if (!text.empty())
            memcpy(LockedHandle(handle).bytes, text.data(), text.size());
    }

    static std::string text_of(Handle handle)
    {
        if (handle == 0)
            return "(none)";
        const uint32_t size = GetHandleSize(handle);
        if (size == 0)
            return {};
        const LockedHandle locked(handle);
        return std::string(reinterpret_cast<const char*>(locked.bytes), size);
    }

    static Handle add(ResType type, int16_t id, const std::string& text, const char* name = "")
    {
        const Handle handle = handle_with(text);
        AddResource(handle, type, id, name);
        EXPECT_EQ(ResError(), 0);
        return handle;
    }

    TestFolder folder;
};
