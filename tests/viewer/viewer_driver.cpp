/// Works the viewer's window from outside, as a user does: viewer_driver COMMAND [ARGUMENT...]. The commands stand in
/// the table at the end. Exit code 0, or 1 with a line on standard error.
#include "rastrel/rastrel.h"

#include <shlobj.h>
#include <tlhelp32.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Arguments = std::vector<std::wstring>;

constexpr auto kPatience = std::chrono::seconds(20);
constexpr wchar_t kTitleEnd[] = L"Rastrel";

/// Repeats a condition, without giving the processor away, until it holds.
template <class Condition>
void await(const char* what, Condition condition) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) throw std::runtime_error(std::string("in vain: ") + what);
        Sleep(0);
    }
}

HWND viewer() {
    HWND found = nullptr;
    await("the viewer's window", [&] {
        found = FindWindowW(L"RastrelViewer", nullptr);
        return found != nullptr && IsWindowVisible(found) != FALSE;
    });
    return found;
}

std::wstring title(HWND window) {
    wchar_t text[512];
    return {text, static_cast<std::size_t>(GetWindowTextW(window, text, 512))};
}

long number(const std::wstring& text) { return std::stol(text); }

LPARAM pointAt(const RECT& client, const std::wstring& x, const std::wstring& y) {
    return MAKELPARAM(std::lround(std::stod(x) * (client.right - 1)), std::lround(std::stod(y) * (client.bottom - 1)));
}

// --- pictures ---

/// Red, green, blue and yellow quarters with the grain and the shading of a photograph.
pixel_argb8 quarterPixel(long x, long y, long width, long height, std::uint32_t& noise) {
    static constexpr int kColours[4][3] = {{200, 40, 40}, {40, 180, 60}, {40, 60, 200}, {220, 200, 50}};
    const int* const colour = kColours[(y * 2 / height) * 2 + x * 2 / width];
    noise = noise * 1664525U + 1013904223U;
    const int grain =
        static_cast<int>(noise >> 28) - 8 + static_cast<int>(8.0 * std::sin(0.02 * static_cast<double>(x + y)));
    const auto channel = [&](int i) { return static_cast<unsigned char>(std::clamp(colour[i] + grain, 0, 255)); };
    return {channel(2), channel(1), channel(0), 255};
}

/// Three thirds of a grey each, of little contrast.
pixel_argb8 dimPixel(long x, long, long width, long, std::uint32_t& noise) {
    noise = noise * 1664525U + 1013904223U;
    const auto level = static_cast<unsigned char>(100 + x * 3 / width * 25 + (noise >> 31));
    return {level, level, level, 255};
}

/// Black and white columns: grey from afar, unless some are left out.
pixel_argb8 finePixel(long x, long, long, long, std::uint32_t&) {
    const auto level = static_cast<unsigned char>(x % 2 * 255);
    return {level, level, level, 255};
}

template <class Maker>
void make(const std::filesystem::path& path, const wchar_t* format, long width, long height, Maker pixel,
          bool upsideDown = false) {
    Rastrel image;
    image.Create(static_cast<unsigned long>(width), static_cast<unsigned long>(height), CM_RGB8);
    std::vector<pixel_argb8> row(static_cast<std::size_t>(width));
    std::uint32_t noise = 1;
    for (long y = 0; y < height; ++y) {
        for (long x = 0; x < width; ++x)
            row[static_cast<std::size_t>(x)] = pixel(x, y, width, height, noise);
        image.SetHLine(row.data(), 0, width - 1, y);
    }
    image.mirrorY = upsideDown ? 1 : 0; // temporary files keep the flag
    if (image.Write(path.c_str(), format) != 0) throw std::runtime_error("cannot write a picture");
}

/// Zeros that the file system need not store, behind the head of a small picture.
void makeLarge(const std::filesystem::path& path) {
    make(path, L"tif", 16000, 1, dimPixel);
    std::FILE* const file = _wfopen(path.c_str(), L"r+b");
    if (file == nullptr) throw std::runtime_error("cannot write the large picture");
    constexpr std::uint32_t kHeight = 8000;
    std::vector<unsigned char> head(65536);
    const std::size_t size = std::fread(head.data(), 1, head.size(), file);
    std::uint32_t directory = 0;
    std::memcpy(&directory, head.data() + 4, sizeof directory);
    if (directory + 2 > size) throw std::runtime_error("the large picture has no directory");
    const unsigned entries = head[directory] | static_cast<unsigned>(head[directory + 1]) << 8;
    for (unsigned i = 0; i < entries; ++i) {
        const std::size_t entry = directory + 2 + i * 12;
        const unsigned tag = head[entry] | static_cast<unsigned>(head[entry + 1]) << 8;
        const std::uint32_t value = tag == 279 ? 48000 * kHeight : kHeight;
        if (tag != 257 && tag != 278 && tag != 279) continue; // height, rows of a strip, bytes of a strip
        head[entry + 2] = 4;
        for (std::size_t byte = 0; byte < 4; ++byte)
            head[entry + 8 + byte] = static_cast<unsigned char>(value >> 8 * byte);
    }
    std::fseek(file, 0, SEEK_SET);
    std::fwrite(head.data(), 1, size, file);
    std::fclose(file);
    std::filesystem::resize_file(path, std::uint64_t{48000} * kHeight + size);
}

