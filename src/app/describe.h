// apropos and describe, and the places where functions were defined.
#pragma once

#include <string>

// "file:line" of a definition that the console has loaded; empty when it is not known. A method is
// named with its class, as function_name does.
std::string definition_place(const std::string& name);
void note_definition(const std::string& name, const std::string& place);
void forget_definitions();

void init_describe();
