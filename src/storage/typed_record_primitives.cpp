// Numbers, strings, vectors and arrays stored as records. A put reaches the disk at once.
#include <cstring>
#include <vector>

#include "kernel/errors.h"
#include "kernel/primitive.h"
#include "kernel/printer.h"
#include "kernel/symbols.h"
#include "storage/bytes.h"
#include "storage/database_arguments.h"
#include "storage/storage_arguments.h"

using Body = std::vector<uint8_t>;

// ---- Records ----

struct RecordKey {
    RecordKey(Value type_, Value id_, Value database_)
        : type(type_argument(type_)), id(static_cast<int32_t>(bits_argument(id_))),
          database(database_argument(database_))
    {
    }
    const ResType type;
    const int32_t id;
    const DatabaseId database;
};

static Body get_body(const RecordKey& key, Value id)
{
    Handle record;
    const int status = GetRecord(key.database, key.type, key.id, RecordLoad::yes, record);
    if (status == kDbNotFound)
        raise_error(kErrorType, id);
    check_database(status, nil);
    const uint32_t size = GetHandleSize(record);
    if (size == 0)
        return {};
    const LockedHandle locked(record);
    RecordInfo info;
    if (GetRecordInfo(record, info) == kDbGood && !(info.attributes & kResChanged))
        HPurge(record); // a purge would lose a change
    return Body(locked.bytes, locked.bytes + size);
}

static void store(Handle handle, const Body& body)
{
    SetHandleSizeChecked(handle, static_cast<uint32_t>(body.size()));
    if (!body.empty())
        memcpy(LockedHandle(handle).bytes, body.data(), body.size());
}

static void put_body(const RecordKey& key, const Body& body)
{
    Handle record;
    int status = GetRecord(key.database, key.type, key.id, RecordLoad::no, record);
    if (status == kDbGood) {
        // The mark comes first: it holds purges off, and refuses what may not be written.
        check_database(ChangedRecord(record), nil);
        store(record, body);
    } else {
        if (status != kDbNotFound)
            check_database(status, nil);
        record = NewHandleChecked(0);
        store(record, body);
        status = AddRecord(key.database, record, key.type, key.id, "");
        if (status != kDbGood)
            DisposeHandle(record);
        check_database(status, nil);
    }
    check_database(UpdateDatabase(key.database, may_compact_databases()), nil);
    ReleaseRecord(record);
}

// ---- Numbers and strings ----

static Value get_record_number(Value type, Value id, Value database)
{
    const Body body = get_body(RecordKey(type, id, database), id);
    if (body.size() == 2)
        return make_integer(static_cast<int16_t>(get_be16(body.data())));
    if (body.size() != 4)
        raise_error(kErrorType, id);
    return make_integer(static_cast<int32_t>(get_be32(body.data())));
}

static Value put_record_number(Value value, Value type, Value id, Value database)
{
    const int32_t number = integer_value(value);
    Body body(number >= INT16_MIN && number <= INT16_MAX ? 2 : 4);
    if (body.size() == 2)
        put_be16(body.data(), static_cast<uint16_t>(number));
    else
        put_be32(body.data(), static_cast<uint32_t>(number));
    put_body(RecordKey(type, id, database), body);
    return no_value;
}

static Value get_record_string(Value type, Value id, Value database)
{
    const Body body = get_body(RecordKey(type, id, database), id);
    const uint32_t length =
        static_cast<uint32_t>(strnlen(reinterpret_cast<const char*>(body.data()), body.size()));
    if (length > kLongestString)
        raise_error(kErrorType, id);
    return length == 0 ? empty_string
                       : make_string(reinterpret_cast<const char*>(body.data()), length);
}

static Value put_record_string(Value value, Value type, Value id, Value database)
{
    const std::string text = text_argument(value);
    put_body(RecordKey(type, id, database), Body(text.c_str(), text.c_str() + text.size() + 1));
    return no_value;
}

// ---- Vectors and arrays: raw blocks ----

static bool is_known_symbol(Value v)
{
    return is_symbol(v) && v.payload() % sizeof(SymbolEntry) == 0 &&
           v.payload() / sizeof(SymbolEntry) < spaces.symbol_count && symbol_of(v)->name != 0;
}