void makePictures(const Arguments& arguments) {
    const std::filesystem::path folder(arguments.at(0));
    make(folder / L"photo.jpg", L"jpg", 1200, 800, quarterPixel);
    make(folder / L"turned.tmp", L"tmp", 300, 200, quarterPixel, true);
    make(folder / L"fine.tif", L"tif", 1600, 1000, finePixel);
    make(folder / L"dim.tif", L"tif", 600, 900, dimPixel);
    makeLarge(folder / L"large.tif");
}

// --- the window ---

void awaitTitle(const Arguments& arguments) {
    const HWND window = viewer();
    std::wstring last;
    try {
        await("the title", [&] { return (last = title(window)).find(arguments.at(0)) != std::wstring::npos; });
    } catch (const std::runtime_error&) {
        std::fwprintf(stderr, L"the title stays \"%ls\"\n", last.c_str());
        throw;
    }
    std::printf("%ls\n", last.c_str());
}

void press(const Arguments& arguments) {
    const std::wstring& name = arguments.at(0);
    const WPARAM code = name == L"esc" ? VK_ESCAPE : name == L"home" ? VK_HOME : static_cast<WPARAM>(name.at(0));
    PostMessageW(viewer(), WM_KEYDOWN, code, 1);
}

void setSize(const Arguments& arguments) {
    RECT outer{0, 0, number(arguments.at(0)), number(arguments.at(1))};
    const HWND window = viewer();
    AdjustWindowRect(&outer, static_cast<DWORD>(GetWindowLongW(window, GWL_STYLE)), FALSE);
    SetWindowPos(window, HWND_TOP, 20, 20, outer.right - outer.left, outer.bottom - outer.top, SWP_NOACTIVATE);
}

/// Between the two the window's frame is held, as far as the window is told.
void holdFrame(const Arguments&) { SendMessageW(viewer(), WM_ENTERSIZEMOVE, 0, 0); }
void letGoOfFrame(const Arguments&) { SendMessageW(viewer(), WM_EXITSIZEMOVE, 0, 0); }

/// Where a picture of that size is to lie on the screen: left, top, right, bottom.
void tellPlace(const Arguments& arguments) {
    const double width = static_cast<double>(number(arguments.at(0)));
    const double height = static_cast<double>(number(arguments.at(1)));
    const HWND window = viewer();
    RECT client{};
    POINT origin{};
    GetClientRect(window, &client);
    ClientToScreen(window, &origin);
    const double scale =
        std::min(static_cast<double>(client.right) / width, static_cast<double>(client.bottom) / height);
    const long left = std::lround(origin.x + (static_cast<double>(client.right) - width * scale) / 2.0);
    const long top = std::lround(origin.y + (static_cast<double>(client.bottom) - height * scale) / 2.0);
    std::printf("%ld %ld %ld %ld %ld %ld\n", left, top, left + std::lround(width * scale),
                top + std::lround(height * scale), origin.x + client.right, origin.y + client.bottom);
}

/// Presses a button at one place of the window, moves and lets go at another; places are parts of its inside.
void drag(const Arguments& arguments) {
    const HWND window = viewer();
    const bool right = arguments.size() > 4;
    RECT client{};
    GetClientRect(window, &client);
    const LPARAM from = pointAt(client, arguments.at(0), arguments.at(1));
    const LPARAM to = pointAt(client, arguments.at(2), arguments.at(3));
    PostMessageW(window, right ? WM_RBUTTONDOWN : WM_LBUTTONDOWN, right ? MK_RBUTTON : MK_LBUTTON, from);
    PostMessageW(window, WM_MOUSEMOVE, right ? MK_RBUTTON : MK_LBUTTON, to);
    PostMessageW(window, right ? WM_RBUTTONUP : WM_LBUTTONUP, 0, to);
}

