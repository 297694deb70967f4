// kalvex: the run-time. Boots the Image file that stands beside it and hands over to the
// application.
#include <climits>
#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

#include "app/boot.h"
#include "app/image_boot.h"
#include "app/program_host.h"
#include "app/terminal.h"
#include "kernel/errors.h"
#include "kernel/evaluator.h"
#include "kernel/frames.h"
#include "kernel/hooks.h"
#include "kernel/symbols.h"
#include "platform/file_paths.h"
#include "platform/poll_timer.h"
#include "platform/text_encoding.h"
#include "platform/zone.h"
#include "storage/handles.h"
#include "storage/resource_file.h"
#include "storage/storage_errors.h"

static constexpr int kNoImage = -1;

namespace {

struct Options {
    std::string image;
    std::string host;
    std::vector<std::string> words; // offered to the application
};

} // namespace

static bool parse_options(int count, char** words, Options* options)
{
    for (int i = 1; i < count; i++) {
        const std::string word = words[i];
        if (word != "--image" && word != "--host") {
            options->words.push_back(word);
            continue;
        }
        if (++i == count)
            return false;
        (word == "--image" ? options->image : options->host) = words[i];
    }
    return true;
}

static std::string program_path()
{
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    return length > 0 ? std::string(path, length) : std::string("kalvex");
}

// The frame comes before the arena, so an image that asks for too much can still say so in a
// window.
static bool open_frame(const std::string& program)
{
    const std::string name = ansi_from_utf8(program.substr(program.rfind('/') + 1));
    const FrameSettings settings = image_frame_settings(name);
    dialog_language = settings.language;
    return host->open_frame(settings);
}

// An application that cannot do without movies does not start where they cannot be played.
static bool movies_are_there()
{
    const FrameSettings& settings = host->settings();
    if (!(settings.flags & kFrameMovies))
        return true;
    const bool newer = settings.second_flags & 0x02;
    if (host->run_installer(newer ? "QuickTimeInstaller.exe" : "QuickT30.exe"))
        return true;
    show_alert(kDialogMovies + dialog_language, newer ? "4.0" : "3.0.2", "", "", "");
    return false;
}

static int run_application(const Options& options)
{
    const int language = dialog_language;
    uint32_t shortage_kb = 0;
    if (start_modules(image_sizes(), MemoryAvailable(), &shortage_kb) != ArenaResult::ready) {
        show_alert(kDialogMemory + language, std::to_string(shortage_kb).c_str(), "", "", "");
        return 1;
    }
    dialog_language = language;
    hooks.alert = show_alert;
    {
        const EventFlagFrame no_events;
        load_image();
    }
    offer_command_line(options.words);
    const EventFlagFrame no_events;
    call_value(intern("toplevel-loop"));
    return 1;
}

static int boot(const Options& options)
{
    const std::string program = program_path();
    const std::string image = options.image.empty() ? image_path_of(program) : options.image;
    zone_open();
    if (!open_image(image))
        return kNoImage;
    if (!open_frame(program))
        return 0;
    if (!movies_are_there())
        return 1;
    note_boot_start();
    start_poll_timer(request_poll);
    const int status =
        run_program(image_sizes().machine_stack, [&] { return run_application(options); });
    stop_poll_timer();
    flush_terminal();
    host->close_frame();
    stop_modules();
    return status;
}

int main(int count, char** words)
{
    Options options;
    if (!parse_options(count, words, &options) || !choose_host(options.host)) {
        fputs("kalvex [--image FILE] [--host desktop|headless] [WORD]...\n", stderr);
        return 2;
    }
    try {
        return boot(options);
    } catch (const StorageError& error) {
        fprintf(stderr, "kalvex: storage error %d\n", error.code);
        return 1;
    }
}
