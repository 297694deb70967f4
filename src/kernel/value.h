// The tagged word that all Lisp data is made of.
//
//      31 30 29      24 23                      0
//     +--+--+----------+------------------------+
//     |0 |0 |   tag    |        payload         |
//     +--+--+----------+------------------------+
//
// The payload is a number, a byte offset into the nodes or into the symbol table. Bits 30 and 31 are
// used in the first word of a node only: permanent mark and collector's mark.
#pragma once

#include <cstdint>

enum Tag : uint32_t {
    kTagAddress = 0x00,
    kTagUnsignedLong = 0x01,
    kTagInteger = 0x02,
    kTagReal = 0x03,
    kTagVariable = 0x04,
    kTagNoValue = 0x05,
    kTagVector = 0x06,
    kTagString = 0x07,
    kTagSymbol = 0x08,
    kTagSyntax = 0x09,
    kTagInstance = 0x0a,
    kTagFunction = 0x0b,
    kTagPrimitive = 0x0c,
    kTagSpecial = 0x0d,
    kTagPredicate = 0x0e,
    kTagClass = 0x0f,
    kTagHashTable = 0x10,
    kTagLexical = 0x11,
    kTagGamma = 0x12,
    kTagLong = 0x13,
    kTagPointer = 0x14,
    kTagClosed = 0x15,
    kTagCacheCell = 0x16,  // resolved link: car the stored value, cdr the computed one
    kHeaderArray = 0x17,
    kHeaderBox = 0x18,  // boxed integer
    kHeaderHashTable = 0x1a,
    kTagReference = 0x1b,  // logic variable bound to a term read in another frame
    kHeaderVector = 0x1c,
    kHeaderReal = 0x1d,
    kHeaderString = 0x1e,
    kTagEndOfArgs = 0x1f,
    kTagQuote = 0x20,
    kTagIf = 0x21,
    kTagWhen = 0x22,
    kTagSyntaxGamma = 0x23,
    kTagCond = 0x24,
    kTagSet = 0x25,
    kTagNewClause = 0x26,
    kTagCase = 0x27,
    kTagRepeat = 0x28,
    kTagUntil = 0x29,
    kTagWhile = 0x2a,
    kTagBegin = 0x2b,
    kTagOr = 0x2c,
    kTagAnd = 0x2d,
    kTagLambda = 0x2e,
    kTagSend = 0x2f,
    kTagGammaForm = 0x30,
    kTagSyntaxForm = 0x31,
    kTagFluidLet = 0x32,
    kTagClosedSyntax = 0x33,
    kTagSyntaxGammaForm = 0x34,
    kHeaderPointer = 0x35,
    kTagLet = 0x36,
    kHeaderSlotData = 0x37,
    kHeaderClass = 0x38,
    kHeaderInstance = 0x39,
    kTagSlotData = 0x3a,
    kTagBlock = 0x3b,  // raw block that begins with its own 16-bit size
    kHeaderBlock = 0x3c,
    kTagSlot = 0x3d,  // slot descriptor
    kTagArray = 0x3e,
    kTagList = 0x3f,
};

constexpr uint32_t kPayloadMask = 0x00ffffff;
constexpr uint32_t kTagMask = 0x3f000000;
constexpr uint32_t kPermanentMark = 0x40000000;
constexpr uint32_t kCollectorMark = 0x80000000;

class Value {
public:
    constexpr Value() : bits_(0x3f000000) {}  // nil
    constexpr Value(Tag tag, uint32_t payload) : bits_(tag << 24 | (payload & kPayloadMask)) {}
    static constexpr Value from_bits(uint32_t bits)
    {
        Value value;
        value.bits_ = bits;
        return value;
    }

    constexpr uint32_t bits() const { return bits_; }
    constexpr Tag tag() const { return static_cast<Tag>(bits_ >> 24); }
    constexpr uint32_t payload() const { return bits_ & kPayloadMask; }
    constexpr Value with_tag(Tag tag) const { return Value(tag, bits_); }

    friend constexpr bool operator==(Value a, Value b) { return a.bits_ == b.bits_; }

private:
    uint32_t bits_;
};

static_assert(sizeof(Value) == 4);

constexpr Value nil;
constexpr Value no_value = Value::from_bits(0x05000000);      // no result; unbound
constexpr Value end_of_args = Value::from_bits(0x1f000000);   // closes every run of arguments
constexpr Value root_class = Value::from_bits(0x0f000000);    // self when no object is current

constexpr bool is_nil(Value v) { return v == nil; }
constexpr bool is_end(Value v) { return v == end_of_args; }
// The list tag is the highest there is, and nil its lowest payload.
constexpr bool is_pair(Value v) { return v.bits() > 0x3f000000; }
constexpr bool is_symbol(Value v) { return v.tag() == kTagSymbol; }
constexpr bool is_fixnum(Value v) { return v.tag() == kTagInteger; }
constexpr bool is_string(Value v) { return v.tag() == kTagString; }
constexpr bool is_object(Value v) { return v.tag() == kTagInstance || v.tag() == kTagClass; }

// Truth of an optional flag: unlike in `if`, no-value is false here too.
constexpr bool is_true_flag(Value v) { return v != nil && v != no_value; }

// Immediate integers. A 32-bit integer outside [kFixnumMin, kFixnumMax] is boxed.
constexpr int32_t kFixnumMin = -8388607;
constexpr int32_t kFixnumMax = 8388606;

// Without a range test: what does not fit 24 bits is cut.
constexpr Value make_fixnum(int32_t i) { return Value(kTagInteger, static_cast<uint32_t>(i)); }

// The payload with its sign, without a type test.
constexpr int32_t fixnum_value(Value v) { return static_cast<int32_t>(v.bits() << 8) >> 8; }
