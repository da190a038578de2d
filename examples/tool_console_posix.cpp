#include <unistd.h>

#include "tool_console.h"

namespace tool {

std::vector<std::string> arguments(int count, char** values) {
    return count > 1 ? std::vector<std::string>(values + 1, values + count) : std::vector<std::string>();
}

bool errorIsTerminal() { return isatty(STDERR_FILENO) != 0; }

void setUpConsole() {}

} // namespace tool
