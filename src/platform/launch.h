// Other programs, and the user's menu of programs. Paths are system paths.
#pragma once

#include <cstdint>
#include <string>

// Starts a program with up to one argument, or opens a document with the program that the desktop
// has for it. The process's number, 0 when it could not be started.
uint32_t LaunchProgram(const std::string& program, const std::string& argument);
uint32_t OpenDocument(const std::string& document);
bool ProgramRuns(uint32_t process);

// A folder in the user's menu of programs, and an entry in it that starts a program.
bool AddProgramGroup(const std::string& group);
bool AddProgramItem(const std::string& program, const std::string& group, const std::string& item);
