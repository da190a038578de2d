/// The line layer's virtual operations, in slot order; each is its family's template for one interchange type.
#include "image/line_layer_inl.h"

bool Rastrel::ReadPixel(pixel_argbfp64& pixel, long x, long y, bool order) {
    return LineLayer::readPixel(*this, pixel, x, y, order);
}
bool Rastrel::ReadPixel(pixel_argbfp32& pixel, long x, long y, bool order) {
    return LineLayer::readPixel(*this, pixel, x, y, order);
}
bool Rastrel::ReadPixel(pixel_rggb12& pixel, long x, long y, bool order) {
    return LineLayer::readPixel(*this, pixel, x, y, order);
}
bool Rastrel::ReadPixel(pixel_argb16& pixel, long x, long y, bool order) {
    return LineLayer::readPixel(*this, pixel, x, y, order);
}
bool Rastrel::ReadPixel(pixel_argb8& pixel, long x, long y, bool order) {
    return LineLayer::readPixel(*this, pixel, x, y, order);
}
bool Rastrel::ReadPixel(double& pixel, long x, long y) { return LineLayer::readPixel(*this, pixel, x, y, false); }
bool Rastrel::ReadPixel(unsigned short& pixel, long x, long y) {
    return LineLayer::readPixel(*this, pixel, x, y, false);
}
bool Rastrel::ReadPixel(unsigned char& pixel, long x, long y) {
    return LineLayer::readPixel(*this, pixel, x, y, false);
}

bool Rastrel::WritePixel(long x, long y, double a, double r, double g, double b, bool order) {
    pixel_argbfp64 pixel{b, g, r, a};
    return WritePixel(pixel, x, y, order);
}
bool Rastrel::WritePixel(pixel_argbfp64& pixel, long x, long y, bool order) {
    return LineLayer::writePixel(*this, pixel, x, y, order);
}
bool Rastrel::WritePixel(long x, long y, float a, float r, float g, float b, bool order) {
    pixel_argbfp32 pixel{b, g, r, a};
    return WritePixel(pixel, x, y, order);
}
bool Rastrel::WritePixel(pixel_argbfp32& pixel, long x, long y, bool order) {
    return LineLayer::writePixel(*this, pixel, x, y, order);
}
bool Rastrel::WritePixel(pixel_rggb12& pixel, long x, long y, bool order) {
    return LineLayer::writePixel(*this, pixel, x, y, order);
}
bool Rastrel::WritePixel(long x, long y, unsigned short a, unsigned short r, unsigned short g, unsigned short b,
                         bool order) {
    pixel_argb16 pixel{b, g, r, a};
    return WritePixel(pixel, x, y, order);
}
bool Rastrel::WritePixel(pixel_argb16& pixel, long x, long y, bool order) {
    return LineLayer::writePixel(*this, pixel, x, y, order);
}
bool Rastrel::WritePixel(long x, long y, unsigned char a, unsigned char r, unsigned char g, unsigned char b,
                         bool order) {
    pixel_argb8 pixel{b, g, r, a};
    return WritePixel(pixel, x, y, order);
}
bool Rastrel::WritePixel(pixel_argb8& pixel, long x, long y, bool order) {
    return LineLayer::writePixel(*this, pixel, x, y, order);
}
bool Rastrel::WritePixel(long x, long y, double grey) { return LineLayer::writePixel(*this, grey, x, y, false); }
bool Rastrel::WritePixel(long x, long y, unsigned short grey) {
    return LineLayer::writePixel(*this, grey, x, y, false);
}
bool Rastrel::WritePixel(long x, long y, unsigned char grey) { return LineLayer::writePixel(*this, grey, x, y, false); }

bool Rastrel::ReadHLine(pixel_argbfp64* buffer, long x0, long x1, long y, bool order) {
    return LineLayer::readRow(*this, buffer, x0, x1, y, order);
}
bool Rastrel::ReadHLine(pixel_argbfp32* buffer, long x0, long x1, long y, bool order) {
    return LineLayer::readRow(*this, buffer, x0, x1, y, order);
}
bool Rastrel::ReadHLine(pixel_rggb12* buffer, long x0, long x1, long y, bool order) {
    return LineLayer::readRow(*this, buffer, x0, x1, y, order);
}
bool Rastrel::ReadHLine(pixel_argb16* buffer, long x0, long x1, long y, bool order) {
    return LineLayer::readRow(*this, buffer, x0, x1, y, order);
}
bool Rastrel::ReadHLine(pixel_argb8* buffer, long x0, long x1, long y, bool order) {
    return LineLayer::readRow(*this, buffer, x0, x1, y, order);
}
bool Rastrel::ReadHLine(double* buffer, long x0, long x1, long y) {
    return LineLayer::readRow(*this, buffer, x0, x1, y, false);
}
bool Rastrel::ReadHLine(unsigned short* buffer, long x0, long x1, long y) {
    return LineLayer::readRow(*this, buffer, x0, x1, y, false);
}
bool Rastrel::ReadHLine(unsigned char* buffer, long x0, long x1, long y) {
    return LineLayer::readRow(*this, buffer, x0, x1, y, false);
}

