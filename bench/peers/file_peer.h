/// @file file_peer.h
/// What other libraries offer for workloads that read a whole file.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace rastrel::bench {

/// Reads the file at a path and drops the result; false when it cannot.
using FileRoutine = std::function<bool(const std::string& path)>;

struct FilePeer {
    std::string workload; ///< e.g. "W12"
    std::string library;  ///< and, where it matters, how its work differs
    FileRoutine run;
};

/// All routines entered so far.
inline std::vector<FilePeer>& filePeers() {
    static std::vector<FilePeer> peers;
    return peers;
}

/// Enters routines; a namespace-scope object in each peer's file.
struct EnterFilePeers {
    explicit EnterFilePeers(std::vector<FilePeer> peers) {
        for (FilePeer& peer : peers)
            filePeers().push_back(std::move(peer));
    }
};

} // namespace rastrel::bench
