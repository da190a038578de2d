/// The public pixel and line operations, in slot order: orientation, then the line layer.
#include "pixel/public_access.h"

// --- single pixels: a read that fails leaves zero ---

unsigned char Rastrel::GetPixelGREY8(long x, long y) { return LineLayer::getPixel<unsigned char>(*this, x, y); }
double Rastrel::GetPixelGREYFP64(long x, long y) { return LineLayer::getPixel<double>(*this, x, y); }
pixel_argb8 Rastrel::GetPixelARGB8(long x, long y) { return LineLayer::getPixel<pixel_argb8>(*this, x, y); }
pixel_argb16 Rastrel::GetPixelARGB16(long x, long y) { return LineLayer::getPixel<pixel_argb16>(*this, x, y); }
pixel_argbfp64 Rastrel::GetPixelARGBFP64(long x, long y) { return LineLayer::getPixel<pixel_argbfp64>(*this, x, y); }

void Rastrel::SetPixel(long x, long y, double a, double r, double g, double b) {
    pixel_argbfp64 pixel{b, g, r, a};
    SetPixel(x, y, pixel);
}
void Rastrel::SetPixel(long x, long y, pixel_argbfp64& pixel) { LineLayer::setPixel(*this, x, y, pixel); }
void Rastrel::SetPixel(long x, long y, unsigned short a, unsigned short r, unsigned short g, unsigned short b) {
    pixel_argb16 pixel{b, g, r, a};
    SetPixel(x, y, pixel);
}
void Rastrel::SetPixel(long x, long y, pixel_argb16& pixel) { LineLayer::setPixel(*this, x, y, pixel); }
void Rastrel::SetPixel(long x, long y, unsigned char a, unsigned char r, unsigned char g, unsigned char b) {
    pixel_argb8 pixel{b, g, r, a};
    SetPixel(x, y, pixel);
}
void Rastrel::SetPixel(long x, long y, pixel_argb8& pixel) { LineLayer::setPixel(*this, x, y, pixel); }
void Rastrel::SetPixel(long x, long y, double grey) { LineLayer::setPixel(*this, x, y, grey); }
void Rastrel::SetPixel(long x, long y, unsigned char grey) { LineLayer::setPixel(*this, x, y, grey); }

bool Rastrel::GetHLine(pixel_argbfp64* buffer, long x1, long x2, long y) {
    return LineLayer::getRow(*this, buffer, x1, x2, y);
}
bool Rastrel::GetHLine(pixel_argbfp32* buffer, long x1, long x2, long y) {
    return LineLayer::getRow(*this, buffer, x1, x2, y);
}
bool Rastrel::GetHLine(pixel_argb16* buffer, long x1, long x2, long y) {
    return LineLayer::getRow(*this, buffer, x1, x2, y);
}
bool Rastrel::GetHLine(pixel_argb8* buffer, long x1, long x2, long y) {
    return LineLayer::getRow(*this, buffer, x1, x2, y);
}
bool Rastrel::GetHLine(double* buffer, long x1, long x2, long y) { return LineLayer::getRow(*this, buffer, x1, x2, y); }
bool Rastrel::GetHLine(unsigned short* buffer, long x1, long x2, long y) {
    return LineLayer::getRow(*this, buffer, x1, x2, y);
}
bool Rastrel::GetHLine(unsigned char* buffer, long x1, long x2, long y) {
    return LineLayer::getRow(*this, buffer, x1, x2, y);
}

bool Rastrel::GetVLine(pixel_argbfp64* buffer, long y1, long y2, long x) {
    return LineLayer::getColumn(*this, buffer, y1, y2, x);
}
bool Rastrel::GetVLine(pixel_argbfp32* buffer, long y1, long y2, long x) {
    return LineLayer::getColumn(*this, buffer, y1, y2, x);
}
bool Rastrel::GetVLine(pixel_argb16* buffer, long y1, long y2, long x) {
    return LineLayer::getColumn(*this, buffer, y1, y2, x);
}
bool Rastrel::GetVLine(pixel_argb8* buffer, long y1, long y2, long x) {
    return LineLayer::getColumn(*this, buffer, y1, y2, x);
}
bool Rastrel::GetVLine(double* buffer, long y1, long y2, long x) {
    return LineLayer::getColumn(*this, buffer, y1, y2, x);
}
bool Rastrel::GetVLine(unsigned short* buffer, long y1, long y2, long x) {
    return LineLayer::getColumn(*this, buffer, y1, y2, x);
}
bool Rastrel::GetVLine(unsigned char* buffer, long y1, long y2, long x) {
    return LineLayer::getColumn(*this, buffer, y1, y2, x);
}

