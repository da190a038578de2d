// W9: a 24-megapixel photograph to and from a JPEG file, and its head alone. The counter `limits` compares a read with
// reading the file's bytes and TurboJPEG's own call into memory that is there already, a write with the library's rows
// and the same settings, a head with opening the file and reading its first 4 KiB.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <jpeglib.h>
#include <turbojpeg.h>

#include "file_timing.h"
#include "peers/file_peer.h"
#include "rastrel/rastrel.h"
#include "support/jpeg_files.h"
#include "support/sample_noise.h"
#include "support/scratch_file.h"

namespace {

using namespace testing_support;

constexpr unsigned kWidth = 6000;
constexpr unsigned kHeight = 4000;
constexpr int kHeads = 1000; ///< heads a measurement: one is too short to be timed

/// Waves and a camera's noise: red, green, blue.
Bytes photograph() {
    Bytes pixels(std::size_t{kWidth} * kHeight * 3);
    Dice dice(1);
    unsigned char* sample = pixels.data();
    for (unsigned y = 0; y < kHeight; ++y) {
        for (unsigned x = 0; x < kWidth; ++x) {
            const double wave =
                120.0 + 70.0 * std::sin(x / 311.0) * std::cos(y / 257.0) + 20.0 * std::sin((x + y) / 23.0);
            const double tile = (x / 400 + y / 300) % 2 == 0 ? 0.0 : 30.0;
            for (const double gain : {0.8, 1.0, 0.6})
                *sample++ = static_cast<unsigned char>(std::clamp((wave + tile) * gain + dice.below(9), 0.0, 255.0));
        }
    }
    return pixels;
}

/// Metadata of the size that cameras write.
Bytes cameraTags() {
    TiffPicture made;
    made.without = {256, 257, 258, 259, 262, 273, 277, 278, 279};
    made.extra = {ascii(270, "A view over the bay"),
                  ascii(271, "A maker"),
                  ascii(272, "A camera"),
                  shorts(274, {1}),
                  rational(282, 300, 1),
                  rational(283, 300, 1),
                  shorts(296, {2}),
                  ascii(305, "1.2")};
    for (std::uint16_t tag = 0x9201; tag < 0x9220; ++tag)
        made.exif.push_back(rational(tag, tag, 100));
    made.exif.insert(made.exif.begin(), {rational(33434, 1, 125), rational(33437, 56, 10), shorts(34855, {400}),
                                         ascii(36867, "2009:02:21 08:32:04")});
    made.exif.push_back(octets(0x927C, 7, std::string(4000, 'm')));
    made.gps = {
        ascii(1, "N"), {2, 5, 3, {54, 1, 59, 1, 0, 1}, 4, -1}, ascii(3, "E"), {4, 5, 3, {10, 1, 9, 1, 0, 1}, 4, -1}};
    return made.build();
}

struct Settings {
    int quality;
    J_DCT_METHOD method;
    bool optimised;
};
constexpr Settings kCamera{90, JDCT_ISLOW, false};
constexpr Settings kWritten{100, JDCT_FLOAT, true};

/// The library's own work for one file, put into a stream.
bool compress(const Bytes& pixels, const Settings& settings, FILE* file) {
    jpeg_compress_struct encoder{};
    jpeg_error_mgr errors{};
    encoder.err = jpeg_std_error(&errors);
    jpeg_create_compress(&encoder);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&encoder, &bytes, &size);
    encoder.image_width = kWidth;
    encoder.image_height = kHeight;
    encoder.input_components = 3;
    encoder.in_color_space = JCS_RGB;
    jpeg_set_defaults(&encoder);
    jpeg_set_quality(&encoder, settings.quality, FALSE);
    encoder.dct_method = settings.method;
    encoder.optimize_coding = settings.optimised ? TRUE : FALSE;
    jpeg_start_compress(&encoder, TRUE);
    for (unsigned y = 0; y < kHeight; ++y) {
        auto* row = const_cast<JSAMPROW>(pixels.data() + std::size_t{y} * kWidth * 3);
        jpeg_write_scanlines(&encoder, &row, 1);
    }
    jpeg_finish_compress(&encoder);
    const bool written = std::fwrite(bytes, 1, size, file) == size;
    jpeg_destroy_compress(&encoder);
    std::free(bytes);
    return written;
}

