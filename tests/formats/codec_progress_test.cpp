/// What another thread sees while a file is read or written: its progress; and what it may ask for: an end.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <set>
#include <thread>

#include "support/images.h"
#include "support/open_image.h"
#include "support/scratch_file.h"

namespace {

using namespace testing_support;

constexpr unsigned kSide = 2048;

/// Runs `work` while another thread asks the image to stop as soon as it has made some progress; whether it stopped
/// half way. A machine may be too busy to see the progress in time.
bool stopsHalfWay(OpenImage& image, const std::function<bool()>& work) {
    image.cancelRequested = 0;
    image.progress = 0;
    std::atomic<bool> done = false;
    std::thread asker([&] {
        const std::atomic_ref progress(image.progress);
        while (!done && progress.load() == 0)
            std::this_thread::yield();
        if (!done) std::atomic_ref(image.cancelRequested).store(1);
    });
    const bool succeeded = work();
    done = true;
    asker.join();
    EXPECT_EQ(image.busyCount, 0U);
    const bool stopped = !succeeded;
    EXPECT_TRUE(succeeded || image.cancelRequested != 0);
    image.cancelRequested = 0;
    return stopped;
}

void expectStops(OpenImage& image, const std::function<bool()>& work) {
    constexpr int kAttempts = 50;
    int attempt = 0;
    while (attempt < kAttempts && !stopsHalfWay(image, work))
        ++attempt;
    EXPECT_LT(attempt, kAttempts);
    EXPECT_TRUE(work()); // and goes well when nobody asks
}

using Values = std::set<std::uint32_t>;

/// The values of progress that another thread saw in one or several runs of `work`, until they are `enough`. A value
/// that does not stand for long may escape it.
Values progressSeen(OpenImage& image, bool (*enough)(const Values&), const std::function<bool()>& work) {
    Values seen;
    for (int attempt = 0; attempt < 50 && !enough(seen); ++attempt) {
        std::atomic<bool> done = false;
        image.progress = 0;
        std::thread watcher([&] {
            const std::atomic_ref progress(image.progress);
            while (!done)
                seen.insert(progress.load());
        });
        EXPECT_TRUE(work());
        done = true;
        watcher.join();
    }
    return seen;
}

void makeLarge(OpenImage& image) {
    image.Create(kSide, kSide, CM_RGB8);
    fillWithNoise(image, 3);
}

TEST(CodecCancel, JpegRectangle) {
    OpenImage image;
    makeLarge(image);
    const ScratchFile file(".jpg");
    ASSERT_EQ(image.Write(file.path().c_str(), "jpg"), 0U);
    OpenImage part;
    expectStops(part, [&] { return part.Read(file.path().c_str(), 0, 0, kSide, kSide) == 0; });
}

TEST(CodecCancel, JpegWrite) {
    OpenImage image;
    makeLarge(image);
    const ScratchFile file(".jpg");
    expectStops(image, [&] {
        const bool written = image.Write(file.path().c_str(), "jpg") == 0;
        // The file is made in memory: a write that stopped leaves an empty one.
        EXPECT_EQ(std::filesystem::file_size(file.path()) != 0, written);
        return written;
    });
}

TEST(CodecCancel, BigDocuments) {
    OpenImage image;
    makeLarge(image);
    const ScratchFile file(".psb");
    expectStops(image, [&] { return image.Write(file.path().c_str(), "psb") == 0; });
    OpenImage back;
    expectStops(back, [&] {
        const bool read = back.Read(file.path().c_str()) == 0;
        EXPECT_EQ(back.pixels.GetSize() != 0, read);
        return read;
    });
}

TEST(CodecProgress, FallsFromPlaneToPlaneOfABigDocument) {
    OpenImage image;
    makeLarge(image);
    const ScratchFile file(".psb");
    constexpr auto kEnough = [](const Values& seen) { return seen.count(3000) + seen.count(1500) == 2; };
    const auto expectPlanes = [&](const Values& seen) {
        EXPECT_TRUE(kEnough(seen));
        for (const std::uint32_t perMille : seen)
            EXPECT_TRUE(perMille == 0 || perMille == 1000 || perMille == 1500 || perMille == 3000) << perMille;
    };
    expectPlanes(progressSeen(image, kEnough, [&] { return image.Write(file.path().c_str(), "psb") == 0; }));
    OpenImage back;
    expectPlanes(progressSeen(back, kEnough, [&] { return back.Read(file.path().c_str()) == 0; }));
}

TEST(CodecProgress, CountsTheRowsOfAJpegFile) {
    OpenImage image;
    makeLarge(image);
    const ScratchFile file(".jpg");
    constexpr auto kEnough = [](const Values& seen) { return seen.size() > 3; };
    const auto expectRows = [&](const Values& seen) {
        EXPECT_TRUE(kEnough(seen));
        EXPECT_LE(*seen.rbegin(), 1000U);
    };
    expectRows(progressSeen(image, kEnough, [&] { return image.Write(file.path().c_str(), "jpg") == 0; }));
    EXPECT_EQ(image.progress, 1000U);
    OpenImage part;
    expectRows(progressSeen(part, kEnough, [&] { return part.Read(file.path().c_str(), 0, 0, kSide, kSide) == 0; }));
    EXPECT_EQ(part.progress, 1000U);
}

} // namespace