// Elements that named something in memory when they were stored name nothing now: they become nil.
static void keep_immediates(uint8_t* elements, uint32_t count)
{
    for (uint32_t i = 0; i < count; i++) {
        const Value v = load_value(elements + 4 * i);
        if (!is_fixnum(v) && v != no_value && !is_known_symbol(v))
            store_value(elements + 4 * i, nil);
    }
}

static uint16_t host_word(const Body& body, size_t at)
{
    uint16_t word = 0;
    if (at + 2 <= body.size())
        memcpy(&word, body.data() + at, 2);
    return word;
}

static Value get_record_vector(Value type, Value id, Value database)
{
    const Body body = get_body(RecordKey(type, id, database), id);
    const uint32_t count = host_word(body, 0);
    if (body.size() < 2 || body.size() < 2 + 4 * count || count > 16383)
        raise_error(kErrorType, id);
    const Value vector = make_vector(count, nil);
    memcpy(block_of(vector) + 2, body.data() + 2, 4 * count);
    keep_immediates(block_of(vector) + 2, count);
    return vector;
}

static Value put_record_vector(Value value, Value type, Value id, Value database)
{
    if (value.tag() != kTagVector)
        raise_error(kErrorType, value);
    const uint8_t* block = block_of(value);
    const Body body(block, block + 2 + 4 * vector_count(value));
    put_body(RecordKey(type, id, database), body);
    return no_value;
}

static uint32_t array_size(uint32_t total, uint32_t rank)
{
    return 4 + 4 * total + 2 * rank;
}

// The dimensions must multiply to the total, or a subscript would lead out of the block.
static bool is_array_block(const Body& body)
{
    const uint32_t total = host_word(body, 0);
    const uint32_t rank = host_word(body, 2);
    const uint32_t size = array_size(total, rank);
    if (body.size() < 4 || size > UINT16_MAX || body.size() < size)
        return false;
    uint64_t product = rank > 0;
    for (uint32_t i = 0; i < rank && product <= UINT16_MAX; i++)
        product *= host_word(body, 4 + 2 * i);
    return product == total;
}

static Value get_record_array(Value type, Value id, Value database)
{
    const Body body = get_body(RecordKey(type, id, database), id);
    if (!is_array_block(body))
        raise_error(kErrorType, id);
    const uint32_t total = host_word(body, 0);
    const uint32_t rank = host_word(body, 2);
    const uint32_t size = array_size(total, rank);
    ensure_space(size);
    const Value array = new_indirect(size, kTagArray, kHeaderArray);
    memcpy(block_of(array), body.data(), size);
    keep_immediates(block_of(array) + 4 + 2 * rank, total);
    return array;
}

static Value put_record_array(Value value, Value type, Value id, Value database)
{
    if (value.tag() != kTagArray)
        raise_error(kErrorType, value);
    const uint8_t* block = block_of(value);
    uint16_t words[2];
    memcpy(words, block, sizeof words);
    const Body body(block, block + array_size(words[0], words[1]));
    put_body(RecordKey(type, id, database), body);
    return no_value;
}

static const Primitive typed_record_primitives[] = {
    { "get-record-number", get_record_number,
      "(get-record-number type id database): integer stored as a record; error 2 when there is "
      "none, "
      "or none of 2 or 4 bytes" },
    { "put-record-number", put_record_number,
      "(put-record-number value type id database): stores an integer and updates the database" },
    { "get-record-string", get_record_string,
      "(get-record-string type id database): string stored as a record; error 2 when there is "
      "none" },
    { "put-record-string", put_record_string,
      "(put-record-string value type id database): stores a string and updates the database" },
    { "get-record-vector", get_record_vector,
      "(get-record-vector type id database): vector stored as a record, with nil for elements that "
      "are "
      "no small integers or symbols; error 2 when there is none" },
    { "put-record-vector", put_record_vector,
      "(put-record-vector value type id database): stores a vector of small integers and symbols "
      "and "
      "updates the database" },
    { "get-record-array", get_record_array,
      "(get-record-array type id database): array stored as a record, as for vectors" },
    { "put-record-array", put_record_array,
      "(put-record-array value type id database): stores an array and updates the database" },
};

void init_typed_records()
{
    define_primitives(typed_record_primitives);
}
