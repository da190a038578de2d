/// @file peer.h
/// What other libraries offer for the workloads measured here. Each library has one file in this folder, built where
/// the library is installed; it enters its routines at start-up and nothing else knows of it.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace rastrel::bench {

/// One pixel workload on packed rows.
using PixelRoutine =
    std::function<void(const unsigned char* source, unsigned char* destination, int width, int height)>;

struct PixelPeer {
    std::string workload; ///< e.g. "W1"
    std::string library;  ///< and, where it matters, how its work differs
    PixelRoutine run;
};

/// All routines entered so far.
inline std::vector<PixelPeer>& pixelPeers() {
    static std::vector<PixelPeer> peers;
    return peers;
}

/// Enters routines; a namespace-scope object in each peer's file.
struct EnterPixelPeers {
    explicit EnterPixelPeers(std::vector<PixelPeer> peers) {
        for (PixelPeer& peer : peers)
            pixelPeers().push_back(std::move(peer));
    }
};

/// One scaling or smoothing of a packed BGRA image.
using ScaleRoutine = std::function<void(const unsigned char* source, int sourceWidth, int sourceHeight,
                                        unsigned char* destination, int width, int height)>;

struct ScalePeer {
    std::string workload; ///< beginning of the name, e.g. "W5_triangle"
    std::string library;
    ScaleRoutine run;
};

/// All routines entered so far.
inline std::vector<ScalePeer>& scalePeers() {
    static std::vector<ScalePeer> peers;
    return peers;
}

/// Enters routines; a namespace-scope object in each peer's file.
struct EnterScalePeers {
    explicit EnterScalePeers(std::vector<ScalePeer> peers) {
        for (ScalePeer& peer : peers)
            scalePeers().push_back(std::move(peer));
    }
};

/// Where to sample, in pixels of the image, y downwards.
struct SamplePositions {
    std::vector<float> x, y;
};

/// Bilinear samples of a packed BGRA image, one for each position.
using SampleRoutine = std::function<void(const unsigned char* source, int width, int height, const SamplePositions& at,
                                         unsigned char* samples)>;

struct SamplePeer {
    std::string library;
    SampleRoutine run;
};

/// All routines entered so far.
inline std::vector<SamplePeer>& samplePeers() {
    static std::vector<SamplePeer> peers;
    return peers;
}

/// Enters routines; a namespace-scope object in each peer's file.
struct EnterSamplePeers {
    explicit EnterSamplePeers(std::vector<SamplePeer> peers) {
        for (SamplePeer& peer : peers)
            samplePeers().push_back(std::move(peer));
    }
};

} // namespace rastrel::bench
