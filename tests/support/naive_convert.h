/// @file naive_convert.h
/// Colour-model conversion one pixel and one channel at a time, written from the rules in docs/color_models.md and
/// sharing nothing with the library: what the kernels are compared with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace rastrel::naive {

inline constexpr unsigned char kCodes[] = {16, 32, 49, 50, 52, 56, 81, 82, 97, 98, 100, 104, 113, 114};

/// Bytes of a sample; 0 for the 1-bit codes.
inline int sampleBytes(int code) { return code & 15; }

/// The channels in memory order; "Y" is grey or a bit.
inline std::string_view channelsOf(int code, bool flag) {
    switch (code >> 4) {
    case 5:
        return flag ? "BGR" : "RGB";
    case 6:
        return flag ? "BGRA" : "ARGB";
    case 7:
        return flag ? "ABGR" : "RGBA";
    default:
        return "Y";
    }
}

inline std::size_t pixelBytes(int code) {
    return channelsOf(code, false).size() * static_cast<std::size_t>(sampleBytes(code));
}

/// Bytes of a run.
inline std::size_t runBytes(int code, std::size_t count) {
    return sampleBytes(code) == 0 ? (count + 7) / 8 : count * pixelBytes(code);
}

/// A sample of any depth: `bytes` 0 (a bit: 1 is white), 1, 2, 4 or 8.
struct Sample {
    int bytes = 0;
    std::uint32_t integer = 0;
    float single = 0;
    double wide = 0;
};

inline Sample ofInteger(int bytes, std::uint32_t value) { return {bytes, value, 0, 0}; }
inline Sample ofSingle(float value) { return {4, 0, value, 0}; }
inline Sample ofDouble(double value) { return {8, 0, 0, value}; }

inline Sample maximum(int bytes) {
    switch (bytes) {
    case 1:
        return ofInteger(1, 255);
    case 2:
        return ofInteger(2, 65535);
    case 4:
        return ofSingle(1.0F);
    case 8:
        return ofDouble(1.0);
    default:
        return ofInteger(0, 1);
    }
}

inline Sample zero(int bytes) {
    Sample sample = maximum(bytes);
    sample.integer = 0;
    sample.single = 0;
    sample.wide = 0;
    return sample;
}

inline std::uint32_t from8Limits(double v) {
    if (v != v || v < 0.00196078431372549) return 0;
    return v >= 0.9980392156862745 ? 255U : static_cast<std::uint32_t>(v * 255.0 + 0.5);
}
inline std::uint32_t from8Limits(float v) {
    if (v != v || v < 0.00196078431372549F) return 0;
    return v >= 0.9980392156862745F ? 255U : static_cast<std::uint32_t>(v * 255.0F + 0.5F);
}
inline std::uint32_t from16Limits(double v) {
    if (v != v || v < 7.629510948348211e-6) return 0;
    return v >= 0.9999923704890517 ? 65535U : static_cast<std::uint32_t>(v * 65535.0 + 0.5);
}
inline std::uint32_t from16Limits(float v) {
    if (v != v || v < 7.629510948348211e-6F) return 0;
    return v >= 0.9999923704890517F ? 65535U : static_cast<std::uint32_t>(v * 65535.0F + 0.5F);
}

/// The scale rules. A bit becomes white or black; nothing becomes a bit here.
inline Sample scale(const Sample& v, int bytes) {
    if (v.bytes == bytes) return v;
    switch (v.bytes) {
    case 0:
        return v.integer != 0 ? maximum(bytes) : zero(bytes);
    case 1:
        if (bytes == 2) return ofInteger(2, v.integer | v.integer << 8);
        if (bytes == 4) return ofSingle(static_cast<float>(v.integer) * 0.003921569F);
        return ofDouble(v.integer * 0.00392156862745098);
    case 2:
        if (bytes == 1) return ofInteger(1, v.integer / 256);
        if (bytes == 4) return ofSingle(static_cast<float>(v.integer) * 1.5259022e-5F);
        return ofDouble(v.integer * 1.5259021896696422e-5);
    case 4:
        if (bytes == 1) return ofInteger(1, from8Limits(v.single));
        if (bytes == 2) return ofInteger(2, from16Limits(v.single));
        return ofDouble(static_cast<double>(v.single));
    default:
        if (bytes == 1) return ofInteger(1, from8Limits(v.wide));
        if (bytes == 2) return ofInteger(2, from16Limits(v.wide));
        return ofSingle(static_cast<float>(v.wide));
    }
}

inline Sample grey8Channels(std::uint32_t r, std::uint32_t g, std::uint32_t b, int bytes) {
    const std::uint32_t s = 96 * r + 128 * g + 32 * b;
    if (bytes == 2) return ofInteger(2, s + (s >> 8));
    if (bytes == 1) return ofInteger(1, (s + (s >> 8)) >> 8);
    if (bytes == 4) return ofSingle(static_cast<float>(s) * 1.5318628e-5F);
    return ofDouble(s * 1.5318627450980392e-5);
}

inline Sample grey16Channels(std::uint32_t r, std::uint32_t g, std::uint32_t b, int bytes) {
    const std::uint32_t s = 24576U * r + 32768U * g + 8192U * b;
    if (bytes == 2) return ofInteger(2, s >> 16);
    if (bytes == 1) return ofInteger(1, s >> 24);
    if (bytes == 4) return ofSingle(static_cast<float>(s) * 2.328342e-10F);
    return ofDouble(s * 2.3283419642175937e-10);
}