bool Rastrel::ReadVLine(pixel_argbfp64* buffer, long y0, long y1, long x, bool order) {
    return LineLayer::readColumn(*this, buffer, y0, y1, x, order);
}
bool Rastrel::ReadVLine(pixel_argbfp32* buffer, long y0, long y1, long x, bool order) {
    return LineLayer::readColumn(*this, buffer, y0, y1, x, order);
}
bool Rastrel::ReadVLine(pixel_rggb12* buffer, long y0, long y1, long x, bool order) {
    return LineLayer::readColumn(*this, buffer, y0, y1, x, order);
}
bool Rastrel::ReadVLine(pixel_argb16* buffer, long y0, long y1, long x, bool order) {
    return LineLayer::readColumn(*this, buffer, y0, y1, x, order);
}
bool Rastrel::ReadVLine(pixel_argb8* buffer, long y0, long y1, long x, bool order) {
    return LineLayer::readColumn(*this, buffer, y0, y1, x, order);
}
bool Rastrel::ReadVLine(double* buffer, long y0, long y1, long x) {
    return LineLayer::readColumn(*this, buffer, y0, y1, x, false);
}
bool Rastrel::ReadVLine(unsigned short* buffer, long y0, long y1, long x) {
    return LineLayer::readColumn(*this, buffer, y0, y1, x, false);
}
bool Rastrel::ReadVLine(unsigned char* buffer, long y0, long y1, long x) {
    return LineLayer::readColumn(*this, buffer, y0, y1, x, false);
}

bool Rastrel::WriteHLine(pixel_argbfp64* buffer, long x0, long x1, long y, bool order) {
    return LineLayer::writeRow(*this, buffer, x0, x1, y, order);
}
bool Rastrel::WriteHLine(pixel_argbfp32* buffer, long x0, long x1, long y, bool order) {
    return LineLayer::writeRow(*this, buffer, x0, x1, y, order);
}
bool Rastrel::WriteHLine(pixel_rggb12* buffer, long x0, long x1, long y, bool order) {
    return LineLayer::writeRow(*this, buffer, x0, x1, y, order);
}
bool Rastrel::WriteHLine(pixel_argb16* buffer, long x0, long x1, long y, bool order) {
    return LineLayer::writeRow(*this, buffer, x0, x1, y, order);
}
bool Rastrel::WriteHLine(pixel_argb8* buffer, long x0, long x1, long y, bool order) {
    return LineLayer::writeRow(*this, buffer, x0, x1, y, order);
}
bool Rastrel::WriteHLine(double* buffer, long x0, long x1, long y) {
    return LineLayer::writeRow(*this, buffer, x0, x1, y, false);
}
bool Rastrel::WriteHLine(unsigned short* buffer, long x0, long x1, long y) {
    return LineLayer::writeRow(*this, buffer, x0, x1, y, false);
}
bool Rastrel::WriteHLine(unsigned char* buffer, long x0, long x1, long y) {
    return LineLayer::writeRow(*this, buffer, x0, x1, y, false);
}

bool Rastrel::WriteVLine(pixel_argbfp64* buffer, long y0, long y1, long x, bool order) {
    return LineLayer::writeColumn(*this, buffer, y0, y1, x, order);
}
bool Rastrel::WriteVLine(pixel_argbfp32* buffer, long y0, long y1, long x, bool order) {
    return LineLayer::writeColumn(*this, buffer, y0, y1, x, order);
}
bool Rastrel::WriteVLine(pixel_rggb12* buffer, long y0, long y1, long x, bool order) {
    return LineLayer::writeColumn(*this, buffer, y0, y1, x, order);
}
bool Rastrel::WriteVLine(pixel_argb16* buffer, long y0, long y1, long x, bool order) {
    return LineLayer::writeColumn(*this, buffer, y0, y1, x, order);
}
bool Rastrel::WriteVLine(pixel_argb8* buffer, long y0, long y1, long x, bool order) {
    return LineLayer::writeColumn(*this, buffer, y0, y1, x, order);
}
bool Rastrel::WriteVLine(double* buffer, long y0, long y1, long x) {
    return LineLayer::writeColumn(*this, buffer, y0, y1, x, false);
}
bool Rastrel::WriteVLine(unsigned short* buffer, long y0, long y1, long x) {
    return LineLayer::writeColumn(*this, buffer, y0, y1, x, false);
}
bool Rastrel::WriteVLine(unsigned char* buffer, long y0, long y1, long x) {
    return LineLayer::writeColumn(*this, buffer, y0, y1, x, false);
}
