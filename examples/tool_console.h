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

/// From now on Ctrl-C, and whatever else asks the program to end, calls `handler` and nothing more: from a signal
/// handler or a thread of the system's.
void onInterrupt(void (*handler)());

} // namespace tool
