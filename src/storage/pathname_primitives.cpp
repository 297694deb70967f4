// Pathnames taken apart and compared, and what folders hold.
#include <cstring>

#include "kernel/errors.h"
#include "kernel/primitive.h"
#include "kernel/symbols.h"
#include "platform/file_info.h"
#include "platform/files.h"
#include "platform/text_encoding.h"
#include "storage/pathname.h"
#include "storage/storage_arguments.h"
#include "storage/storage_primitives.h"

static Value make_text(const std::string& text)
{
    return text.empty() ? empty_string : make_string(text.c_str());
}

// ---- Names

static Value parse_pathname(Value pathname)
{
    return make_text(path_argument(pathname));
}

static Value os_to_kalvex(Value path)
{
    return make_pathname_list(text_argument(path));
}

// Where a path's drive ends and its name begins.
static size_t drive_end(const std::string& path)
{
    return path.size() >= 2 && path[1] == ':' ? 2 : 0;
}

static size_t name_start(const std::string& path)
{
    const size_t slash = path.rfind('\\');
    return slash == std::string::npos ? drive_end(path) : slash + 1;
}

static Value make_pathname(Value pathname)
{
    const std::string path = path_argument(pathname);
    const size_t drive = drive_end(path);
    const size_t name = name_start(path);
    Value list = cons(make_text(path.substr(name)), nil);
    list = cons(make_pathname_list(path.substr(drive, name - drive)), list);
    return cons(make_text(path.substr(0, drive)), list);
}

static Value pathname_equal_p(Value a, Value b)
{
    if (a == b)
        return symbol_t;
    const std::string first = path_argument(a);
    return boolean(ansi_equal_without_case(first, path_argument(b)));
}

static Value pathname_name(Value pathname)
{
    const std::string path = path_argument(pathname);
    return make_text(path.substr(name_start(path)));
}

static Value pathname_directory(Value pathname)
{
    const std::string path = path_argument(pathname);
    return make_pathname_list(path.substr(0, name_start(path)));
}

static Value pathname_inclusion(Value a, Value b)
{
    std::string folder = path_argument(a);
    const std::string path = path_argument(b);
    if (ansi_equal_without_case(folder, path))
        return symbol_t;
    if (folder.empty() || folder.back() != '\\')
        folder += '\\';
    return boolean(path.size() > folder.size() &&
                   ansi_equal_without_case(folder, path.substr(0, folder.size())));
}

static Value pathname_volume(Value pathname)
{
    for (int depth = 0; depth < 200; depth++) {
        if (is_string(pathname))
            return pathname;
        if (is_symbol(pathname) && !is_nil(pathname)) {
            const Value value = symbol_value(pathname);
            if (value == no_value)
                raise_error(kErrorUnbound, pathname);
            pathname = value;
        } else if (is_pair(pathname)) {
            pathname = car_of(pathname);
        } else {
            break;
        }
    }
    raise_error(kErrorType, pathname);
}

static Value resource_pathname_p(Value v)
{
    return boolean(is_fixnum(v) || is_string(v) || v.tag() == kTagReal || v.tag() == kTagLong);
}

// ---- Folders

static Value make_names(const std::vector<std::string>& names)
{
    Value list;
    for (size_t i = names.size(); i > 0; i--)
        list = cons(make_text(names[i - 1]), list);
    return list;
}

static Value dir_files(Value pathname, Value pattern)
{
    const std::string path = path_argument(pathname);
    const std::string wanted = is_true_flag(pattern) ? text_argument(pattern) : "";
    return make_names(ListFolder(path.c_str(), wanted.c_str(), Listing::files));
}

static Value dir_subdirs(Value pathname)
{
    return make_names(ListFolder(path_argument(pathname).c_str(), "", Listing::folders));
}

static Value create_dir(Value pathname)
{
    return boolean(CreateDirectoryA(path_argument(pathname).c_str()));
}

static Value remove_empty_dir(Value pathname)
{
    return boolean(RemoveDirectoryA(path_argument(pathname).c_str()));
}

