/// Runs a console program and presses Ctrl-C, again and again, from when the program works on a thread of its own:
/// press_ctrl_c PROGRAM [ARGUMENT...]. Ends with the program's exit code, or with 3 where it cannot be had.
#include "rastrel/platform.h"

#include <tlhelp32.h>

#include <cstdio>
#include <string>

namespace {

constexpr int kFailed = 3;
constexpr DWORD kBetweenPresses = 50; ///< ms
constexpr DWORD kMostPresses = 60'000 / kBetweenPresses;

/// The presses reach every program of the console, this one too.
BOOL WINAPI takeNoNotice(DWORD) { return TRUE; }

bool hasWorker(DWORD process) {
    const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    int threads = 0;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Thread32First(all, &entry); more != FALSE; more = Thread32Next(all, &entry))
        threads += entry.th32OwnerProcessID == process ? 1 : 0;
    CloseHandle(all);
    return threads > 1;
}

/// Starts the program with this one's standard streams.
HANDLE start(std::wstring line, DWORD& process) {
    STARTUPINFOW options{};
    options.cb = sizeof options;
    options.dwFlags = STARTF_USESTDHANDLES;
    options.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    options.hStdOutput = GetStdHandle(STD_OUTPUT_HANDLE);
    options.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    FreeConsole(); // which may be none that Ctrl-C can be pressed in
    if (AllocConsole() == FALSE) return nullptr;
    SetConsoleCtrlHandler(takeNoNotice, TRUE);
    PROCESS_INFORMATION started{};
    if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &options, &started) == FALSE)
        return nullptr;
    CloseHandle(started.hThread);
    process = started.dwProcessId;
    return started.hProcess;
}

} // namespace

int wmain(int count, wchar_t** values) {
    std::wstring line;
    for (int i = 1; i < count; ++i)
        line += std::wstring(i > 1 ? L" " : L"") + L'"' + values[i] + L'"';
    DWORD process = 0;
    const HANDLE program = start(line, process);
    if (program == nullptr) return kFailed;
    while (WaitForSingleObject(program, 1) == WAIT_TIMEOUT && !hasWorker(process)) {
    }
    DWORD presses = 0;
    while (presses < kMostPresses && WaitForSingleObject(program, presses == 0 ? 0 : kBetweenPresses) == WAIT_TIMEOUT) {
        GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
        ++presses;
    }
    if (presses == kMostPresses) TerminateProcess(program, kFailed);
    DWORD code = kFailed;
    GetExitCodeProcess(program, &code);
    CloseHandle(program);
    return static_cast<int>(code);
}
