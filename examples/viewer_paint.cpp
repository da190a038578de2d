/// What the window shows: the picture, the progress of what is under way, the mark of what is to be zoomed to.
#include "viewer_window.h"

#include <algorithm>

namespace viewer {
namespace {

constexpr COLORREF kGround = 0x00302C28; // blue, green, red from the high byte on
constexpr COLORREF kText = 0x00E0E0E0;
constexpr COLORREF kBar = 0x0040B0F0;
constexpr COLORREF kBarGround = 0x00181614;
constexpr long kBarHeight = 16;
constexpr long kBarMargin = 24;

void fill(HDC target, const RECT& rect, COLORREF colour) {
    SetDCBrushColor(target, colour);
    FillRect(target, &rect, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
}

/// A device context whose bitmap is drawn on before it reaches the window: nothing flickers.
class Canvas {
public:
    Canvas(HDC window, SIZE size)
        : window_(window), size_(size), context_(CreateCompatibleDC(window)),
          bitmap_(CreateCompatibleBitmap(window, std::max(1L, size.cx), std::max(1L, size.cy))),
          before_(SelectObject(context_, bitmap_)) {}
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;
    ~Canvas() {
        BitBlt(window_, 0, 0, size_.cx, size_.cy, context_, 0, 0, SRCCOPY);
        SelectObject(context_, before_);
        DeleteObject(bitmap_);
        DeleteDC(context_);
    }
    [[nodiscard]] HDC context() const { return context_; }

private:
    HDC window_;
    SIZE size_;
    HDC context_;
    HBITMAP bitmap_;
    HGDIOBJ before_;
};

} // namespace

void Window::paint() {
    PAINTSTRUCT request{};
    const HDC target = BeginPaint(window_, &request);
    if (target != nullptr) {
        RECT client{};
        GetClientRect(window_, &client);
        const Canvas canvas(target, sizeOf(client));
        draw(canvas.context(), client);
    }
    EndPaint(window_, &request);
}

void Window::draw(HDC target, const RECT& client) {
    fill(target, client, kGround);
    SetBkMode(target, TRANSPARENT);
    SetTextColor(target, kText);
    if (studio_.bitmap() != nullptr) {
        drawPicture(target);
    } else if (!load_) {
        RECT text = client;
        DrawTextW(target, L"Drop an image file here, or press O to open one", -1, &text,
                  DT_CENTER | DT_VCENTER | DT_SINGLELINE);
    }
    if (load_ || studio_.measuring()) drawProgress(target, client);
    if (marking_) {
        const RECT mark{std::min(mark_.left, mark_.right), std::min(mark_.top, mark_.bottom),
                        std::max(mark_.left, mark_.right), std::max(mark_.top, mark_.bottom)};
        DrawFocusRect(target, &mark);
    }
}

// Until the picture for the window's present size is done, the last one stands in for it.
void Window::drawPicture(HDC target) {
    const RECT rect = place();
    const SIZE size = sizeOf(rect);
    const SIZE from = studio_.rendered().size;
    const HDC source = CreateCompatibleDC(target);
    const HGDIOBJ before = SelectObject(source, studio_.bitmap());
    if (size.cx == from.cx && size.cy == from.cy) {
        BitBlt(target, rect.left, rect.top, size.cx, size.cy, source, 0, 0, SRCCOPY);
    } else {
        SetStretchBltMode(target, COLORONCOLOR);
        StretchBlt(target, rect.left, rect.top, size.cx, size.cy, source, 0, 0, from.cx, from.cy, SRCCOPY);
    }
    SelectObject(source, before);
    DeleteDC(source);
}

void Window::drawProgress(HDC target, const RECT& client) {
    const long perMille = static_cast<long>(std::min(1000U, load_ ? load_->progress() : studio_.progress()));
    const RECT bar{kBarMargin, client.bottom - kBarMargin - kBarHeight, client.right - kBarMargin,
                   client.bottom - kBarMargin};
    const RECT frame{bar.left - 2, bar.top - 2, bar.right + 2, bar.bottom + 2};
    const RECT done{bar.left, bar.top, bar.left + (bar.right - bar.left) * perMille / 1000, bar.bottom};
    fill(target, frame, kText);
    fill(target, bar, kBarGround);
    fill(target, done, kBar);
    RECT text{bar.left, bar.top - kBarMargin, bar.right, bar.top - 4};
    const std::wstring what = title();
    DrawTextW(target, what.c_str(), static_cast<int>(what.size()) - 3, &text, DT_LEFT | DT_BOTTOM | DT_SINGLELINE);
}

} // namespace viewer