static Value file_exists_p(Value pathname)
{
    return boolean(FileExists(path_argument(pathname).c_str()));
}

static Value dir_exists_p(Value pathname)
{
    return boolean(FolderExists(path_argument(pathname).c_str()));
}

static Value find_preference_folder()
{
    return make_pathname_list(GetConfigFolder());
}

static Value find_application_pathname(Value)
{
    return nil;
}

static Value not_here()
{
    raise_error(kErrorNotHere);
}

static Value volume_space(Value volume)
{
    return make_integer(static_cast<int32_t>(GetFreeKilobytes(path_argument(volume).c_str())));
}

static Value volume_lock_p(Value pathname)
{
    return boolean(IsReadOnlyDisc(path_argument(pathname).c_str()));
}

static Value erasable_p(Value pathname)
{
    return boolean(FileMayBeWritten(path_argument(pathname).c_str()));
}

static const Primitive pathname_primitives[] = {
    { "parse-pathname", parse_pathname,
      "(parse-pathname pathname): system path of a string, a symbol with a pathname as its value, "
      "or a "
      "list of pathnames; error 2 for anything else or past 255 bytes, 6 for an unbound symbol" },
    { "kalvex->os", parse_pathname, "(kalvex->os pathname): the same as parse-pathname" },
    { "os->kalvex", os_to_kalvex, "(os->kalvex path): list of the components of a system path" },
    { "make-pathname", make_pathname,
      "(make-pathname pathname): (volume (folder...) name), name with its extension" },
    { "pathname=?", pathname_equal_p,
      "(pathname=? a b): whether both give the same path, whatever the case" },
    { "pathname-name", pathname_name, "(pathname-name pathname): the last component" },
    { "pathname-directory", pathname_directory,
      "(pathname-directory pathname): list of all components but the last" },
    { "pathname-inclusion", pathname_inclusion,
      "(pathname-inclusion a b): whether a is b or a folder above b" },
    { "pathname-volume", pathname_volume,
      "(pathname-volume pathname): the first string in it, through symbols and lists" },
    { "resource-pathname?", resource_pathname_p,
      "(resource-pathname? value): whether it is an integer, a real or a string" },
    { "dir-files", dir_files,
      "(dir-files pathname pattern): names of the files in a folder that match the pattern, by "
      "default all" },
    { "dir-subdirs", dir_subdirs, "(dir-subdirs pathname): names of the folders in a folder" },
    { "create-dir", create_dir, "(create-dir pathname): makes a folder; whether it could" },
    { "remove-empty-dir", remove_empty_dir,
      "(remove-empty-dir pathname): removes a folder that is empty; whether it could" },
    { "file-exists?", file_exists_p, "(file-exists? pathname): whether a file is there" },
    { "dir-exists?", dir_exists_p, "(dir-exists? pathname): whether a folder is there" },
    { "find-preference-folder", find_preference_folder,
      "(find-preference-folder): pathname of the folder of the user's settings" },
    { "find-application-pathname", find_application_pathname,
      "(find-application-pathname creator): nil, creators are not registered here" },
    { "online", not_here, "(online): error 47, not available here" },
    { "get-drive-name", not_here, "(get-drive-name volume): error 47, not available here" },
    { "open-rf", not_here, "(open-rf): error 47, not available here" },
    { "fsread", not_here, "(fsread): error 47, not available here" },
    { "fswrite", not_here, "(fswrite): error 47, not available here" },
    { "getfpos", not_here, "(getfpos): error 47, not available here" },
    { "setfpos", not_here, "(setfpos): error 47, not available here" },
    { "seteof", not_here, "(seteof): error 47, not available here" },
    { "fsclose", not_here, "(fsclose): error 47, not available here" },
    { "volume-space", volume_space,
      "(volume-space volume): kilobytes that are free on the volume of a pathname" },
    { "volume-lock?", volume_lock_p,
      "(volume-lock? pathname): whether it lies on a disc that can't be written" },
    { "erasable?", erasable_p, "(erasable? pathname): whether the file may be written" },
};

void init_pathnames()
{
    define_primitives(pathname_primitives);
}
