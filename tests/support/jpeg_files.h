/// @file jpeg_files.h
/// JPEG files made and decoded with the library itself, and put together from segments.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <jpeglib.h>

#include "support/images.h"
#include "support/scratch_file.h"
#include "support/tiff_bytes.h"

namespace testing_support {

/// How a file is made.
struct JpegRecipe {
    const char* name = "plain";
    unsigned width = 61, height = 43;
    int components = 3;       ///< 1 grey, 3 colour, 4 CMYK
    int across = 2, down = 2; ///< sampling factors of the first component
    bool progressive = false, arithmetic = false;
    unsigned restart = 0; ///< blocks between restart markers
    bool jfif = true;
};

inline constexpr JpegRecipe kJpegRecipes[] = {
    {.name = "420"},
    {.name = "444", .across = 1, .down = 1},
    {.name = "422", .across = 2, .down = 1},
    {.name = "440", .across = 1, .down = 2},
    {.name = "411", .across = 4, .down = 1},
    {.name = "grey", .components = 1, .across = 1, .down = 1},
    {.name = "progressive", .progressive = true},
    {.name = "progressive grey", .components = 1, .across = 1, .down = 1, .progressive = true},
    {.name = "arithmetic", .arithmetic = true},
    {.name = "restarts", .restart = 3},
    {.name = "one pixel", .width = 1, .height = 1},
    {.name = "one column", .width = 1, .height = 70},
    {.name = "one row", .width = 70, .height = 1},
    {.name = "wide", .width = 331, .height = 17},
};

/// Smooth colours with some noise over them.
inline Bytes jpegPixels(const JpegRecipe& recipe) {
    Noise noise(recipe.width * 31 + recipe.height);
    Bytes pixels;
    for (unsigned y = 0; y < recipe.height; ++y)
        for (unsigned x = 0; x < recipe.width; ++x)
            for (unsigned c = 0; c < static_cast<unsigned>(recipe.components); ++c)
                pixels.push_back(static_cast<unsigned char>((x * (3 + c) + y * (5 - c)) % 200 + noise.below(50)));
    return pixels;
}

inline Bytes makeJpeg(const JpegRecipe& recipe) {
    const Bytes pixels = jpegPixels(recipe);
    jpeg_compress_struct encoder{};
    jpeg_error_mgr errors{};
    encoder.err = jpeg_std_error(&errors);
    jpeg_create_compress(&encoder);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&encoder, &bytes, &size);
    encoder.image_width = recipe.width;
    encoder.image_height = recipe.height;
    encoder.input_components = recipe.components;
    encoder.in_color_space = recipe.components == 1 ? JCS_GRAYSCALE : recipe.components == 3 ? JCS_RGB : JCS_CMYK;
    jpeg_set_defaults(&encoder);
    jpeg_set_quality(&encoder, 85, TRUE);
    if (recipe.components == 3) {
        encoder.comp_info[0].h_samp_factor = recipe.across;
        encoder.comp_info[0].v_samp_factor = recipe.down;
    } else if (recipe.components == 4) {
        encoder.write_JFIF_header = TRUE;
    }
    if (recipe.progressive) jpeg_simple_progression(&encoder);
    encoder.arith_code = recipe.arithmetic ? TRUE : FALSE;
    encoder.restart_interval = recipe.restart;
    jpeg_start_compress(&encoder, TRUE);
    const std::size_t line = std::size_t{recipe.width} * static_cast<unsigned>(recipe.components);
    Bytes copy = pixels;
    for (unsigned y = 0; y < recipe.height; ++y) {
        JSAMPROW row = copy.data() + y * line;
        jpeg_write_scanlines(&encoder, &row, 1);
    }
    jpeg_finish_compress(&encoder);
    Bytes file(bytes, bytes + size);
    jpeg_destroy_compress(&encoder);
    std::free(bytes);
    return file;
}

