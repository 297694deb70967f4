// Resource files for Lisp. Getters answer a null resource when nothing was found and raise nothing:
// `reserror` tells why. The calls that write turn a bad status into an error.
#include <cstring>

#include "kernel/errors.h"
#include "kernel/primitive.h"
#include "kernel/printer.h"
#include "kernel/symbols.h"
#include "storage/bytes.h"
#include "storage/database_arguments.h"
#include "storage/pathname.h"
#include "storage/resource_errors.h"
#include "storage/resource_file.h"
#include "storage/storage_arguments.h"
#include "storage/storage_primitives.h"

void raise_resource_status(int16_t status)
{
    switch (status) {
    case 0:
        return;
    case -49:
    case -47:
        raise_error(kErrorBadReference);
    case -48:
        raise_error(kErrorAccess);
    case -46:
    case -44:
    case -35:
        raise_error(kErrorDisk);
    case -43:
        raise_error(kErrorFileNotFound);
    case -34:
    case -33:
        raise_error(kErrorDiskFull);
    default:
        raise_error(kErrorFile, make_fixnum(status));
    }
}

static Value resource_pointer(Handle handle)
{
    return make_handle_pointer(kPointerResource, handle);
}

static Value checked()
{
    raise_resource_status(ResError());
    return no_value;
}

// ---- Files

static Value openresfile(Value pathname)
{
    return make_fixnum(OpenResFile(path_argument(pathname)));
}

static Value closeresfile(Value reference)
{
    CloseResFile(integer_value(reference));
    return checked();
}

static Value updateresfile(Value reference)
{
    UpdateResFile(integer_value(reference));
    return checked();
}

static Value useresfile(Value reference)
{
    UseResFile(integer_value(reference));
    return no_value;
}

static Value curresfile()
{
    return make_fixnum(CurResFile());
}

static Value reserror()
{
    return make_fixnum(ResError());
}

static Value homeresfile(Value resource)
{
    return make_fixnum(HomeResFile(resource_argument(resource)));
}

static Value getresfileattrs(Value reference)
{
    return make_fixnum(GetResFileAttrs(integer_value(reference)));
}

static Value setresfileattrs(Value reference, Value attributes)
{
    const int file = integer_value(reference);
    SetResFileAttrs(file, static_cast<uint16_t>(integer_value(attributes)));
    return no_value;
}

static Value openrf_p(Value pathname)
{
    return boolean(FindResFile(path_argument(pathname)) >= 0);
}

static Value resource_fork_exists_p(Value pathname)
{
    const std::string path = path_argument(pathname);
    if (FindResFile(path) >= 0)
        return symbol_t;
    const int before = CountOpenResFiles();
    const int reference = OpenResFile(path);
    if (reference >= 0 && CountOpenResFiles() > before)
        CloseResFile(reference);
    return boolean(reference >= 0);
}

// ---- Finding

// A flag's low byte counts; what is no integer counts as a flag.
static Value setresload(Value flag)
{
    const uint8_t load = is_fixnum(flag) ? static_cast<uint8_t>(fixnum_value(flag))
                                         : static_cast<uint8_t>(is_true_flag(flag));
    SetResLoad(load);
    return no_value;
}

static Value countresources(Value type)
{
    return make_integer(CountResources(type_argument(type)));
}

static Value count1resources(Value type)
{
    return make_integer(Count1Resources(type_argument(type)));
}

static Value count1types()
{
    return make_integer(Count1Types());
}

static Value get1indtype(Value index)
{
    return make_type_string(Get1IndType(integer_value(index)));
}

static Value getindresource(Value type_, Value index)
{
    const ResType type = type_argument(type_);
    return resource_pointer(GetIndResource(type, integer_value(index)));
}

static Value get1indresource(Value type_, Value index)
{
    const ResType type = type_argument(type_);
    return resource_pointer(Get1IndResource(type, integer_value(index)));
}

static Value getresource(Value type_, Value id_or_name)
{
    const ResType type = type_argument(type_);
    if (is_fixnum(id_or_name))
        return resource_pointer(GetResource(type, id_argument(id_or_name)));
    return resource_pointer(GetNamedResource(type, name_argument(id_or_name)));
}

static Value get1resource(Value type_, Value id)
{
    const ResType type = type_argument(type_);
    return resource_pointer(Get1Resource(type, id_argument(id)));
}

static Value getpicture(Value id)
{
    return resource_pointer(GetResource(res_type("PICT"), id_argument(id)));
}

static Value uniqueid(Value type)
{
    return make_fixnum(UniqueID(type_argument(type)));
}

// ---- One resource

static Value loadresource(Value resource)
{
    LoadResource(resource_argument(resource));
    return no_value;
}

static Value releaseresource(Value resource)
{
    ReleaseResource(resource_argument(resource));
    return no_value;
}

static Value detachresource(Value resource)
{
    DetachResource(resource_argument(resource));
    if (ResError() == 0)
        set_pointer_kind(resource, kPointerHandle);
    return no_value;
}

