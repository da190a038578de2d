/// A Windows viewer for image files: rastrel_viewer [FILE]. A host of the public headers and the libraries; its keys stand
/// in viewer_window.h.
#include <cwchar>
#include <exception>

#include "viewer_window.h"

namespace {

int run(HINSTANCE program, const wchar_t* file, int showCommand) {
    viewer::Window window(program, showCommand);
    if (window.handle() == nullptr) return 1;
    if (file != nullptr) window.open(file);
    MSG message{};
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return static_cast<int>(message.wParam);
}

} // namespace

// The entry's name and arguments are the system's.
int WINAPI wWinMain(HINSTANCE program, HINSTANCE, wchar_t*, int showCommand) {
    try {
        return run(program, __argc > 1 ? __wargv[1] : nullptr, showCommand);
    } catch (const std::exception&) {
        MessageBoxW(nullptr, L"There is not enough memory.", L"Rastrel", MB_ICONERROR);
        return 1;
    }
}
