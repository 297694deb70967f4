// kalvex-repl: the console for programmers.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "app/boot.h"
#include "app/console.h"
#include "app/image_boot.h"
#include "app/program_host.h"
#include "app/reference.h"
#include "app/source_text.h"
#include "app/terminal.h"
#include "kernel/frames.h"
#include "kernel/hooks.h"
#include "platform/zone.h"

namespace {

struct Source {
    enum Kind { expression, file } kind;
    std::string text;
};

struct Options {
    enum Task { evaluate, names, doc, reference, usage } task = evaluate;
    std::vector<Source> sources;
    std::string image;
    std::string host;
    std::string name; // for doc
};

} // namespace

static const char kUsage[] =
    "kalvex-repl [--image FILE] [--host NAME] [-e EXPR]... [FILE]...\n"
    "kalvex-repl --names | --doc NAME\n"
    "\n"
    "Evaluates what is given, in order, and displays each value on a line of its own; a value "
    "that\n"
    "says nothing (no-value) is not shown. With nothing given it reads forms from standard input,\n"
    "with line editing and history when that is a terminal. An error ends its form, is told on\n"
    "standard error and makes the exit status 1; the forms behind it run.\n";

// False when a word is unknown or lacks its operand.
static bool parse_options(int count, char** words, Options* options)
{
    for (int i = 1; i < count; i++) {
        const std::string word = words[i];
        const bool takes_operand =
            word == "-e" || word == "--image" || word == "--host" || word == "--doc";
        if (takes_operand && ++i == count)
            return false;
        if (word == "-e")
            options->sources.push_back({ Source::expression, words[i] });
        else if (word == "--image")
            options->image = words[i];
        else if (word == "--host")
            options->host = words[i];
        else if (word == "--doc")
            options->task = Options::doc, options->name = words[i];
        else if (word == "--names")
            options->task = Options::names;
        else if (word == "--reference")
            options->task = Options::reference;
        else if (word == "--help")
            options->task = Options::usage;
        else if (word.size() > 1 && word[0] == '-')
            return false;
        else
            options->sources.push_back({ Source::file, word });
    }
    return true;
}

static int evaluate_file(const std::string& path)
{
    std::string text, error;
    if (!read_host_file(path, &text, &error)) {
        fprintf(stderr, "kalvex-repl: %s\n", error.c_str());
        return 1;
    }
    return evaluate_text(text, ShowValues::yes, path);
}

static int evaluate_sources(const Options& options)
{
    int errors = 0;
    for (const Source& source : options.sources) {
        errors += source.kind == Source::file ? evaluate_file(source.text)
                                              : evaluate_text(source.text, ShowValues::yes);
    }
    if (options.sources.empty())
        errors +=
            isatty(STDIN_FILENO) ? evaluate_terminal() : evaluate_standard_input(ShowValues::yes);
    flush_terminal();
    return errors ? 1 : 0;
}

static int run(const Options& options)
{
    switch (options.task) {
    case Options::names:
        print_defined_names();
        return 0;
    case Options::doc:
        return print_usage_of(options.name.c_str());
    case Options::reference:
        print_reference();
        return 0;
    default:
        open_console();
        return evaluate_sources(options);
    }
}

// Without an Image file the frame is made all the same: what asks for it gets an answer.
static int run_plain(const Options& options)
{
    FrameSettings settings;
    settings.title = "kalvex-repl";
    host->open_frame(settings);
    return run_interpreter(console_sizes(), [&] { return run(options); });
}

// The image's own sizes, its frame and its loads, then what the command line says.
static int run_with_image(const Options& options)
{
    zone_open();
    if (!open_image(options.image))
        return 1;
    const FrameSettings settings = image_frame_settings("kalvex-repl");
    if (!host->open_frame(settings))
        return 1;
    return run_interpreter(image_sizes(), [&] {
        dialog_language = settings.language;
        open_console();
        {
            const EventFlagFrame no_events;
            load_image();
        }
        return run(options);
    });
}

int main(int count, char** words)
{
    Options options;
    if (!parse_options(count, words, &options)) {
        fputs(kUsage, stderr);
        return 2;
    }
    if (options.task == Options::usage) {
        fputs(kUsage, stdout);
        return 0;
    }
    if (!choose_host(options.host))
        return 2;
    const int status = options.image.empty() ? run_plain(options) : run_with_image(options);
    flush_terminal();
    return status;
}