static ResInfo info_of(Value resource)
{
    ResInfo info;
    GetResInfo(resource_argument(resource), info);
    return info;
}

static Value getresid(Value resource)
{
    return make_fixnum(info_of(resource).id);
}

static Value getresname(Value resource)
{
    const std::string name = info_of(resource).name;
    return name.empty() ? empty_string : make_string(name.c_str());
}

static Value getresattrs(Value resource)
{
    return make_fixnum(GetResAttrs(resource_argument(resource)));
}

static Value sizeresource(Value resource)
{
    return make_integer(SizeResource(resource_argument(resource)));
}

static Value setresinfo(Value resource, Value id_, Value name)
{
    const int16_t id = id_argument(id_);
    SetResInfo(resource_argument(resource), id, name_argument(name));
    return no_value;
}

static Value setresattrs(Value resource, Value attributes)
{
    const uint8_t byte = static_cast<uint8_t>(integer_value(attributes));
    SetResAttrs(resource_argument(resource), byte);
    return no_value;
}

static Value changedresource(Value resource)
{
    ChangedResource(resource_argument(resource));
    return no_value;
}

static Value writeresource(Value resource)
{
    WriteResource(resource_argument(resource));
    return checked();
}

static Value addresource(Value handle, Value type_, Value id_, Value name)
{
    const ResType type = type_argument(type_);
    const int16_t id = id_argument(id_);
    AddResource(resource_argument(handle), type, id, name_argument(name));
    checked();
    set_pointer_kind(handle, kPointerResource);
    return no_value;
}

static Value rmveresource(Value resource)
{
    RmveResource(resource_argument(resource));
    checked();
    set_pointer_kind(resource, kPointerHandle);
    return no_value;
}

// ---- Strings and lists of records

static Value get_ind_string(Value id_, Value index)
{
    uint8_t text[257];
    const int16_t id = id_argument(id_);
    GetIndString(text, id, integer_value(index));
    text[1 + text[0]] = 0;
    return text[0] == 0 ? empty_string : make_string(reinterpret_cast<const char*>(text + 1));
}

static Value get_nb_string(Value id)
{
    return make_fixnum(CountIndStrings(id_argument(id)));
}

static Value get_strings_count(Value resource)
{
    const Handle handle = handle_argument(resource);
    const LockedHandle strings(handle);
    if (GetHandleSize(handle) < 2)
        raise_error(kErrorType, resource);
    return make_fixnum(static_cast<int16_t>(get_be16(strings.bytes)));
}

// Records of a resource: four bytes, then a counted string padded to an even size. One that the
// resource's end cuts short is no record.
class Records {
public:
    explicit Records(Value resource) : handle_(resource_argument(resource))
    {
        LoadResource(handle_);
        if (handle_ == 0)
            raise_error(kErrorType, resource);
        size_ = GetHandleSize(handle_);
    }

    uint32_t position() const { return position_; }

    // Goes past the next record and gives its name; false at the end.
    bool next(std::string& name)
    {
        if (size_ == 0 || size_ - position_ < kNameAt + 1)
            return false;
        const LockedHandle locked(handle_);
        const uint8_t* record = locked.bytes + position_;
        const uint32_t length = record[kNameAt];
        if (size_ - position_ < kNameAt + 1 + length)
            return false;
        name.assign(reinterpret_cast<const char*>(record + kNameAt + 1), length);
        const uint32_t whole = kNameAt + ((length + 2) & ~1u);
        position_ = whole > size_ - position_ ? size_ : position_ + whole;
        return true;
    }

private:
    static constexpr uint32_t kNameAt = 4;
    const Handle handle_;
    uint32_t size_ = 0;
    uint32_t position_ = 0;
};

static Value help_get_offset(Value resource, Value count_)
{
    Records records(resource);
    std::string name;
    for (int32_t count = integer_value(count_); count > 0 && records.next(name);)
        count--;
    return make_unsigned(records.position());
}

static Value help_get_no(Value resource, Value offset_)
{
    Records records(resource);
    const int64_t offset = integer_value(offset_);
    std::string name;
    int32_t count = 0;
    while (int64_t(records.position()) < offset && records.next(name))
        count++;
    return make_integer(count);
}

static Value help_get_all_name(Value resource)
{
    Records records(resource);
    std::string name;
    Value head;
    Value last;
    while (records.next(name)) {
        const Value text = name.empty() ? empty_string : make_string(name.c_str());
        const Value pair = cons(text, nil);
        if (is_nil(head))
            head = pair;
        else
            set_cdr(last, pair);
        last = pair;
    }
    return head;
}

// ---- Printing

// Asks without touching the status that the program may still want to read.
static void print_resource(Value pointer)
{
    const Handle handle = resource_argument(pointer);
    const ResStatusFrame keep;
    ResInfo info;
    if (handle == 0 || !GetResInfo(handle, info)) {
        print_disposed(pointer);
        return;
    }
    char type[5] = {};
    put_be32(reinterpret_cast<uint8_t*>(type), info.type);
    print_format("<%s %s %d \"%s\" %x of size %d>", pointer_kind_name(pointer), type, info.id,
                 info.name.c_str(), handle, static_cast<int>(GetHandleSize(handle)));
}

