#include "formats/tag_values.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "formats/rational.h"
#include "formats/tiff_tags.h"

namespace rastrel {
namespace {

template <class T>
T load(const _tiff_ifd_tag& record, std::uint64_t position) noexcept {
    T value;
    std::memcpy(&value, record.data + position, sizeof(T));
    return value;
}

template <class T>
void store(_tiff_ifd_tag& record, std::uint64_t position, T value) noexcept {
    std::memcpy(record.data + position, &value, sizeof(T));
}

/// Stores a number brought into the range of `T`.
template <class T>
void storeClamped(_tiff_ifd_tag& record, std::uint64_t position, std::int64_t value) noexcept {
    using Limits = std::numeric_limits<T>;
    store(record, position, static_cast<T>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max())));
}

bool holds(const _tiff_ifd_tag& record, std::uint32_t index) noexcept { return record.hasData && index < record.count; }

/// Stores into one of the integer types; false for the others.
bool storeInteger(_tiff_ifd_tag& record, std::uint64_t position, std::int64_t value) noexcept {
    switch (record.type) {
    case kTypeByte:
    case kTypeAscii:
    case kTypeUndefined:
        storeClamped<std::uint8_t>(record, position, value);
        return true;
    case kTypeShort:
        storeClamped<std::uint16_t>(record, position, value);
        return true;
    case kTypeLong:
        storeClamped<std::uint32_t>(record, position, value);
        return true;
    case kTypeSignedByte:
        storeClamped<std::int8_t>(record, position, value);
        return true;
    case kTypeSignedShort:
        storeClamped<std::int16_t>(record, position, value);
        return true;
    case kTypeSignedLong:
        storeClamped<std::int32_t>(record, position, value);
        return true;
    default:
        return false;
    }
}

/// The number truncated and brought into 64 bits.
std::int64_t truncated(double value) noexcept {
    constexpr double kEdge = 9.0e18;
    return std::isnan(value) ? 0 : static_cast<std::int64_t>(std::clamp(value, -kEdge, kEdge));
}

} // namespace

std::uint32_t typeUnit(std::uint16_t type) noexcept {
    return type == kTypeRational || type == kTypeSignedRational ? 4 : _tiff_ifd_tag::typeSize(type);
}

std::optional<std::int64_t> integerAt(const _tiff_ifd_tag& record, std::uint32_t index) noexcept {
    if (!holds(record, index)) return std::nullopt;
    const std::uint64_t position = std::uint64_t{index} * _tiff_ifd_tag::typeSize(record.type);
    switch (record.type) {
    case kTypeByte:
    case kTypeUndefined:
        return load<std::uint8_t>(record, position);
    case kTypeShort:
        return load<std::uint16_t>(record, position);
    case kTypeLong:
        return load<std::uint32_t>(record, position);
    case kTypeSignedByte:
        return load<std::int8_t>(record, position);
    case kTypeSignedShort:
        return load<std::int16_t>(record, position);
    case kTypeSignedLong:
        return load<std::int32_t>(record, position);
    default:
        return std::nullopt;
    }
}

std::optional<double> numberAt(const _tiff_ifd_tag& record, std::uint32_t index) noexcept {
    if (const auto integer = integerAt(record, index)) return static_cast<double>(*integer);
    if (!holds(record, index)) return std::nullopt;
    const std::uint64_t position = std::uint64_t{index} * _tiff_ifd_tag::typeSize(record.type);
    const auto quotient = [&]<class T>(T) -> std::optional<double> {
        const T denominator = load<T>(record, position + 4);
        if (denominator == 0) return std::nullopt;
        return static_cast<double>(load<T>(record, position)) / static_cast<double>(denominator);
    };
    switch (record.type) {
    case kTypeRational:
        return quotient(std::uint32_t{});
    case kTypeSignedRational:
        return quotient(std::int32_t{});
    case kTypeFloat:
        return load<float>(record, position);
    case kTypeDouble:
        return load<double>(record, position);
    default:
        return std::nullopt;
    }
}

std::string textOf(const _tiff_ifd_tag& record) {
    if (!record.hasData || _tiff_ifd_tag::typeSize(record.type) != 1) return {};
    const unsigned char* data = record.data;
    const unsigned char* end = data + std::min<std::uint32_t>(record.count, 255);
    return {data, std::find(data, end, 0)};
}

bool setInteger(_tiff_ifd_tag& record, std::uint32_t index, std::int64_t value) noexcept {
    if (!holds(record, index)) return false;
    const std::uint64_t position = std::uint64_t{index} * _tiff_ifd_tag::typeSize(record.type);
    if (storeInteger(record, position, value)) return true;
    switch (record.type) {
    case kTypeRational:
        storeClamped<std::uint32_t>(record, position, value);
        store(record, position + 4, std::uint32_t{1});
        return true;
    case kTypeSignedRational:
        storeClamped<std::int32_t>(record, position, value);
        store(record, position + 4, std::uint32_t{1});
        return true;
    case kTypeFloat:
        store(record, position, static_cast<float>(value));
        return true;
    case kTypeDouble:
        store(record, position, static_cast<double>(value));
        return true;
    default:
        return false;
    }
}

bool setDouble(_tiff_ifd_tag& record, std::uint32_t index, double value) noexcept {
    if (!holds(record, index)) return false;
    const std::uint64_t position = std::uint64_t{index} * _tiff_ifd_tag::typeSize(record.type);
    if (storeInteger(record, position, truncated(value))) return true;
    switch (record.type) {
    case kTypeRational:
    case kTypeSignedRational: {
        const Rational quotient = toRational(value);
        store(record, position, quotient.numerator);
        store(record, position + 4, quotient.denominator);
        return true;
    }
    case kTypeFloat:
        store(record, position, static_cast<float>(value));
        return true;
    case kTypeDouble:
        store(record, position, value);
        return true;
    default:
        return false;
    }
}

bool setCharacter(_tiff_ifd_tag& record, std::uint32_t index, char value) noexcept {
    if (!holds(record, index) || _tiff_ifd_tag::typeSize(record.type) != 1) return false;
    record.data[index] = static_cast<unsigned char>(value);
    return true;
}

} // namespace rastrel
