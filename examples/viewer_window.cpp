#include "viewer_window.h"

#include <commdlg.h>
#include <windowsx.h>

#include <cstdio>
#include <exception>
#include <filesystem>

#include "tool_formats.h"

namespace viewer {
namespace {

constexpr wchar_t kClassName[] = L"RastrelViewer";
constexpr UINT_PTR kTimer = 1;
constexpr UINT kLookMilliseconds = 15;
constexpr long kLeastMark = 4; ///< pixels: less is a click

std::wstring fileName(const std::wstring& path) { return std::filesystem::path(path).filename().wstring(); }

std::wstring widen(const std::string& ascii) { return {ascii.begin(), ascii.end()}; }

std::wstring whyNotRead(unsigned __int64 status) {
    return status == Rastrel::kNotOpened ? L"cannot be opened" : L"is no image file of a known format, or is damaged";
}

} // namespace

Window::Window(HINSTANCE program, int showCommand) {
    WNDCLASSEXW kind{};
    kind.cbSize = sizeof kind;
    kind.style = CS_DBLCLKS;
    kind.lpfnWndProc = &Window::receive;
    kind.hInstance = program;
    kind.hCursor = LoadCursorW(nullptr, IDC_CROSS);
    kind.lpszClassName = kClassName;
    RegisterClassExW(&kind);
    CreateWindowExW(WS_EX_ACCEPTFILES, kClassName, L"Rastrel", WS_OVERLAPPEDWINDOW, CW_USEDEFAULT, CW_USEDEFAULT, 900,
                    640, nullptr, nullptr, program, this);
    if (window_ == nullptr) return;
    SetTimer(window_, kTimer, kLookMilliseconds, nullptr);
    setTitle();
    ShowWindow(window_, showCommand);
}

Window::~Window() {
    if (window_ != nullptr) DestroyWindow(window_);
}

void Window::open(std::wstring path) {
    if (load_) {
        load_->cancel();
        leaving_.push_back(std::move(load_));
    }
    notice_.clear();
    load_ = std::make_unique<Load>(std::move(path));
    setTitle();
}

LRESULT CALLBACK Window::receive(HWND window, UINT message, WPARAM word, LPARAM value) {
    if (message == WM_NCCREATE) {
        auto* const self = static_cast<Window*>(reinterpret_cast<CREATESTRUCTW*>(value)->lpCreateParams);
        self->window_ = window;
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(self));
    }
    auto* const self = reinterpret_cast<Window*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    try {
        if (self != nullptr) return self->handle(message, word, value);
    } catch (const std::exception&) { // no memory for what was asked; nothing may leave into the system
        MessageBeep(MB_ICONERROR);
        return 0;
    }
    return DefWindowProcW(window, message, word, value);
}

LRESULT Window::handle(UINT message, WPARAM word, LPARAM value) {
    switch (message) {
    case WM_TIMER:
        look();
        return 0;
    case WM_PAINT:
        paint();
        return 0;
    case WM_ERASEBKGND:
        return 1; // painted over as a whole
    case WM_SIZE:
        render();
        InvalidateRect(window_, nullptr, FALSE);
        return 0;
    case WM_ENTERSIZEMOVE:
        sizing_ = true;
        return 0;
    case WM_EXITSIZEMOVE:
        sizing_ = false;
        render();
        return 0;
    case WM_KEYDOWN:
        key(word);
        return 0;
    case WM_DROPFILES:
        drop(reinterpret_cast<HDROP>(word));
        return 0;
    case WM_NCDESTROY:
        SetWindowLongPtrW(window_, GWLP_USERDATA, 0);
        window_ = nullptr;
        PostQuitMessage(0);
        return 0;
    default:
        return handleMouse(message, value) ? 0 : DefWindowProcW(window_, message, word, value);
    }
}

bool Window::handleMouse(UINT message, LPARAM value) {
    const POINT at{GET_X_LPARAM(value), GET_Y_LPARAM(value)};
    switch (message) {
    case WM_LBUTTONDOWN:
    case WM_RBUTTONDOWN:
        marking_ = message == WM_LBUTTONDOWN;
        moving_ = !marking_ && studio_.photo() != nullptr;
        mark_ = {at.x, at.y, at.x, at.y};
        movedFrom_ = area_;
        SetCapture(window_);
        return true;
    case WM_MOUSEMOVE:
        mark_.right = at.x;
        mark_.bottom = at.y;
        if (marking_) InvalidateRect(window_, nullptr, FALSE);
        if (moving_)
            zoomTo(moved(movedFrom_, place(), mark_.right - mark_.left, mark_.bottom - mark_.top,
                         studio_.photo()->whole()));
        return true;
    case WM_LBUTTONUP:
    case WM_RBUTTONUP:
        endDrag(at);
        return true;
    case WM_CAPTURECHANGED:
        marking_ = moving_ = false;
        render();
        InvalidateRect(window_, nullptr, FALSE);
        return true;
    case WM_LBUTTONDBLCLK:
        showAll();
        return true;
    default:
        return false;
    }
}