static const Primitive resource_primitives[] = {
    { "openresfile", openresfile,
      "(openresfile pathname): reference of the resource file, opened for writing if that is "
      "allowed, "
      "and made current; -1 when it can't be opened, see reserror" },
    { "closeresfile", closeresfile,
      "(closeresfile reference): writes changes, closes the file and disposes of its resources; "
      "error by status" },
    { "reserror", reserror, "(reserror): status of the last resource call, 0 for good" },
    { "curresfile", curresfile, "(curresfile): reference of the current file, 0 for none" },
    { "homeresfile", homeresfile,
      "(homeresfile resource): reference of the file that holds it, or -1" },
    { "useresfile", useresfile,
      "(useresfile reference): makes the file current; 0 for none; status -193 if it is not open" },
    { "setresload", setresload,
      "(setresload flag): with 0, purged resources are found without being read again" },
    { "countresources", countresources,
      "(countresources type): number of resources of the type in all open files" },
    { "getindresource", getindresource,
      "(getindresource type index): resource number index, from 1, over all open files; null past "
      "the "
      "last" },
    { "getresource", getresource,
      "(getresource type id-or-name): resource of that id or name in the current file or one "
      "opened "
      "before it; null when there is none" },
    { "getpicture", getpicture, "(getpicture id): resource of type PICT" },
    { "loadresource", loadresource, "(loadresource resource): reads it again if it was purged" },
    { "releaseresource", releaseresource,
      "(releaseresource resource): disposes of its handle; the file keeps the resource" },
    { "detachresource", detachresource,
      "(detachresource resource): makes it a handle of its own, which the file forgets" },
    { "uniqueid", uniqueid,
      "(uniqueid type): id that no resource of the type has, from 128; another one at each call" },
    { "unique1id", uniqueid, "(unique1id type): the same as uniqueid" },
    { "getresid", getresid, "(getresid resource): its id" },
    { "getresname", getresname, "(getresname resource): its name, empty for none" },
    { "getresattrs", getresattrs,
      "(getresattrs resource): attributes: 32 purgeable, 8 protected, 4 preload, 2 changed" },
    { "sizeresource", sizeresource,
      "(sizeresource resource): bytes in memory, or in the file if it is not loaded; -1 if "
      "unknown" },
    { "setresinfo", setresinfo,
      "(setresinfo resource id name): changes id and name, unless the resource is protected" },
    { "setresattrs", setresattrs, "(setresattrs resource byte): sets the attributes" },
    { "changedresource", changedresource,
      "(changedresource resource): has its data written at the next update" },
    { "addresource", addresource,
      "(addresource handle type id name): makes the handle a resource of the current file; error "
      "by "
      "status" },
    { "rmveresource", rmveresource,
      "(rmveresource resource): takes it out of the current file and makes it a handle; error by "
      "status, when it is protected or elsewhere" },
    { "updateresfile", updateresfile,
      "(updateresfile reference): writes the file's changes; error by status" },
    { "writeresource", writeresource,
      "(writeresource resource): writes its data if it was changed; error by status" },
    { "getresfileattrs", getresfileattrs,
      "(getresfileattrs reference): 128 read-only, 64 to be compacted, 32 changed" },
    { "setresfileattrs", setresfileattrs, "(setresfileattrs reference attributes): sets them" },
    { "count1types", count1types, "(count1types): number of types in the current file" },
    { "get1indtype", get1indtype,
      "(get1indtype index): type number index, from 1, of the current file; empty past the last" },
    { "count1resources", count1resources,
      "(count1resources type): number of resources of the type in the current file" },
    { "get1indresource", get1indresource,
      "(get1indresource type index): resource number index, from 1, of the current file" },
    { "get1resource", get1resource,
      "(get1resource type id): resource of that id in the current file alone" },
    { "get-ind-string", get_ind_string,
      "(get-ind-string id index): string number index, from 1, of STR# id; empty if there is "
      "none" },
    { "get-nb-string", get_nb_string, "(get-nb-string id): number of strings in STR# id" },
    { "get-strings-count", get_strings_count,
      "(get-strings-count resource): its first 16 bits; error 60 when it is empty" },
    { "help-get-offset", help_get_offset,
      "(help-get-offset resource count): offset of record number count, from 0" },
    { "help-get-no", help_get_no,
      "(help-get-no resource offset): number of records before the offset" },
    { "help-get-all-name", help_get_all_name,
      "(help-get-all-name resource): names of its records" },
    { "openrf?", openrf_p, "(openrf? pathname): whether it is open as a resource file" },
    { "resource-fork-exists?", resource_fork_exists_p,
      "(resource-fork-exists? pathname): whether it is or can be opened as a resource file" },
};

void init_resources()
{
    define_primitives(resource_primitives);
    define_pointer_printer(kPointerResource, print_resource);
}

void close_storage()
{
    CloseAllDatabases(usual_database_close());
    CloseAllResFiles();
}
