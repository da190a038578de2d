/// @file viewer_photo.h
/// An image as the viewer shows it. The operation threads reach what is overridden here.
#pragma once

#include "rastrel/rastrel.h"
#include "viewer_layout.h"

namespace viewer {

/// Remembers how long it took to read and with what result; renders the part that is to be shown, through the image's
/// curve where that is wanted. The fields are set while no operation runs.
class Photo : public Rastrel {
public:
    using Rastrel::GetWindowsBitmap;
    using Rastrel::Read;
    using Rastrel::operator=;

    unsigned __int64 Read(const wchar_t* path) override;
    /// Of `shown`.
    HBITMAP GetWindowsBitmap(unsigned long bitmapWidth, unsigned long bitmapHeight, bool smooth) override;

    /// All of the image, in public coordinates.
    [[nodiscard]] Area whole();

    unsigned __int64 status = kNotOpened; ///< of the reading
    double seconds = 0.0;                 ///< that it took
    Area shown;
    bool exposed = false; ///< through the curve of `lookUpTable`
};

} // namespace viewer
