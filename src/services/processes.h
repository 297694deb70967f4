// Cooperative processes: Lisp functions that give_time runs to completion when their tick has come.
#pragma once

#include "kernel/spaces.h"

// What runs every quantum ticks of 1/60 s. Lies in the zone; Lisp names it by a pointer of kind 14,
// which becomes null when the process is deleted.
class Process {
public:
    Process(Value function_, Value name_, int32_t quantum_, Value context_)
        : name(name_), function(function_), quantum(quantum_), context(context_)
    {
    }
    virtual void mark();                // its Values, for a collection
    virtual void run(uint32_t now);     // a throw passes through; running is cleared
    virtual void schedule();            // sets wake_up for the first run
    virtual ~Process() = default;

    // Null when the zone is full.
    static void* operator new(size_t size) noexcept;
    static void operator delete(void* block);

    Value name;
    Value function;
    int32_t quantum;
    uint32_t wake_up = 0;
    uint32_t start_tick = 0;
    Value context;
    Value self_value;
    uint8_t once = 0;
    uint8_t delayed = 0;
    uint8_t running = 0;
    uint8_t suspended = 0;
    uint8_t dead = 0;
    Process* next = nullptr;
    Process* previous = nullptr;

protected:
    Value call(Value f, Value argument = end_of_args) const;
};

// Lives for a duration, and is told how much of it has passed.
class ClockProcess : public Process {
public:
    using Process::Process;
    void mark() override;
    void run(uint32_t now) override;
    void schedule() override;

    Value start_function;
    Value end_function;
    int32_t initial_delay = 0;
    int32_t duration = -1;
    uint32_t last_elapsed = 0;
    enum : uint32_t { not_started, started, ended } state = not_started;
};

// One scheduling step: runs the first process of the list if its tick has come.
void give_time();

// Deletes all processes, at the end of the program.
void close_processes();

void init_processes();