/// What a file decodes to with the floating-point transform: grey, or red, green, blue; and its density. Of a decoder
/// that was told to stop early, rows behind are zero.
struct DecodedJpeg {
    unsigned width = 0, height = 0, densityUnit = 0, densityX = 0, densityY = 0;
    int components = 0;
    Bytes pixels;
};

inline DecodedJpeg decodeJpeg(const Bytes& file, unsigned rows = 0xFFFFFFFF) {
    jpeg_decompress_struct decoder{};
    jpeg_error_mgr errors{};
    decoder.err = jpeg_std_error(&errors);
    errors.output_message = [](j_common_ptr) {}; // of damage
    jpeg_create_decompress(&decoder);
    jpeg_mem_src(&decoder, file.data(), static_cast<unsigned long>(file.size()));
    jpeg_read_header(&decoder, TRUE);
    if (decoder.out_color_space != JCS_GRAYSCALE) decoder.out_color_space = JCS_RGB;
    decoder.dct_method = JDCT_FLOAT;
    jpeg_start_decompress(&decoder);
    DecodedJpeg decoded{decoder.output_width,
                        decoder.output_height,
                        decoder.density_unit,
                        decoder.X_density,
                        decoder.Y_density,
                        decoder.output_components,
                        {}};
    const std::size_t line = std::size_t{decoded.width} * static_cast<unsigned>(decoded.components);
    decoded.pixels.resize(line * decoded.height);
    while (decoder.output_scanline < std::min(decoded.height, rows)) {
        JSAMPROW row = decoded.pixels.data() + decoder.output_scanline * line;
        jpeg_read_scanlines(&decoder, &row, 1);
    }
    if (decoder.output_scanline == decoded.height) jpeg_finish_decompress(&decoder);
    jpeg_destroy_decompress(&decoder);
    return decoded;
}

/// A marker segment.
inline Bytes jpegSegment(unsigned char marker, const Bytes& body) {
    Bytes bytes{0xFF, marker, static_cast<unsigned char>((body.size() + 2) >> 8),
                static_cast<unsigned char>(body.size() + 2)};
    bytes.insert(bytes.end(), body.begin(), body.end());
    return bytes;
}

/// An EXIF segment around a TIFF structure.
inline Bytes exifSegment(const Bytes& structure) {
    Bytes body{'E', 'x', 'i', 'f', 0, 0};
    body.insert(body.end(), structure.begin(), structure.end());
    return jpegSegment(0xE1, body);
}

/// A TIFF structure with a description, an EXIF directory and a GPS directory.
inline Bytes exifStructure(const std::string& description, bool big = false) {
    TiffPicture made;
    made.big = big;
    made.without = {256, 257, 258, 259, 262, 273, 277, 278, 279};
    made.extra = {ascii(270, description), rational(282, 300, 1), rational(283, 200, 1), shorts(296, {2}),
                  ascii(305, "a program")};
    made.exif = {shorts(34855, {400}), ascii(36867, "2009:02:21 08:32:04"), octets(0x927C, 7, "a maker's note")};
    made.gps = {ascii(1, "N"), {2, 5, 3, {54, 1, 59, 1, 0, 1}, 4, -1}};
    return made.build();
}

/// The position behind the first segment (FF D8 FF E0 and its body).
inline std::size_t behindFirstSegment(const Bytes& file) { return 4 + std::size_t{file[4]} * 256 + file[5]; }

inline Bytes withInserted(const Bytes& file, std::size_t place, const Bytes& added) {
    Bytes bytes = file;
    bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(place), added.begin(), added.end());
    return bytes;
}

/// The file with an EXIF segment behind its first one.
inline Bytes withExif(const Bytes& file, const Bytes& structure) {
    return withInserted(file, behindFirstSegment(file), exifSegment(structure));
}

/// The position of the first marker of this number, walking over segments; the file's size without one.
inline std::size_t markerPlace(const Bytes& file, unsigned char marker) {
    for (std::size_t at = 2; at + 4 <= file.size(); at += 2 + std::size_t{file[at + 2]} * 256 + file[at + 3])
        if (file[at + 1] == marker) return at;
    return file.size();
}

} // namespace testing_support
