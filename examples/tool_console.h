/// @file tool_console.h
/// What the tool asks of the system besides the C++ library.
#pragma once

#include <string>
#include <vector>

namespace tool {

/// The command line without the program's name, in UTF-8.
std::vector<std::string> arguments(int count, char** values);

/// Whether somebody looks at standard error.
bool errorIsTerminal();

/// Lets a console show UTF-8.
void setUpConsole();

} // namespace tool
