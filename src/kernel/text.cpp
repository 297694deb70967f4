// Values as strings: what the current output would show, collected.
#include <cstring>

#include "kernel/number_text.h"
#include "kernel/printer.h"
#include "kernel/spaces.h"
#include "kernel/symbols.h"

static CaptureFrame* current_capture = nullptr;

// A capture begins without escapes, whatever is being printed around it.
CaptureFrame::CaptureFrame() : outer_(current_capture), escapes_(printer_escapes)
{
    current_capture = this;
    printer_escapes = 0;
    output = { put, 0, nil };
}

CaptureFrame::~CaptureFrame()
{
    current_capture = outer_;
    printer_escapes = escapes_;
}

// Outputs nest like captures do, so the innermost capture is the one written to.
void CaptureFrame::put(uint32_t character, uint32_t)
{
    CaptureFrame& capture = *current_capture;
    if (character == 0)
        return;
    if (capture.count_ == sizeof capture.buffer_)
        capture.spill();
    capture.buffer_[capture.count_++] = static_cast<char>(character);
}

void CaptureFrame::spill()
{
    full_ = text();
    count_ = 0;
}

Value CaptureFrame::text()
{
    if (is_nil(full_))
        return count_ ? make_string(buffer_, count_) : empty_string;
    if (count_ == 0)
        return full_;
    const uint32_t begun = static_cast<uint32_t>(strlen(string_chars(full_)));
    ensure_text(begun + count_);
    char* text = scratch();
    memcpy(text, string_chars(full_), begun);
    memcpy(text + begun, buffer_, count_);
    text[begun + count_] = 0;
    return make_string(text, begun + count_);
}

static Value captured_string(Value v)
{
    CaptureFrame capture;
    print_princ(v);
    return capture.text();
}

Value coerce_to_string(Value v)
{
    char text[kNumberTextSize];
    switch (v.tag()) {
    case kTagString:
        return v;
    case kTagSymbol:
        return symbol_name(v);
    case kTagInteger:
    case kTagLong:
    case kTagUnsignedLong:
    case kTagReal: {
        const uint32_t length = number_text(v, text);
        return make_string(text, length);
    }
    default:
        return captured_string(v);
    }
}

const char* coerce_to_cstring(Value v)
{
    const Value string = coerce_to_string(v);
    const uint32_t length = static_cast<uint32_t>(strlen(string_chars(string)));
    ensure_text(length);
    memcpy(scratch(), string_chars(string), length + 1);
    return scratch();
}
