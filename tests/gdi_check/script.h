// GDI scripts: cases of drawing steps and what has to come out of them.
#pragma once

#include <map>
#include <string>
#include <vector>

using Tokens = std::vector<std::string>;

struct Statement {
    int line = 0;
    Tokens words;
};

struct Case {
    std::string name;
    std::vector<Statement> statements;
};

// Surfaces and palettes that cases name: the words behind the name.
struct Formats {
    std::map<std::string, Tokens> surfaces, palettes;
};

bool read_formats(const std::string& path, Formats* formats);
bool read_cases(const std::string& path, std::vector<Case>* cases);

// Runs a case with `main` on a surface of this format, up to statement `stop`. Answers nothing when
// all went well, or what is wrong. The statement at `stop` is an expectation.
std::string run_case(const Case& script, const Formats& formats, const std::string& format,
                     size_t stop);