/// Gives the window a file as the desktop does. The message names memory of the receiving process.
void drop(const Arguments& arguments) {
    const HWND window = viewer();
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    const std::wstring path = std::filesystem::absolute(arguments.at(0)).wstring();
    std::vector<unsigned char> bytes(sizeof(DROPFILES) + (path.size() + 2) * sizeof(wchar_t));
    DROPFILES head{};
    head.pFiles = sizeof head;
    head.fWide = TRUE;
    std::memcpy(bytes.data(), &head, sizeof head);
    std::memcpy(bytes.data() + sizeof head, path.c_str(), (path.size() + 1) * sizeof(wchar_t));
    const HANDLE receiver = OpenProcess(PROCESS_VM_OPERATION | PROCESS_VM_WRITE, FALSE, process);
    void* const there = VirtualAllocEx(receiver, nullptr, bytes.size(), MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    if (there == nullptr || WriteProcessMemory(receiver, there, bytes.data(), bytes.size(), nullptr) == FALSE)
        throw std::runtime_error("cannot hand a file over");
    CloseHandle(receiver);
    PostMessageW(window, WM_DROPFILES, reinterpret_cast<WPARAM>(there), 0);
}

/// Calls an operation for every thread of the viewer but the window's own.
template <class Operation>
unsigned onWorkers(HWND window, Operation operation) {
    DWORD process = 0;
    const DWORD own = GetWindowThreadProcessId(window, &process);
    const HANDLE all = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    unsigned count = 0;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Thread32First(all, &entry); more != FALSE; more = Thread32Next(all, &entry)) {
        if (entry.th32OwnerProcessID != process || entry.th32ThreadID == own) continue;
        const HANDLE thread = OpenThread(THREAD_SUSPEND_RESUME, FALSE, entry.th32ThreadID);
        if (thread == nullptr) continue;
        operation(thread);
        CloseHandle(thread);
        ++count;
    }
    CloseHandle(all);
    return count;
}

/// Stops the workers as soon as some of a file is read: so it takes as long as is needed to look at it. Exit code 1
/// when the reading is over before.
void freezeReading(HWND window) {
    await("some progress", [&] {
        const std::wstring text = title(window);
        const std::size_t at = text.find(L" %");
        if (text.find(L" - Rastrel") == std::wstring::npos) throw std::runtime_error("no title");
        if (text.find(L"reading ") != 0) throw std::runtime_error("the reading is over already");
        return std::stol(text.substr(text.find_last_of(L' ', at - 1) + 1)) >= 3;
    });
    if (onWorkers(window, [](HANDLE thread) { SuspendThread(thread); }) == 0)
        throw std::runtime_error("there is no worker to stop");
    Sleep(100); // the window's timer shows the last progress
    std::printf("%ls\n", title(window).c_str());
}

void dropAndFreeze(const Arguments& arguments) {
    const HWND window = viewer();
    drop(arguments);
    await("the reading", [&] {
        return title(window).find(arguments.at(0).substr(arguments.at(0).find_last_of(L"/\\") + 1)) !=
               std::wstring::npos;
    });
    freezeReading(window);
}

void thaw(const Arguments&) {
    onWorkers(viewer(), [](HANDLE thread) { ResumeThread(thread); });
}

void expectAnswer(const Arguments&) {
    const auto start = std::chrono::steady_clock::now();
    DWORD_PTR answer = 0;
    if (SendMessageTimeoutW(viewer(), WM_NULL, 0, 0, SMTO_ABORTIFHUNG, 5000, &answer) == 0)
        throw std::runtime_error("the window does not answer");
    const auto spent = std::chrono::steady_clock::now() - start;
    std::printf("%ld ms\n", static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(spent).count()));
}

/// Types a path into the dialog for opening a file.
void chooseInDialog(const Arguments& arguments) {
    const std::wstring path = std::filesystem::absolute(arguments.at(0)).wstring();
    PostMessageW(viewer(), WM_KEYDOWN, 'O', 1);
    HWND dialog = nullptr;
    HWND field = nullptr;
    await("the dialog", [&] {
        dialog = FindWindowW(L"#32770", nullptr);
        if (dialog == nullptr) return false;
        constexpr int kNameBox = 0x47C, kNameField = 0x480;
        field = GetDlgItem(dialog, kNameBox);
        if (field == nullptr) field = GetDlgItem(dialog, kNameField);
        return field != nullptr && IsWindowVisible(dialog) != FALSE;
    });
    SendMessageW(field, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(path.c_str()));
    PostMessageW(dialog, WM_COMMAND, IDOK, 0);
}

void closeWindow(const Arguments&) {
    const HWND window = viewer();
    PostMessageW(window, WM_CLOSE, 0, 0);
    await("the end of the window", [&] { return IsWindow(window) == FALSE; });
}

struct Command {
    const wchar_t* name;
    std::function<void(const Arguments&)> action;
};

const Command kCommands[] = {{L"make", makePictures},
                             {L"title", awaitTitle},
                             {L"key", press},
                             {L"size", setSize},
                             {L"hold-frame", holdFrame},
                             {L"let-go", letGoOfFrame},
                             {L"place", tellPlace},
                             {L"drag", drag},
                             {L"drop", drop},
                             {L"drop-and-freeze", dropAndFreeze},
                             {L"thaw", thaw},
                             {L"answer", expectAnswer},
                             {L"dialog", chooseInDialog},
                             {L"close", closeWindow}};

} // namespace

int wmain(int count, wchar_t** values) {
    try {
        for (const Command& command : kCommands) {
            if (count < 2 || std::wcscmp(values[1], command.name) != 0) continue;
            command.action(Arguments(values + 2, values + count));
            return 0;
        }
        throw std::runtime_error("no such command");
    } catch (const std::exception& error) {
        std::fprintf(stderr, "viewer_driver: %s\n", error.what());
        return 1;
    }
}
