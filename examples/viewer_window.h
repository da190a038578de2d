/// @file viewer_window.h
/// The viewer's window.
#pragma once

#include "rastrel/platform.h"

#include <shellapi.h>

#include <memory>
#include <string>
#include <vector>

#include "viewer_work.h"

namespace viewer {

/// Shows one photo, and answers at once whatever is under way: files are read, rendered and measured on worker threads,
/// which a timer looks after.
///
/// Keys: O opens a file, E puts the photo through its measured exposure and back, Home shows all of it, Esc ends what
/// is under way or else shows all. The left button marks what to zoom to, the right one moves the part that is shown, a
/// double click shows all. Files may be dropped.
class Window {
public:
    Window(HINSTANCE program, int showCommand);
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;
    ~Window();

    [[nodiscard]] HWND handle() const { return window_; }
    void open(std::wstring path);

private:
    static LRESULT CALLBACK receive(HWND window, UINT message, WPARAM word, LPARAM value);
    LRESULT handle(UINT message, WPARAM word, LPARAM value);
    bool handleMouse(UINT message, LPARAM value);
    void key(WPARAM code);
    void endDrag(POINT at);
    void drop(HDROP files);
    void choose();

    void look();
    void lookForLoad();
    void cancel();
    void showAll();
    void zoomTo(const Area& area);
    void expose();
    void render();
    void setTitle();
    [[nodiscard]] std::wstring title();

    void paint();
    void draw(HDC target, const RECT& client);
    void drawPicture(HDC target);
    void drawProgress(HDC target, const RECT& client);
    [[nodiscard]] SIZE room() const;
    [[nodiscard]] RECT place(); ///< of the photo in the window

    HWND window_ = nullptr;
    Studio studio_;
    std::unique_ptr<Load> load_;
    std::vector<std::unique_ptr<Load>> leaving_; ///< cancelled, not yet ended
    std::wstring name_;                          ///< of the file that is shown
    std::wstring notice_;                        ///< what became of the last file, unless it is shown
    Area area_;
    bool exposed_ = false;
    bool sizing_ = false; ///< the window is being dragged
    bool marking_ = false;
    bool moving_ = false;
    RECT mark_{}; ///< from where the button went down to where the mouse is
    Area movedFrom_;
};

} // namespace viewer
