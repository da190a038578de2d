#include "rastrel/platform.h"

#include <io.h>
#include <shellapi.h>

#include "tool_console.h"

namespace tool {
namespace {

std::string toUtf8(const wchar_t* text) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 1) return {};
    std::string result(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, result.data(), size, nullptr, nullptr);
    result.pop_back(); // the terminator
    return result;
}

void (*interruptHandler)() = nullptr;

// When the console closes, the program ends as soon as its handler comes back: not before it has cleaned up, then.
BOOL WINAPI onControl(DWORD event) {
    interruptHandler();
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(INFINITE);
    return TRUE;
}

} // namespace

// The C library's narrow arguments have lost what the system's code page does not hold.
std::vector<std::string> arguments(int, char**) {
    std::vector<std::string> result;
    int count = 0;
    wchar_t** const values = CommandLineToArgvW(GetCommandLineW(), &count);
    for (int i = 1; values != nullptr && i < count; ++i)
        result.push_back(toUtf8(values[i]));
    LocalFree(values);
    return result;
}

bool errorIsTerminal() { return _isatty(_fileno(stderr)) != 0; }

void setUpConsole() { SetConsoleOutputCP(CP_UTF8); }

void onInterrupt(void (*handler)()) {
    interruptHandler = handler;
    SetConsoleCtrlHandler(nullptr, FALSE); // Ctrl-C counts, also where the parent ignores it
    SetConsoleCtrlHandler(onControl, TRUE);
}

} // namespace tool
