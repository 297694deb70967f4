#include "app/image_boot.h"

#include <algorithm>
#include <cstring>
#include <sys/stat.h>

#include "app/splash.h"
#include "kernel/errors.h"
#include "kernel/evaluator.h"
#include "kernel/frames.h"
#include "kernel/hooks.h"
#include "kernel/reader.h"
#include "kernel/symbols.h"
#include "platform/clock.h"
#include "platform/file_paths.h"
#include "platform/text_encoding.h"
#include "storage/bytes.h"
#include "storage/pathname.h"
#include "storage/resource_file.h"

static uint32_t boot_start;
static uint32_t boot_length;

void note_boot_start()
{
    boot_start = ticks();
    boot_length = 0;
}

uint32_t boot_ticks()
{
    return boot_length;
}

// ---- The file and its preferences

std::string image_path_of(const std::string& program_path)
{
    const size_t name = program_path.rfind('/') + 1;
    const size_t point = program_path.rfind('.');
    const bool has_point = point != std::string::npos && point >= name;
    return program_path.substr(0, has_point ? point : std::string::npos) + ".RI";
}

bool open_image(const std::string& host_path)
{
    const std::string path = system_path(host_path);
    if (OpenResFile(path) >= 0)
        return true;
    show_alert(kDialogNoFile + dialog_language, path.c_str(), "", "", "");
    return false;
}

// The first size bytes of a resource, the rest zero. The size it has; 0 when it is not there.
static uint32_t read_resource(const char (&type)[5], int16_t id, uint8_t* bytes, uint32_t size)
{
    memset(bytes, 0, size);
    const Handle handle = GetResource(res_type(type), id);
    if (!handle)
        return 0;
    const uint32_t length = GetHandleSize(handle);
    if (length > 0) {
        const LockedHandle locked(handle);
        memcpy(bytes, locked.bytes, length < size ? length : size);
    }
    return length;
}

FrameSettings image_frame_settings(const std::string& default_title)
{
    FrameSettings settings;
    uint8_t bytes[256];
    const uint32_t title = read_resource("PREF", 258, bytes, sizeof bytes);
    if (title > 0)
        settings.title.assign(reinterpret_cast<char*>(bytes + 1),
                              std::min<uint32_t>(bytes[0], title - 1));
    else
        settings.title = default_title;

    const uint32_t length = read_resource("PREF", 257, bytes, 9);
    if (length == 0) {
        settings.width = settings.height = 0;
        return settings;
    }
    settings.flags = bytes[2];
    settings.language = bytes[3] <= 2 ? bytes[3] : 0;
    if (length >= 7) {
        settings.width = static_cast<int16_t>(get_be16(bytes + 4));
        settings.height = static_cast<int16_t>(get_be16(bytes + 6));
        settings.second_flags = bytes[8];
    }
    return settings;
}

SpaceSizes image_sizes()
{
    SpaceSizes sizes;
    uint8_t bytes[36];
    if (read_resource("VPRF", 256, bytes, sizeof bytes) >= sizeof bytes) {
        const auto figure = [&](int i) { return get_be32(bytes + 4 * i); };
        sizes = { figure(0), figure(1), figure(2), figure(3), figure(4),
                  figure(5), figure(6), figure(7), figure(8), 0 };
    }
    if (read_resource("SIZE", -1, bytes, 6) >= 6)
        sizes.partition = get_be32(bytes + 2);
    return sizes;
}

// ---- Loading

void load_from_handle(Handle handle, Value id)
{
    const uint32_t size = GetHandleSize(handle);
    if (size == 0)
        return;
    const LockedHandle text(handle);
    load_bytes(text.bytes, size, id);
}

// Without a table the names that are always there stand alone.
static void install_symbols()
{
    static const uint8_t no_names[2] = {};
    install_compact_symbols(no_names, sizeof no_names);
    const Handle handle = GetResource(res_type("SYMB"), 0);
    if (!handle || GetHandleSize(handle) == 0)
        return;
    const LockedHandle names(handle);
    install_compact_symbols(names.bytes, GetHandleSize(handle));
}

// The next Load; 0 at the end of them. One that should be there and can't be read ends the program.
static Handle get_load(int id, int image)
{
    const Handle handle = GetResource(res_type("Load"), static_cast<int16_t>(id));
    if (!handle) {
        const int16_t status = ResError();
        if (status != kResGood && status != kResNotFound) {
            hooks.alert(kDialogLoadMemory + dialog_language, "", "", "", "");
            hooks.quit(1);
        }
        return 0;
    }
    return HomeResFile(handle) == image ? handle : 0;
}

static void load_all()
{
    const int image = CurResFile();
    for (int id = 0; id <= INT16_MAX; id++) {
        advance_splash();
        const Handle handle = get_load(id, image);
        if (!handle)
            return;
        const uint16_t generation = HandleGeneration(handle);
        HNoPurge(handle);
        load_from_handle(handle, make_fixnum(id));
        // What was loaded may have released it, and another Handle have its number now.
        if (HandleGeneration(handle) == generation)
            ReleaseResource(handle);
    }
}

static void call_if_bound(const char* name)
{
    const Value symbol = intern(name);
    if (is_bound(symbol))
        call_value(symbol);
}

void load_image()
{
    install_symbols();
    open_splash();
    load_all();
    remove_compact_symbols();
    set_global_value(intern("Load-File"), nil);
    call_if_bound("init-kalvex");
    boot_length = ticks() - boot_start;
    call_if_bound("init-user");
    close_splash();
}

// ---- The command line

// Whether the word was a file or folder, and so was sent.
static bool offer_word(Value appl, const std::string& word)
{
    struct stat status;
    const std::string path = host_path(system_path(word));
    if (path.empty() || stat(path.c_str(), &status) != 0)
        return false;
    const Value pathname = make_pathname_list(system_path(path));
    if (S_ISDIR(status.st_mode)) {
        call_with_object_guarded(appl, intern("open-folder"), pathname);
        return true;
    }
    if (!S_ISREG(status.st_mode))
        return false;
    call_with_object_guarded(appl, intern("open-file"), pathname,
                             call_value(intern("file-get-type"), pathname));
    return true;
}

void offer_command_line(const std::vector<std::string>& words)
{
    const Value symbol = intern("Appl", nil);
    const Value appl = symbol_value(symbol);
    if (!is_true_flag(appl))
        return;
    const EventFlagFrame no_events;
    bool sent = false;
    for (const std::string& word : words)
        sent |= offer_word(appl, word);
    if (!sent)
        call_with_object_guarded(appl, intern("start-appl"));
}
