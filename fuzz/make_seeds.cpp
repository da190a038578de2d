/// Writes small valid files into FOLDER/FORMAT, for the fuzzers to begin with: make_seeds FOLDER
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "support/exr_files.h"
#include "support/images.h"
#include "support/jpeg_files.h"
#include "support/open_image.h"
#include "support/orf_files.h"
#include "support/psb_files.h"
#include "support/scratch_file.h"
#include "support/tiff_bytes.h"

namespace {

using namespace testing_support;

std::filesystem::path folder;

void write(const std::string& format, const Bytes& bytes) {
    static int count = 0;
    std::filesystem::create_directories(folder / format);
    std::ofstream out(folder / format / std::to_string(++count), std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

/// A camera's metadata in a picture.
void addMetadata(TiffPicture& made) {
    made.extra = {ascii(270, "A view"), rational(282, 300, 1), shorts(296, {1}), shorts(274, {6})};
    made.exif = {shorts(34855, {400}), ascii(36867, "2009:02:21 08:32:04"), octets(0x927C, 7, "maker note"),
                 rational(33434, 1, 125)};
    made.gps = {ascii(1, "N"), {2, 5, 3, {54, 1, 59, 1, 0, 1}, 4, -1}};
    made.interoperability = {ascii(1, "R98")};
}

void writeTiff() {
    for (const std::uint16_t samples : std::initializer_list<std::uint16_t>{1, 3, 4}) {
        for (const std::uint16_t bits : std::initializer_list<std::uint16_t>{8, 16, 32, 64}) {
            TiffPicture made;
            made.big = bits == 16;
            made.width = 5;
            made.height = 6;
            made.samples = samples;
            made.bits = bits;
            made.rowsPerStrip = samples;
            made.countUp();
            write("tiff", made.build());
            addMetadata(made);
            write("tiff", made.build());
        }
    }
}

void writeJpeg() {
    for (JpegRecipe recipe : kJpegRecipes) {
        recipe.width = std::min(recipe.width, 20U);
        recipe.height = std::min(recipe.height, 20U);
        const Bytes file = makeJpeg(recipe);
        write("jpeg", file);
        write("jpeg", withExif(file, exifStructure("A view", recipe.restart != 0)));
    }
}

void writePsb() {
    for (const std::uint16_t channels : std::initializer_list<std::uint16_t>{1, 3, 4}) {
        for (const std::uint16_t depth : std::initializer_list<std::uint16_t>{8, 16}) {
            PsbDocument made;
            made.channels = channels;
            made.depth = depth;
            made.mode = channels == 1 ? 1 : 3;
            made.resources = {{1005, psbResolutions(72 << 16, 72 << 16)}, {1058, exifStructure("A view", true)}};
            made.countUp();
            write("psb", made.build());
        }
    }
}

void writeExr() {
    using Imf::Compression;
    for (const Compression compression :
         {Imf::NO_COMPRESSION, Imf::RLE_COMPRESSION, Imf::ZIPS_COMPRESSION, Imf::ZIP_COMPRESSION, Imf::PIZ_COMPRESSION,
          Imf::PXR24_COMPRESSION, Imf::B44_COMPRESSION}) {
        ExrPicture made;
        made.width = 9;
        made.height = 7;
        made.compression = compression;
        made.tiled = compression == Imf::ZIP_COMPRESSION;
        write("exr", made.build());
    }
}

void writeOrf() {
    Mosaic mosaic(12, 10);
    for (std::size_t i = 0; i < mosaic.values.size(); ++i)
        mosaic.values[i] = static_cast<std::uint16_t>(i * 37 % 4096);
    for (const bool big : {false, true}) {
        OrfFile made(mosaic, encodeWords(mosaic, big), big);
        write("orf", made.build());
        made.strip = encodePackedWithPads(mosaic);
        write("orf", made.build());
        made.strip = encodePackedWords(mosaic);
        write("orf", made.build());
        made.strip = encodeCompressed(mosaic);
        made.exif = {shorts(34855, {400}), ascii(36867, "2009:02:21 08:32:04")};
        write("orf", made.build());
    }
}

/// Temporary files and saved records of every colour model.
void writeOwnFormats() {
    for (const unsigned char model : kAllModels) {
        OpenImage image;
        image.Create(5, 3, model);
        fillWithNoise(image, model);
        const ScratchStream stream;
        if (image.WriteTEMP(stream)) write("temporary", stream.bytes());
        MemBlockDesc block;
        image.Save(block);
        Bytes bytes(block.GetSize());
        if (block.Read(0, bytes.data(), bytes.size())) write("record", bytes);
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: make_seeds FOLDER\n", stderr);
        return 2;
    }
    folder = argv[1];
    writeTiff();
    writeJpeg();
    writePsb();
    writeExr();
    writeOrf();
    writeOwnFormats();
    return 0;
}