bool Rastrel::SetHLine(pixel_argbfp64* buffer, long x1, long x2, long y) {
    return LineLayer::setRow(*this, buffer, x1, x2, y);
}
bool Rastrel::SetHLine(pixel_argbfp32* buffer, long x1, long x2, long y) {
    return LineLayer::setRow(*this, buffer, x1, x2, y);
}
bool Rastrel::SetHLine(pixel_argb16* buffer, long x1, long x2, long y) {
    return LineLayer::setRow(*this, buffer, x1, x2, y);
}
bool Rastrel::SetHLine(pixel_argb8* buffer, long x1, long x2, long y) {
    return LineLayer::setRow(*this, buffer, x1, x2, y);
}
bool Rastrel::SetHLine(double* buffer, long x1, long x2, long y) { return LineLayer::setRow(*this, buffer, x1, x2, y); }
bool Rastrel::SetHLine(unsigned short* buffer, long x1, long x2, long y) {
    return LineLayer::setRow(*this, buffer, x1, x2, y);
}
bool Rastrel::SetHLine(unsigned char* buffer, long x1, long x2, long y) {
    return LineLayer::setRow(*this, buffer, x1, x2, y);
}

bool Rastrel::SetVLine(pixel_argbfp64* buffer, long y1, long y2, long x) {
    return LineLayer::setColumn(*this, buffer, y1, y2, x);
}
bool Rastrel::SetVLine(pixel_argbfp32* buffer, long y1, long y2, long x) {
    return LineLayer::setColumn(*this, buffer, y1, y2, x);
}
bool Rastrel::SetVLine(pixel_argb16* buffer, long y1, long y2, long x) {
    return LineLayer::setColumn(*this, buffer, y1, y2, x);
}
bool Rastrel::SetVLine(pixel_argb8* buffer, long y1, long y2, long x) {
    return LineLayer::setColumn(*this, buffer, y1, y2, x);
}
bool Rastrel::SetVLine(double* buffer, long y1, long y2, long x) {
    return LineLayer::setColumn(*this, buffer, y1, y2, x);
}
bool Rastrel::SetVLine(unsigned short* buffer, long y1, long y2, long x) {
    return LineLayer::setColumn(*this, buffer, y1, y2, x);
}
bool Rastrel::SetVLine(unsigned char* buffer, long y1, long y2, long x) {
    return LineLayer::setColumn(*this, buffer, y1, y2, x);
}

// --- area averages ---

namespace {

/// An ordered range clamped to 0 .. extent - 1; an axis without pixels gives the single coordinate -1.
struct ClampedRange {
    std::int64_t first, last;
    ClampedRange(long a, long b, unsigned long extent) noexcept
        : first(
              std::min<std::int64_t>(std::max<std::int64_t>(std::min(a, b), 0), static_cast<std::int64_t>(extent) - 1)),
          last(std::min<std::int64_t>(std::max<std::int64_t>(std::max(a, b), 0),
                                      static_cast<std::int64_t>(extent) - 1)) {}
};

} // namespace

unsigned char Rastrel::GetPixelGREY8(long x1, long y1, long x2, long y2) {
    const ClampedRange columns(x1, x2, GetWidth());
    const ClampedRange rows(y1, y2, GetHeight());
    double sum = 0.0;
    double count = 0.0;
    for (std::int64_t x = columns.first; x <= columns.last; ++x) {
        for (std::int64_t y = rows.first; y <= rows.last; ++y) {
            sum += GetPixelGREY8(static_cast<long>(x), static_cast<long>(y));
            count += 1.0;
        }
    }
    const double mean = count == 0.0 ? sum : sum / count;
    if (mean < 0.5) return 0;
    if (mean >= 254.5) return 255;
    return static_cast<unsigned char>(mean + 0.5);
}

pixel_argb8 Rastrel::GetPixelARGB8(long, long, long, long) {
    // Each pixel is weighted by the sum so far / 255, and that sum starts at 0: sum and weight stay 0 whatever the
    // pixels are, and their quotient, not a number, is 0 in every channel. Hosts rely on it, so no pixel is read.
    return pixel_argb8{0, 0, 0, 0};
}
