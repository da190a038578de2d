#include "ops/resample_plan.h"

#include <algorithm>
#include <cmath>

namespace rastrel {

double RememberingKernel::operator()(double x) noexcept {
    const double distance = std::fabs(x);
    // Arguments are multiples of some step: the low bits of a scaled integer spread them over the table.
    const double scaled = distance * 1009.0;
    Entry& entry = entries_[scaled < 1e15 ? static_cast<std::size_t>(scaled) % kSlots : 0];
    if (!entry.used || entry.distance != distance) entry = {distance, filter_.kernel(distance), true};
    return entry.weight;
}

namespace {

/// The index that a position at or above `position` has, at most `count`; 0 for what lies before the line.
std::uint64_t firstIndex(double position, std::uint64_t count) noexcept {
    const double index = std::ceil(position);
    if (!(index > 0.0)) return 0;
    return index < static_cast<double>(count) ? static_cast<std::uint64_t>(index) : count;
}

/// One more than the index that a position at or below `position` has, at most `count`; 0 for what lies before the
/// line.
std::uint64_t endIndex(double position, std::uint64_t count) noexcept {
    const double index = std::floor(position);
    if (!(index >= 0.0)) return 0;
    return index < static_cast<double>(count) ? static_cast<std::uint64_t>(index) + 1 : count;
}

/// Single precision is faster for few weights, and where nothing is ever in doubt.
bool prefersWords(std::uint64_t weights, const QuickRule& rule) noexcept { return weights > 8 && rule.threshold != 0; }

} // namespace

void ResamplePlan::build(std::uint64_t sourceCount, std::uint64_t outputCount, const Filter& filter,
                         std::uint64_t firstOutput, std::uint64_t endOutput, std::uint64_t maxWeights) {
    const double ratio = static_cast<double>(sourceCount) / static_cast<double>(outputCount);
    const bool shrinking = outputCount < sourceCount;
    const double lo = shrinking ? filter.lo * ratio : filter.lo;
    const double hi = shrinking ? filter.hi * ratio : filter.hi;
    const double reach = std::min(std::max(hi - lo, 0.0) + 3.0, static_cast<double>(sourceCount) + 1.0);
    RememberingKernel kernel(filter);

    firstOutput_ = firstOutput;
    const double expected = std::min(static_cast<double>(endOutput - firstOutput) * reach,
                                     std::max(static_cast<double>(maxWeights), reach));
    reserve(static_cast<std::size_t>(expected));
    for (std::uint64_t output = firstOutput; output < endOutput; ++output) {
        // Both forms equal (output + 0.5) * ratio - 0.5 but for the last bit, which decides where a box begins.
        const double centre = shrinking ? static_cast<double>(output) * ratio + (ratio - 1.0) * 0.5
                                        : static_cast<double>(output) * ratio - (1.0 - ratio) * 0.5;
        const std::uint64_t first = firstIndex(lo + centre, sourceCount);
        const std::uint64_t end = std::max(first, endIndex(hi + centre, sourceCount));
        const std::uint64_t size = weights_.size() + windows_.size() * (sizeof(Window) / sizeof(double));
        if (output != firstOutput && size + (end - first) > maxWeights) break;
        Window window{first, end - first, weights_.size(), 0.0, {}, {}, 0};
        for (std::uint64_t j = first; j < end; ++j) {
            const double distance = static_cast<double>(j) - centre;
            const double weight = kernel(shrinking ? distance / ratio : distance);
            weights_.push_back(weight);
            window.sum += weight;
        }
        window.rule = appendQuickWeights(quick_, weights(window), window.count, window.sum);
        addWords(window);
        windows_.push_back(window);
    }
    addQuads(sourceCount);
    addTurns();
}

void ResamplePlan::reserve(std::size_t count) {
    windows_.clear();
    weights_.clear();
    quick_.clear();
    quads_.clear();
    turns_.clear();
    words_.clear();
    weights_.reserve(count);
    quick_.reserve(count);
}

void ResamplePlan::addWords(Window& window) {
    window.wordOffset = words_.coarse.size();
    if (!prefersWords(window.count, window.rule)) return;
    normalised_.clear();
    for (std::uint64_t i = 0; i < window.count; ++i)
        normalised_.push_back(weights(window)[i] / window.sum);
    window.wordRule = words_.append(normalised_, window.first % 2 != 0);
}

void ResamplePlan::addQuads(std::uint64_t sourceCount) {
    for (std::size_t output = 0; output + 4 <= windows_.size();) {
        const auto window = [&](std::size_t i) {
            const Window& at = windows_[output + i];
            return ByteWindow{at.first, at.count, weights(at), at.sum};
        };
        ByteQuad quad{output, {}, {}, {}, {}, {}};
        const bool made = makeByteQuad(quad, std::array{window(0), window(1), window(2), window(3)}, sourceCount);
        if (made) quads_.push_back(quad);
        output += made ? 4 : 1;
    }
}

void ResamplePlan::addTurns() {
    for (std::size_t output = 1; output < windows_.size(); ++output) {
        if (windows_[output].wordRule.usable() != windows_[output - 1].wordRule.usable()) turns_.push_back(output);
    }
    turns_.push_back(windows_.size());
}

bool RowWeights::build(std::int64_t first, std::int64_t last, double centre, double scale, RememberingKernel& kernel) {
    const Filter& filter = kernel.filter();
    const bool widened = scale > 1.0;
    const double topEdge = std::ceil((widened ? filter.lo * scale : filter.lo) + centre);
    const double bottomEdge = std::floor((widened ? filter.hi * scale : filter.hi) + centre);
    const auto firstRow = static_cast<double>(first);
    const auto lastRow = static_cast<double>(last);
    if (last < first || !(bottomEdge >= firstRow) || !(topEdge <= lastRow)) return false;
    top = topEdge > firstRow ? static_cast<std::int64_t>(topEdge) : first;
    const std::int64_t bottom = bottomEdge < lastRow ? static_cast<std::int64_t>(bottomEdge) : last;

    weights.clear();
    double sum = 0.0;
    for (std::int64_t row = top; row <= bottom; ++row) {
        const double distance = static_cast<double>(row) - centre;
        const double weight = kernel(widened ? distance / scale : distance);
        weights.push_back(weight);
        sum += weight;
    }
    for (double& weight : weights)
        weight /= sum;
    quick.clear();
    rule = appendQuickWeights(quick, weights.data(), weights.size(), 1.0);
    bytes.clear();
    byteRule = appendByteWeights(bytes, weights.data(), weights.size(), 1.0);
    words.clear();
    wordRule = {};
    if (prefersWords(weights.size(), rule)) wordRule = words.append(weights, top % 2 != 0);
    return true;
}

} // namespace rastrel