void Window::endDrag(POINT at) {
    const bool marked = marking_;
    ReleaseCapture(); // the drag is over with it
    mark_.right = at.x;
    mark_.bottom = at.y;
    const RECT seen = place();
    const RECT mark{std::min(mark_.left, mark_.right), std::min(mark_.top, mark_.bottom),
                    std::max(mark_.left, mark_.right), std::max(mark_.top, mark_.bottom)};
    RECT inside{};
    if (!marked || studio_.photo() == nullptr || IntersectRect(&inside, &mark, &seen) == FALSE) return;
    const SIZE size = sizeOf(inside);
    if (size.cx >= kLeastMark && size.cy >= kLeastMark) zoomTo(areaUnder(inside, seen, area_));
}

void Window::key(WPARAM code) {
    switch (code) {
    case 'O':
        choose();
        break;
    case 'E':
        expose();
        break;
    case VK_HOME:
        showAll();
        break;
    case VK_ESCAPE:
        cancel();
        break;
    default:
        break;
    }
}

void Window::drop(HDROP files) {
    std::wstring path(DragQueryFileW(files, 0, nullptr, 0), L'\0');
    DragQueryFileW(files, 0, path.data(), static_cast<UINT>(path.size() + 1));
    DragFinish(files);
    open(std::move(path));
}

void Window::choose() {
    constexpr DWORD kLongestPath = 32768;
    std::vector<wchar_t> path(kLongestPath);
    OPENFILENAMEW dialog{};
    dialog.lStructSize = sizeof dialog;
    dialog.hwndOwner = window_;
    dialog.lpstrFilter = L"Image files\0*.tif;*.tiff;*.jpg;*.jpeg;*.psb;*.exr;*.orf;*.tmp\0All files\0*.*\0";
    dialog.lpstrFile = path.data();
    dialog.nMaxFile = kLongestPath;
    dialog.Flags = OFN_EXPLORER | OFN_FILEMUSTEXIST | OFN_HIDEREADONLY | OFN_NOCHANGEDIR;
    if (GetOpenFileNameW(&dialog) != FALSE) open(path.data());
}

void Window::look() {
    std::erase_if(leaving_, [](const std::unique_ptr<Load>& load) { return load->ended(); });
    const bool loading = load_ != nullptr;
    lookForLoad();
    const bool something = studio_.poll();
    if (something) render();
    if (loading || something || studio_.measuring()) {
        setTitle();
        InvalidateRect(window_, nullptr, FALSE);
    }
}

void Window::lookForLoad() {
    if (!load_ || !load_->ended()) return;
    const std::unique_ptr<Load> ended = std::move(load_);
    const unsigned __int64 status = ended->status();
    std::unique_ptr<Photo> photo = ended->take();
    if (!photo) {
        notice_ = fileName(ended->path()) + L" " + whyNotRead(status);
        return;
    }
    name_ = fileName(ended->path());
    area_ = photo->whole();
    exposed_ = false;
    studio_.show(std::move(photo));
    render();
}

void Window::cancel() {
    if (load_) {
        notice_ = L"reading " + fileName(load_->path()) + L" cancelled";
        load_->cancel();
        leaving_.push_back(std::move(load_));
    } else if (studio_.measuring()) {
        studio_.cancelMeasuring();
        exposed_ = false;
        notice_ = L"measuring cancelled";
    } else {
        showAll();
    }
    setTitle();
    InvalidateRect(window_, nullptr, FALSE);
}

void Window::showAll() {
    if (studio_.photo() != nullptr) zoomTo(studio_.photo()->whole());
}

void Window::zoomTo(const Area& area) {
    area_ = area;
    notice_.clear();
    render();
    setTitle();
    InvalidateRect(window_, nullptr, FALSE);
}

void Window::expose() {
    if (studio_.photo() == nullptr) return;
    notice_.clear();
    exposed_ = !exposed_;
    if (exposed_ && !studio_.measured()) studio_.measure();
    if (!exposed_) studio_.cancelMeasuring();
    render();
    setTitle();
}

// Pictures made while something is dragged are fast; the last one, when it is let go, is smooth.
void Window::render() {
    if (studio_.photo() == nullptr) return;
    studio_.render({area_, sizeOf(place()), exposed_ && studio_.measured(), !sizing_ && !moving_});
}

SIZE Window::room() const {
    RECT client{};
    GetClientRect(window_, &client);
    return sizeOf(client);
}

RECT Window::place() { return fitted(area_, room()); }

void Window::setTitle() { SetWindowTextW(window_, (title() + L"Rastrel").c_str()); }

std::wstring Window::title() {
    if (load_)
        return L"reading " + fileName(load_->path()) + L", " + std::to_wstring(load_->progress() / 10) +
               L" % (Esc cancels) - ";
    if (studio_.measuring())
        return L"measuring " + name_ + L", " + std::to_wstring(studio_.progress() / 10) + L" % (Esc cancels) - ";
    if (!notice_.empty()) return notice_ + L" - ";
    Photo* const photo = studio_.photo();
    if (photo == nullptr) return L"";
    char time[32];
    std::snprintf(time, sizeof time, "%.2f s", photo->seconds);
    std::wstring text = name_ + L" - " + std::to_wstring(photo->GetWidth()) + L" x " +
                        std::to_wstring(photo->GetHeight()) + L", " + widen(tool::modelName(photo->GetColormodel())) +
                        L", " + widen(time);
    if (!(area_ == photo->whole()))
        text += L", columns " + std::to_wstring(area_.left) + L" to " + std::to_wstring(area_.right) + L", rows " +
                std::to_wstring(area_.top) + L" to " + std::to_wstring(area_.bottom);
    if (exposed_) text += L", exposed";
    return text + L" - ";
}

} // namespace viewer