template <class Float>
std::uint32_t clampRound(Float v, Float top) {
    if (v != v || v < Float(0.5)) return 0;
    return static_cast<std::uint32_t>(v >= top - Float(0.5) ? top : v + Float(0.5));
}

template <class Float>
Sample greyFloatChannels(Float r, Float g, Float b, int bytes) {
    if (bytes == 1) {
        const Float sum = (r * Float(95.625) + g * Float(127.5)) + b * Float(31.875);
        return ofInteger(1, clampRound<Float>(sum, 255));
    }
    if (bytes == 2) {
        const Float sum = (r * Float(24575.625) + g * Float(32767.5)) + b * Float(8191.875);
        return ofInteger(2, clampRound<Float>(sum, 65535));
    }
    if (bytes == 4 && sizeof(Float) == 4)
        return ofSingle(static_cast<float>((Float(0.375) * r + Float(0.5) * g) + Float(0.125) * b));
    const double sum = (0.375 * double(r) + 0.5 * double(g)) + 0.125 * double(b);
    return bytes == 4 ? ofSingle(static_cast<float>(sum)) : ofDouble(sum);
}

/// The grey of a colour.
inline Sample grey(const Sample& r, const Sample& g, const Sample& b, int bytes) {
    switch (r.bytes) {
    case 1:
        return grey8Channels(r.integer, g.integer, b.integer, bytes);
    case 2:
        return grey16Channels(r.integer, g.integer, b.integer, bytes);
    case 4:
        return greyFloatChannels(r.single, g.single, b.single, bytes);
    default:
        return greyFloatChannels(r.wide, g.wide, b.wide, bytes);
    }
}

inline bool isWhite(const Sample& v) {
    switch (v.bytes) {
    case 0:
        return v.integer != 0;
    case 1:
        return v.integer >= 128;
    case 2:
        return v.integer >= 32768;
    case 4:
        return v.single >= 0.5F;
    default:
        return v.wide >= 0.5;
    }
}

inline Sample loadChannel(const unsigned char* pixel, int code, std::size_t channel) {
    const int bytes = sampleBytes(code);
    const unsigned char* from = pixel + channel * static_cast<std::size_t>(bytes);
    Sample v = zero(bytes);
    if (bytes == 4)
        std::memcpy(&v.single, from, 4);
    else if (bytes == 8)
        std::memcpy(&v.wide, from, 8);
    else
        v.integer = bytes == 1 ? from[0] : from[0] + 256U * from[1];
    return v;
}

inline void storeChannel(unsigned char* pixel, std::size_t channel, const Sample& v) {
    unsigned char* to = pixel + channel * static_cast<std::size_t>(v.bytes);
    if (v.bytes == 4)
        std::memcpy(to, &v.single, 4);
    else if (v.bytes == 8)
        std::memcpy(to, &v.wide, 8);
    else
        to[0] = static_cast<unsigned char>(v.integer);
    if (v.bytes == 2) to[1] = static_cast<unsigned char>(v.integer >> 8);
}

/// A source pixel: grey or bit in `y`, or the named channels.
class Pixel {
public:
    Pixel(const unsigned char* run, int code, bool flag, std::size_t i) : names_(channelsOf(code, flag)) {
        if (sampleBytes(code) == 0) {
            const bool set = (run[i / 8] & (0x80 >> i % 8)) != 0;
            channels_[0] = ofInteger(0, set == (code == 16) ? 1 : 0);
            return;
        }
        for (std::size_t c = 0; c < names_.size(); ++c)
            channels_[c] = loadChannel(run + i * pixelBytes(code), code, c);
    }
    bool has(char name) const { return names_.find(name) != names_.npos; }
    /// The channel of that name; the last one where there is none.
    const Sample& operator[](char name) const {
        std::size_t at = 0;
        while (at < 3 && at + 1 < names_.size() && names_[at] != name)
            ++at;
        return channels_[at];
    }
    Sample greyOf(int bytes) const {
        return has('Y') ? scale((*this)['Y'], bytes) : grey((*this)['R'], (*this)['G'], (*this)['B'], bytes);
    }
    bool white() const { return isWhite(has('Y') ? (*this)['Y'] : greyOf(2)); }
    Sample channel(char name, int bytes) const {
        if (name == 'A') return has('A') ? scale((*this)['A'], bytes) : maximum(bytes);
        return has('Y') ? greyOf(bytes) : scale((*this)[name], bytes);
    }

private:
    std::string_view names_;
    Sample channels_[4];
};

/// Converts pixel `i` of a run.
inline void convertPixel(unsigned char* to, int toCode, bool toFlag, const unsigned char* from, int fromCode,
                         bool fromFlag, std::size_t i) {
    const Pixel pixel(from, fromCode, fromFlag, i);
    if (sampleBytes(toCode) == 0) {
        const int mask = 0x80 >> i % 8;
        const bool set = pixel.white() == (toCode == 16);
        to[i / 8] = static_cast<unsigned char>(set ? to[i / 8] | mask : to[i / 8] & ~mask);
        return;
    }
    const std::string_view names = channelsOf(toCode, toFlag);
    for (std::size_t c = 0; c < names.size(); ++c) {
        const int bytes = sampleBytes(toCode);
        storeChannel(to + i * pixelBytes(toCode), c,
                     names[c] == 'Y' ? pixel.greyOf(bytes) : pixel.channel(names[c], bytes));
    }
}

} // namespace rastrel::naive
