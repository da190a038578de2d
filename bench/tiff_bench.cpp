// W8: a 24-megapixel RGB picture written as TIFF, read whole, and read as its middle quarter. The counter `limits`
// compares with the plain unbuffered file calls for the same bytes, from and into memory that is in use; our reads go
// into a fresh image each time.
#include <cstdio>
#include <filesystem>
#include <memory>

#include "file_timing.h"
#include "peers/picture_peer.h"
#include "rastrel/rastrel.h"

namespace {

using rastrel::bench::Picture;

constexpr int kWidth = 6000;
constexpr int kHeight = 4000;
constexpr std::size_t kSize = std::size_t{kWidth} * kHeight * 3;
constexpr std::size_t kHeader = 8;

/// In memory where there is such a file system: the workload is not the disk.
std::string scratchPath(const std::string& name) {
    std::error_code ignored;
    const bool shared = std::filesystem::is_directory("/dev/shm", ignored);
    const std::filesystem::path folder = shared ? "/dev/shm" : std::filesystem::temp_directory_path(ignored);
    return (folder / name).string();
}

const std::string kSource = scratchPath("rastrel-bench-source.tif");
const std::string kTarget = scratchPath("rastrel-bench-target.tif");

void removeTarget() {
    std::error_code ignored;
    std::filesystem::remove(kTarget, ignored);
}

struct Close {
    void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, Close>;

File openPlainly(const std::string& path, const char* mode) {
    File file(std::fopen(path.c_str(), mode));
    if (file != nullptr) std::setvbuf(file.get(), nullptr, _IONBF, 0);
    return file;
}

bool writePlainly(const unsigned char* pixels) {
    const File file = openPlainly(kTarget, "wb");
    return file != nullptr && std::fwrite(pixels, 1, kHeader, file.get()) == kHeader &&
           std::fwrite(pixels, 1, kSize, file.get()) == kSize;
}

/// The rows of the middle quarter, one by one: what plain calls take for just these bytes.
bool readRowsPlainly(unsigned char* pixels) {
    constexpr std::size_t kRow = std::size_t{kWidth} * 3;
    const File file = openPlainly(kSource, "rb");
    bool complete = file != nullptr;
    for (int y = kHeight / 4; complete && y < kHeight / 4 * 3; ++y, pixels += kRow / 2) {
        const auto place = static_cast<long>(kHeader + static_cast<std::size_t>(y) * kRow + kRow / 4);
        complete =
            std::fseek(file.get(), place, SEEK_SET) == 0 && std::fread(pixels, 1, kRow / 2, file.get()) == kRow / 2;
    }
    return complete;
}

bool readPlainly(unsigned char* pixels, std::size_t size) {
    const File file = openPlainly(kSource, "rb");
    return file != nullptr && std::fseek(file.get(), kHeader, SEEK_SET) == 0 &&
           std::fread(pixels, 1, size, file.get()) == size;
}

/// An image of the picture, its components in the file's order or in the one that has to be reversed.
void fill(Rastrel& image, bool reversed) {
    image.Create(kWidth, kHeight, CM_RGB8);
    image.componentOrder = reversed ? 1 : 0;
    unsigned char* pixels = image.pixels.GetData();
    for (std::size_t i = 0; i < kSize; ++i)
        pixels[i] = static_cast<unsigned char>(i * 7 + i / 9001);
}

/// Enters `work` beside the plain calls for the workload, which use `pixels`.
template <class Work>
void enter(const std::string& workload, const std::string& library, unsigned char* pixels, const Work& work) {
    const std::size_t size = workload == "W8_rectangle" ? kSize / 4 : kSize;
    const bool writes = workload == "W8_write";
    rastrel::bench::enterAgainst(
        workload + "/" + library, work, [=] { return writes ? writePlainly(pixels) : readPlainly(pixels, size); },
        [] { removeTarget(); });
}

} // namespace

int main(int argc, char** argv) {
    static Rastrel image;
    static Rastrel reversed;
    fill(image, false);
    fill(reversed, true);
    if (image.Write(kSource.c_str(), "tif") != 0) return 1;
    unsigned char* const pixels = image.pixels.GetData();

    enter("W8_write", "Rastrel", pixels, [] { return image.Write(kTarget.c_str(), "tif") == 0; });
    enter("W8_write", "Rastrel, components reversed", pixels,
          [] { return reversed.Write(kTarget.c_str(), "tif") == 0; });
    enter("W8_read", "Rastrel, into a fresh image", pixels, [] { return Rastrel().Read(kSource.c_str()) == 0; });
    enter("W8_rectangle", "Rastrel, into a fresh image", pixels, [] {
        return Rastrel().Read(kSource.c_str(), kWidth / 4, kHeight / 4, kWidth / 4 * 3, kHeight / 4 * 3) == 0;
    });
    enter("W8_rectangle", "a plain seek and read a row, into memory in use", pixels,
          [=] { return readRowsPlainly(pixels); });
    for (const rastrel::bench::PicturePeer& peer : rastrel::bench::picturePeers()) {
        const std::string& path = peer.workload == "W8_write" ? kTarget : kSource;
        enter(peer.workload, peer.library, pixels, [=, &path] { return peer.run(path, {pixels, kWidth, kHeight}); });
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    removeTarget();
    std::filesystem::remove(kSource);
    return 0;
}
