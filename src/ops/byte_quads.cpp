#include "ops/byte_quads.h"

#include <algorithm>

namespace rastrel {
namespace {

constexpr std::uint64_t kJointPixels = 4;
constexpr std::uint64_t kApartPixels = 8;
constexpr std::size_t kChannels = 4;

using Weights = std::array<std::int8_t, kApartPixels>;

/// The byte weights of one window, zeros behind them.
ByteRule byteWeights(Weights& weights, const ByteWindow& window) {
    std::vector<std::int8_t> bytes;
    const ByteRule rule = appendByteWeights(bytes, window.weights, static_cast<std::size_t>(window.count), window.sum);
    weights.fill(0);
    if (rule.usable()) std::copy(bytes.begin(), bytes.end(), weights.begin());
    return rule;
}

bool isJoint(std::span<const ByteWindow, 4> windows, std::uint64_t sourceCount) noexcept {
    const std::uint64_t first = windows[0].first;
    return first + kJointPixels <= sourceCount &&
           std::all_of(windows.begin(), windows.end(), [first](const auto& window) {
               return window.count <= 2 && window.first + 2 <= first + kJointPixels;
           });
}

bool isApart(std::span<const ByteWindow, 4> windows, std::uint64_t sourceCount) noexcept {
    return std::all_of(windows.begin(), windows.end(), [sourceCount](const auto& window) {
        return window.count <= kApartPixels && window.first + kApartPixels <= sourceCount;
    });
}

void setJoint(ByteQuad& quad, std::size_t output, const Weights& weights) noexcept {
    const std::size_t pixel = static_cast<std::size_t>(quad.first[output] - quad.first[0]);
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        const std::size_t at = (output * kChannels + channel) * 2;
        for (std::size_t which = 0; which < 2; ++which) {
            quad.weights[at + which] = weights[which];
            quad.picks[at + which] = static_cast<std::int8_t>((pixel + which) * kChannels + channel);
        }
    }
}

} // namespace

bool makeByteQuad(ByteQuad& quad, std::span<const ByteWindow, 4> windows, std::uint64_t sourceCount) {
    const bool joint = isJoint(windows, sourceCount);
    if (!joint && !isApart(windows, sourceCount)) return false;
    quad.kind = joint ? ByteQuad::Kind::joint : ByteQuad::Kind::apart;
    for (std::size_t i = 0; i < windows.size(); ++i) {
        Weights weights;
        const ByteRule rule = byteWeights(weights, windows[i]);
        if (!rule.usable() || (i != 0 && rule.shift != quad.rule.shift)) return false;
        quad.rule = rule;
        quad.first[i] = windows[i].first;
        if (joint)
            setJoint(quad, i, weights);
        else
            std::copy(weights.begin(), weights.end(), quad.weights.begin() + static_cast<std::ptrdiff_t>(8 * i));
    }
    return true;
}

} // namespace rastrel