bool libraryWrites(const std::string& path, const Bytes& pixels, const Settings& settings) {
    FILE* const file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) return false;
    const bool written = compress(pixels, settings, file);
    return std::fclose(file) == 0 && written;
}

bool libraryReads(const std::string& path, Bytes& target) {
    FILE* const file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return false;
    std::fseek(file, 0, SEEK_END);
    const long size = std::ftell(file);
    std::rewind(file);
    unsigned char* const bytes = tjAlloc(static_cast<int>(size));
    const bool got = std::fread(bytes, 1, static_cast<std::size_t>(size), file) == static_cast<std::size_t>(size);
    std::fclose(file);
    const tjhandle decoder = tjInitDecompress();
    const bool decoded = got && tjDecompress2(decoder, bytes, static_cast<unsigned long>(size), target.data(), 0, 0, 0,
                                              TJPF_BGRX, TJFLAG_ACCURATEDCT) == 0;
    tjDestroy(decoder);
    tjFree(bytes);
    return decoded;
}

bool opens(const std::string& path) {
    unsigned char bytes[4096];
    FILE* const file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return false;
    const bool got = std::fread(bytes, 1, sizeof bytes, file) == sizeof bytes;
    return std::fclose(file) == 0 && got;
}

/// The same work many times over.
template <class Work>
auto repeated(const Work& work) {
    return [=] {
        for (int i = 0; i < kHeads; ++i)
            if (!work()) return false;
        return true;
    };
}

void enterHeads(const std::string& path) {
    const auto limit = repeated([=] { return opens(path); });
    const auto enter = [&](const std::string& name, const auto& work) {
        rastrel::bench::enterAgainst(name + ", 1000 times", repeated(work), limit);
    };
    enter("W9/Rastrel, head", [=] { return Rastrel().PreRead(path.c_str()) == 0; });
    enter("W9/Rastrel, EXIF", [=] {
        Rastrel::_EXIF exif;
        return Rastrel::ReadExif(path.c_str(), &exif) == 0;
    });
    for (const rastrel::bench::FilePeer& peer : rastrel::bench::filePeers())
        if (peer.workload == "W9 head") enter("W9/" + peer.library, [=] { return peer.run(path); });
}

} // namespace

int main(int argc, char** argv) {
    static Bytes source = photograph();
    static Bytes target(std::size_t{kWidth} * kHeight * 4);
    static Rastrel image;
    image.Create(kWidth, kHeight, CM_RGB8);
    image.componentOrder = 0;
    image.pixels.Write(0, source.data(), source.size());
    const ScratchFile untagged(".jpg");
    libraryWrites(untagged.path(), source, kCamera);
    const ScratchFile tagged(withExif(untagged.bytes(), cameraTags()), ".jpg");
    const ScratchFile ours(".jpg");
    const ScratchFile theirs(".jpg");
    const std::string path = tagged.path();
    const std::string barePath = untagged.path();
    const std::string ourPath = ours.path();
    const std::string theirPath = theirs.path();

    rastrel::bench::enterAgainst(
        "W9/Rastrel, read", [=] { return Rastrel().Read(path.c_str()) == 0; },
        [=] { return libraryReads(path, target); });
    rastrel::bench::enterAgainst(
        "W9/Rastrel, read without EXIF", [=] { return Rastrel().Read(barePath.c_str()) == 0; },
        [=] { return libraryReads(barePath, target); });
    rastrel::bench::enterAgainst(
        "W9/Rastrel, write", [=] { return image.Write(ourPath.c_str(), "jpg") == 0; },
        [=] { return libraryWrites(theirPath, source, kWritten); });
    enterHeads(path);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
