// Errors and non-local exits. All control that leaves by other than return is a C++ exception under
// NonLocalExit; an error is a report followed by a throw to `toplevel`, so raise_error never returns.
#pragma once

#include "kernel/value.h"

enum ErrorCode : int {
    kErrorUser = 0,
    kErrorType = 2,
    kErrorNotCallable = 5,
    kErrorUnbound = 6,
    kErrorNoMemory = 9,
    kErrorNoCatch = 17,
    kErrorSyntax = 25,
    kErrorFileNotFound = 31,
    kErrorTooManyFiles = 32,
    kErrorAccess = 33,
    kErrorFile = 36,
    kErrorBadReference = 38,
    kErrorNoArguments = 42,
    kErrorDisk = 45,
    kErrorDiskFull = 46,
    kErrorNotHere = 47,
    kErrorSlotAfterLayout = 56,
    kErrorSlotChange = 57,
    kErrorZeroDivisor = 58,
    kErrorCannotLock = 60,
    kErrorMovie = 62,
};

struct NonLocalExit {
    virtual ~NonLocalExit() = default;
};

// A Lisp throw in flight. Its values are roots: the exception lies where no scan sees it.
struct thrower : NonLocalExit {
    thrower(Value tag_, Value value_);
    thrower(const thrower& other);
    ~thrower() override;
    thrower& operator=(const thrower&) = delete;

    Value tag;
    Value value;
    thrower* next;  // all that are alive
    static thrower* live;
};

// An error arose while an error was being turned into text.
struct ErrorPrinting : NonLocalExit {};

// Ends the program. Not a Lisp exit: no clean-up form runs.
struct ProgramExit {
    int status;
};

[[noreturn]] void raise_error(int code, Value value = nil);
[[noreturn]] void raise_error_1011(int code, Value value = nil);  // the databases' own numbers
[[noreturn]] void raise_message_error(const char* format, ...) __attribute__((format(printf, 1, 2)));
[[noreturn]] void throw_to(Value tag, Value value);
[[noreturn]] void throw_toplevel();
[[noreturn]] void throw_cancel();
bool catch_exists(Value tag);

// What the last report was about. The value is a root.
struct ErrorReport {
    int kind;             // 1010, 1011 for the databases' numbers, 0 for a text error
    int code;
    Value value;
    const char* message;  // "Error: 2, x, ..."
};
const ErrorReport& last_error();
uint32_t error_count();  // reports since boot

// The dialog for what should not happen: OK returns, Quit ends the program.
void internal_error_dialog(const char* message);

// A thrower that call_with_object_guarded stopped; rises again after the platform call.
void hold_pending_throw(const thrower& held);
void raise_pending_throw();  // returns when none is held

void init_errors();
