// W11: a 24-megapixel picture to and from a big document. The counter `limits` compares with the same planes through
// plain file calls, transposed by the same routines, from and into memory that is there already.
#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

#include "file_timing.h"
#include "formats/psb_planes.h"
#include "rastrel/rastrel.h"
#include "support/images.h"
#include "support/scratch_file.h"

namespace {

using namespace testing_support;

constexpr unsigned kWidth = 6000;
constexpr unsigned kHeight = 4000;
constexpr std::size_t kPixels = std::size_t{kWidth} * kHeight;
constexpr std::size_t kPiece = 1 << 20; ///< bytes a file call

/// A picture in memory, and what moves its samples.
struct Picture {
    std::size_t channels, sampleSize;
    std::vector<unsigned char> bytes;
    [[nodiscard]] const rastrel::PlaneKernels& kernels() const {
        return rastrel::planeKernels().of(channels, sampleSize);
    }
};

bool plainWrites(const std::string& path, const Picture& picture) {
    FILE* const file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) return false;
    std::vector<unsigned char> plane(kPiece);
    bool written = true;
    for (std::size_t c = 0; c < picture.channels; ++c) {
        for (std::size_t done = 0; done < kPixels;) {
            const std::size_t count = std::min(kPiece / picture.sampleSize, kPixels - done);
            picture.kernels().gather(picture.bytes.data() + done * picture.channels * picture.sampleSize,
                                     picture.channels - 1 - c, count, plane.data());
            written = written && std::fwrite(plane.data(), picture.sampleSize, count, file) == count;
            done += count;
        }
    }
    return std::fclose(file) == 0 && written;
}

bool plainReads(const std::string& path, Picture& picture) {
    FILE* const file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return false;
    const std::size_t planeSize = kPixels * picture.sampleSize;
    const std::size_t pixelSize = picture.channels * picture.sampleSize;
    const long head = [&] {
        std::fseek(file, 0, SEEK_END);
        return std::ftell(file) - static_cast<long>(planeSize * picture.channels);
    }();
    constexpr std::size_t kPart = kPiece / 4; // all parts together stay in the cache
    std::vector<unsigned char> parts(kPart * picture.channels);
    bool got = true;
    for (std::size_t done = 0; done < planeSize;) {
        const std::size_t size = std::min(kPart, planeSize - done);
        const unsigned char* sources[4] = {};
        for (std::size_t c = 0; c < picture.channels; ++c) {
            std::fseek(file, head + static_cast<long>(c * planeSize + done), SEEK_SET);
            got = got && std::fread(parts.data() + c * kPart, 1, size, file) == size;
            sources[c] = parts.data() + c * kPart;
        }
        picture.kernels().merge(sources, size / picture.sampleSize,
                                picture.bytes.data() + done / picture.sampleSize * pixelSize);
        done += size;
    }
    return std::fclose(file) == 0 && got;
}

struct Case {
    const char* name;
    unsigned char model;
    std::size_t channels, sampleSize;
};
constexpr Case kCases[] = {{"RGB 8 bits", CM_RGB8, 3, 1}, {"RGBA 16 bits", CM_RGBA16, 4, 2}};

/// What one layout needs as long as the program runs.
struct Workplace {
    explicit Workplace(const Case& c)
        : picture{c.channels, c.sampleSize, std::vector<unsigned char>(kPixels * c.channels * c.sampleSize)} {
        image.Create(kWidth, kHeight, c.model);
        fillWithNoise(image, 1);
        image.pixels.Read(0, picture.bytes.data(), picture.bytes.size());
        image.Write(ours.path().c_str(), "psb");
    }
    Rastrel image;
    Picture picture;
    ScratchFile ours{".psb"};
    ScratchFile theirs{".raw"};
};

} // namespace

int main(int argc, char** argv) {
    std::vector<std::unique_ptr<Workplace>> places;
    for (const Case& c : kCases) {
        places.push_back(std::make_unique<Workplace>(c));
        Workplace& place = *places.back();
        rastrel::bench::enterAgainst(
            std::string("W11/Rastrel, read, ") + c.name,
            [&place] { return Rastrel().Read(place.ours.path().c_str()) == 0; },
            [&place] { return plainReads(place.ours.path(), place.picture); });
        rastrel::bench::enterAgainst(
            std::string("W11/Rastrel, write, ") + c.name,
            [&place] { return place.image.Write(place.ours.path().c_str(), "psb") == 0; },
            [&place] { return plainWrites(place.theirs.path(), place.picture); });
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
