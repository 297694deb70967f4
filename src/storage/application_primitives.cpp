// Other programs, links, the user's menu of programs and the dialogs that choose files.
#include "kernel/errors.h"
#include "kernel/evaluator.h"
#include "kernel/hooks.h"
#include "kernel/primitive.h"
#include "kernel/printer.h"
#include "kernel/symbols.h"
#include "platform/file_info.h"
#include "platform/host/host.h"
#include "platform/launch.h"
#include "platform/profile.h"
#include "storage/pathname.h"
#include "storage/storage_arguments.h"
#include "storage/storage_primitives.h"

static constexpr char kSettingsSection[] = "KALVEX";
static constexpr char kLastFolder[] = "LastDir";

// ---- Programs ----

static std::string optional_path(Value pathname)
{
    return is_true_flag(pathname) ? path_argument(pathname) : std::string();
}

static Value launch_application(Value program_, Value document_, Value quit)
{
    const std::string program = optional_path(program_);
    const std::string document = optional_path(document_);
    const uint32_t process =
        program.empty() ? OpenDocument(document) : LaunchProgram(program, document);
    if (process == 0)
        return nil;
    if (is_true_flag(quit))
        hooks.quit(0);
    return make_pointer(kPointerPlain, process);
}

static Value application_running_p(Value process)
{
    return boolean(ProgramRuns(pointer_of(process)));
}

// Other programs' windows are the desktop's.
static Value show_application(Value process)
{
    pointer_of(process);
    return no_value;
}

static Value add_program_group(Value group)
{
    AddProgramGroup(text_argument(group));
    return no_value;
}

static Value add_program_item(Value pathname, Value group_, Value item_)
{
    const std::string program = path_argument(pathname);
    const std::string group = text_argument(group_);
    return boolean(AddProgramItem(program, group, text_argument(item_)));
}

static Value resolve_alias_file(Value pathname)
{
    const std::string path = path_argument(pathname);
    const std::string target = ResolveLink(path.c_str());
    if (!target.empty())
        return make_pathname_list(target);
    return FolderExists(path.c_str()) ? pathname : nil;
}

// ---- Dialogs ----

static std::string dialog_text(Value text)
{
    return is_true_flag(text) ? std::string(coerce_to_cstring(text)) : std::string();
}

// Names of types and their patterns stand in two lists.
static std::vector<FileFilter> filters_argument(Value labels, Value patterns)
{
    std::vector<FileFilter> filters;
    for (; is_pair(labels) && is_pair(patterns);
         labels = cdr_of(labels), patterns = cdr_of(patterns)) {
        const std::string pattern = dialog_text(car_of(patterns));
        filters.push_back({ dialog_text(car_of(labels)) + " (" + pattern + ")", pattern });
    }
    return filters;
}

static Value choose(Value function, FileDialog dialog)
{
    if (dialog.folder.empty())
        dialog.folder = GetProfileString(kSettingsSection, kLastFolder, "");
    std::string path;
    if (host == nullptr || !host->choose_file(dialog, path))
        throw_cancel();
    const size_t slash = path.rfind('\\');
    if (dialog.kind == FileDialogKind::folder)
        WriteProfileString(kSettingsSection, kLastFolder, path.c_str());
    else if (slash != std::string::npos)
        WriteProfileString(kSettingsSection, kLastFolder, path.substr(0, slash).c_str());
    call_value(function, make_pathname_list(path));
    return no_value;
}

static Value kalvex_choose_file(Value function, Value prompt, Value labels, Value patterns)
{
    FileDialog dialog;
    dialog.prompt = dialog_text(prompt);
    dialog.filters = filters_argument(labels, patterns);
    return choose(function, dialog);
}

static Value kalvex_choose_new_file(Value function, Value prompt, Value name, Value labels,
                                    Value patterns)
{
    FileDialog dialog;
    dialog.kind = FileDialogKind::save;
    dialog.prompt = dialog_text(prompt);
    dialog.name = dialog_text(name);
    dialog.filters = filters_argument(labels, patterns);
    return choose(function, dialog);
}

static Value kalvex_choose_directory(Value function, Value start)
{
    FileDialog dialog;
    dialog.kind = FileDialogKind::folder;
    dialog.folder = optional_path(start);
    return choose(function, dialog);
}

static Value set_open_directory(Value pathname)
{
    WriteProfileString(kSettingsSection, kLastFolder, path_argument(pathname).c_str());
    return no_value;
}

static const Primitive application_primitives[] = {
    { "launch-application", launch_application,
      "(launch-application program document quit): starts a program, with a document if there is "
      "one, "
      "or opens a document when program is nil. Pointer to the process, or nil; a true quit ends "
      "this "
      "program" },
    { "application-running?", application_running_p,
      "(application-running? process): whether what launch-application started still runs" },
    { "show-application", show_application,
      "(show-application process): nothing, here: windows of others are the desktop's" },
    { "add-program-group", add_program_group,
      "(add-program-group name): makes a folder in the user's menu of programs" },
    { "add-program-item", add_program_item,
      "(add-program-item pathname group name): makes an entry in a folder of the menu that starts "
      "the "
      "program; t, or nil on failure" },
    { "resolve-alias-file", resolve_alias_file,
      "(resolve-alias-file pathname): where a link, or the shortcut of that name and \".lnk\", "
      "leads; a "
      "folder stands for itself; else nil" },
    { "resolve-alias", resolve_alias_file,
      "(resolve-alias pathname): the same as resolve-alias-file" },
    { "kalvex-choose-file", kalvex_choose_file,
      "(kalvex-choose-file function prompt labels patterns): lets the user choose a file among "
      "those "
      "that match, and calls function with its pathname; throws to cancel" },
    { "kalvex-choose-new-file", kalvex_choose_new_file,
      "(kalvex-choose-new-file function prompt name labels patterns): the same for a file to be "
      "made" },
    { "kalvex-choose-directory", kalvex_choose_directory,
      "(kalvex-choose-directory function start): the same for a folder" },
    { "set-open-directory", set_open_directory,
      "(set-open-directory pathname): where the next of these dialogs starts" },
};

void init_applications()
{
    define_primitives(application_primitives);
}
