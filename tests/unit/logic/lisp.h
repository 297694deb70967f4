// An interpreter for a test to talk to in text.
#pragma once

#include <string>

#include "app/boot.h"

// The display form of the last form's value; "error" when it ended in one. Inside run_interpreter.
std::string evaluate(const std::string& text);

SpaceSizes small_sizes();

// Numbers from a seed, the same on every machine.
class Random {
public:
    explicit Random(uint32_t seed) : state_(seed * 2654435761u + 1) {}
    uint32_t below(uint32_t n)
    {
        state_ = state_ * 1664525 + 1013904223;
        return static_cast<uint32_t>(uint64_t{ state_ >> 8 } * n >> 24);
    }
    bool once_in(uint32_t n) { return below(n) == 0; }

private:
    uint32_t state_;
};
