#include <unistd.h>

#include <csignal>

#include "tool_console.h"

namespace tool {
namespace {

void (*interruptHandler)() = nullptr;

extern "C" void onSignal(int) { interruptHandler(); }

} // namespace

std::vector<std::string> arguments(int count, char** values) {
    return count > 1 ? std::vector<std::string>(values + 1, values + count) : std::vector<std::string>();
}

bool errorIsTerminal() { return isatty(STDERR_FILENO) != 0; }

void setUpConsole() {}

void onInterrupt(void (*handler)()) {
    interruptHandler = handler;
    struct sigaction action {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    struct sigaction before {};
    sigaction(SIGHUP, nullptr, &before);
    if (before.sa_handler == SIG_DFL)
        sigaction(SIGHUP, &action, nullptr); // else it was started to outlive its terminal
}

} // namespace tool
