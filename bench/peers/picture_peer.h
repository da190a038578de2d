/// @file picture_peer.h
/// What other libraries offer for workloads that move a picture between a file and memory that is there already.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace rastrel::bench {

/// Packed RGB bytes.
struct Picture {
    unsigned char* pixels;
    int width, height;
};

/// Writes the picture to the file at a path, or reads it, or its middle quarter, from there into the front of
/// `pixels`; false when it cannot.
using PictureRoutine = std::function<bool(const std::string& path, const Picture& picture)>;

struct PicturePeer {
    std::string workload; ///< e.g. "W8_read"
    std::string library;  ///< and, where it matters, how its work differs
    PictureRoutine run;
};

/// All routines entered so far.
inline std::vector<PicturePeer>& picturePeers() {
    static std::vector<PicturePeer> peers;
    return peers;
}

/// Enters routines; a namespace-scope object in each peer's file.
struct EnterPicturePeers {
    explicit EnterPicturePeers(std::vector<PicturePeer> peers) {
        for (PicturePeer& peer : peers)
            picturePeers().push_back(std::move(peer));
    }
};

} // namespace rastrel::bench
