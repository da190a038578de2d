// Image operations on worker threads: what is called, what is dropped, what is cancelled, what is stored.
#include "rastrel/operation_threads.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <mutex>
#include <stdexcept>

#include "support/platform_support.h"
#include "support/scratch_directory.h"
#include "support/tiff_bytes.h"

namespace {

using rastrel_test::eventually;
using rastrel_test::Handle;
using rastrel_test::kLong;
using rastrel_test::ScratchDirectory;

template <class T>
T peek(T& field) {
    return std::atomic_ref(field).load();
}
template <class T>
void poke(T& field, T value) {
    std::atomic_ref(field).store(value);
}

bool idle(Thread& thread) { return peek(thread.threadHandle) == nullptr && peek(thread.threadId) == 0; }

[[nodiscard]] bool ends(Thread& thread) {
    return eventually([&] { return idle(thread); });
}

/// An image that notes what is called on it, and may hold each call until it is let go or cancelled.
class Probe : public Rastrel {
public:
    unsigned __int64 Read(const char* path) override { return called("read " + std::string(path)); }
    unsigned __int64 Read(const wchar_t* path) override { return called("readW " + narrow(path)); }
    unsigned __int64 Write(const char* path, const char* format) override {
        return called("write " + std::string(path) + " " + format);
    }
    unsigned __int64 Write(const wchar_t* path, const wchar_t* format) override {
        return called("writeW " + narrow(path) + " " + narrow(format));
    }
    unsigned __int64 Reload() override { return called("reload"); }
    bool AutoExposure() override { return called("expose") == 0; }
    HBITMAP GetWindowsBitmap(unsigned long bitmapWidth, unsigned long bitmapHeight, bool smooth) override {
        called("bitmap " + std::to_string(bitmapWidth) + "x" + std::to_string(bitmapHeight) +
               (smooth ? " smooth" : ""));
        return made;
    }
    using Rastrel::GetWindowsBitmap;
    using Rastrel::Read;
    using Rastrel::operator=;

    std::string calls() {
        const std::lock_guard guard(lock_);
        return calls_;
    }
    /// The next calls stay until `release` or a cancel request.
    void hold() { held_ = true; }
    /// The next calls stay until `release` and take no notice of a cancel request.
    void holdWhatever() { deaf_ = held_ = true; }
    void release() { held_ = false; }
    [[nodiscard]] bool entered() {
        return eventually([this] { return inside_.load(); });
    }

    HBITMAP made = nullptr;
    std::atomic<bool> throws{false};
    std::atomic<bool> cancelledAtStart{false};
    std::atomic<std::uint32_t> busySeen{0};

private:
    static std::string narrow(const wchar_t* text) {
        std::string result;
        for (; *text != 0; ++text)
            result += static_cast<char>(*text);
        return result;
    }
    unsigned __int64 called(const std::string& what) {
        {
            const std::lock_guard guard(lock_);
            calls_ += (calls_.empty() ? "" : ", ") + what;
        }
        cancelledAtStart = peek(cancelRequested) != 0;
        busySeen = peek(busyCount);
        inside_ = true;
        for (DWORD spent = 0; held_.load() && (deaf_.load() || peek(cancelRequested) == 0) && spent < kLong; ++spent)
            Sleep(1);
        inside_ = false;
        if (throws.load()) throw std::runtime_error("refused");
        return 0;
    }

    std::mutex lock_;
    std::string calls_;
    std::atomic<bool> held_{false};
    std::atomic<bool> deaf_{false};
    std::atomic<bool> inside_{false};
};

/// Runs one operation of a class on a probe and returns what was called.
template <class Operation, class... Arguments>
std::string callsOf(Arguments... arguments) {
    Probe image;
    Operation thread;
    EXPECT_EQ(thread.image, nullptr);
    thread.Run(arguments..., &image);
    EXPECT_EQ(thread.image, &image);
    EXPECT_TRUE(ends(thread));
    EXPECT_EQ(peek(image.busyCount), 0U);
    EXPECT_EQ(image.busySeen.load(), 1U);
    EXPECT_EQ(thread.loopArgument, 0);
    EXPECT_EQ(thread.priorityLevel, 0U);
    return image.calls();
}

TEST(OperationThreads, CallTheImagesVirtualOperations) {
    EXPECT_EQ(callsOf<RastrelReadThread>("a.tif"), "read a.tif");
    EXPECT_EQ(callsOf<RastrelReadThreadW>(L"b.tif"), "readW b.tif");
    EXPECT_EQ((callsOf<RastrelWriteThread>("c.tif", "tif")), "write c.tif tif");
    EXPECT_EQ((callsOf<RastrelWriteThreadW>(L"d.jpg", L"jpg")), "writeW d.jpg jpg");
    EXPECT_EQ(callsOf<RastrelReloadThread>(), "reload");
    EXPECT_EQ(callsOf<RastrelAutoExposureThread>(), "expose");
    HBITMAP bitmap = nullptr;
    EXPECT_EQ((callsOf<RastrelGetWindowsBitmapThread>(&bitmap, 30UL, 20UL, true)), "bitmap 30x20 smooth");
    EXPECT_EQ((callsOf<RastrelGetWindowsBitmapThread>(&bitmap, 4UL, 5UL, false)), "bitmap 4x5");
}

TEST(OperationThreads, KeepTheirArgumentsAsPointers) {
    Probe image;
    const char file[] = "file", format[] = "format";
    RastrelWriteThread write;
    write.Run(file, format, &image);
    EXPECT_EQ(write.file, file);
    EXPECT_EQ(write.format, format);
    EXPECT_TRUE(ends(write));
    HBITMAP bitmap = nullptr;
    RastrelGetWindowsBitmapThread render;
    render.Run(&bitmap, 7, 8, true, &image);
    EXPECT_EQ(render.bitmap, &bitmap);
    EXPECT_EQ(render.width, 7U);
    EXPECT_EQ(render.height, 8U);
    EXPECT_EQ(render.flag, 1);
    EXPECT_TRUE(ends(render));
}

TEST(OperationThreads, WithoutAnImageDoNothing) {
    const char file[] = "file";
    RastrelReadThread read;
    read.file = file;
    read.Run("other", nullptr);
    EXPECT_TRUE(idle(read));
    EXPECT_EQ(read.image, nullptr);
    EXPECT_EQ(read.file, file); // nothing else is stored
    EXPECT_EQ(read.ProceedLoop(false), 0);
    read.StopProceedLoop();
    RastrelReadThreadW().Run(L"x", nullptr);
    RastrelWriteThread().Run("x", "tif", nullptr);
    RastrelWriteThreadW().Run(L"x", L"tif", nullptr);
    RastrelReloadThread().Run(nullptr);
    RastrelAutoExposureThread().Run(nullptr);
    HBITMAP bitmap = nullptr;
    RastrelGetWindowsBitmapThread().Run(&bitmap, 1, 1, false, nullptr);
}

TEST(OperationThreads, MarkTheImageBusyAtOnce) {
    Probe image;
    image.hold();
    RastrelReloadThread thread;
    thread.Run(&image);
    EXPECT_EQ(peek(image.busyCount), 1U);
    EXPECT_FALSE(idle(thread));
    ASSERT_TRUE(image.entered());
    EXPECT_EQ(peek(image.busyCount), 1U);
    image.release();
    EXPECT_TRUE(ends(thread));
    EXPECT_EQ(peek(image.busyCount), 0U);
}

TEST(OperationThreads, DropARequestWhileTheImageIsBusy) {
    Probe image;
    image.hold();
    RastrelReadThread first, second;
    first.Run("first", &image);
    ASSERT_TRUE(image.entered());
    second.Run("second", &image);
    EXPECT_TRUE(ends(second));
    EXPECT_EQ(peek(image.busyCount), 1U); // the first one's
    image.release();
    EXPECT_TRUE(ends(first));
    EXPECT_EQ(image.calls(), "read first");
    EXPECT_EQ(peek(image.busyCount), 0U);
}

TEST(OperationThreads, OfTwoStartedTogetherTheFirstRuns) {
    for (int i = 0; i < 100; ++i) {
        Probe image;
        image.hold();
        RastrelReadThread first, second;
        first.Run("first", &image);
        second.Run("second", &image); // before the first one's worker has looked
        ASSERT_TRUE(ends(second));
        image.release();
        ASSERT_TRUE(ends(first));
        ASSERT_EQ(image.calls(), "read first");
        ASSERT_EQ(peek(image.busyCount), 0U);
    }
}

TEST(OperationThreads, LookAtTheBusyCountThemselves) {
    class Direct : public RastrelHelperThread {
    public:
        ~Direct() override { ExitAsyncProceedLoop(false, true); }
        void Proceed() override { ++proceeded; }
        int proceeded = 0;
    };
    Probe image;
    Direct thread;
    thread.image = &image;
    image.busyCount = 2;
    image.cancelRequested = 1;
    EXPECT_EQ(thread.ProceedLoop(true), 0);
    EXPECT_EQ(thread.proceeded, 0);
    EXPECT_EQ(image.busyCount, 1U);
    EXPECT_EQ(image.cancelRequested, 1); // a dropped request changes nothing
    EXPECT_EQ(thread.ProceedLoop(true), 0);
    EXPECT_EQ(thread.proceeded, 1);
    EXPECT_EQ(image.busyCount, 0U);
    EXPECT_EQ(image.cancelRequested, 0);
}

TEST(OperationThreads, BusyWithSomethingElseDropTheRequest) {
    Probe image;
    image.busyCount = 1; // an operation of the host's own
    RastrelReloadThread thread;
    thread.Run(&image);
    EXPECT_TRUE(ends(thread));
    EXPECT_EQ(image.calls(), "");
    EXPECT_EQ(image.busyCount, 1U);
}

TEST(OperationThreads, RunOnABusyObjectOnlyCounts) {
    Probe image;
    image.hold();
    RastrelReadThread thread;
    thread.Run("first", &image);
    ASSERT_TRUE(image.entered());
    const HANDLE worker = peek(thread.threadHandle);
    thread.Run("again", &image);
    EXPECT_EQ(peek(thread.threadHandle), worker);
    EXPECT_EQ(peek(image.busyCount), 2U);
    image.release();
    EXPECT_TRUE(ends(thread));
    EXPECT_EQ(image.calls(), "read first");
    EXPECT_EQ(peek(image.busyCount), 1U);
    thread.ProceedLoop(false); // takes that count back, as a later request would
    EXPECT_EQ(peek(image.busyCount), 0U);
}

TEST(OperationThreads, ClearTheLastCancelRequest) {
    Probe image;
    image.cancelRequested = 1;
    RastrelReloadThread thread;
    thread.Run(&image);
    EXPECT_TRUE(ends(thread));
    EXPECT_EQ(image.calls(), "reload");
    EXPECT_FALSE(image.cancelledAtStart.load());
}

TEST(OperationThreads, ExitCancelsWhatRuns) {
    Probe image;
    image.hold();
    RastrelReadThread thread;
    thread.Run("a", &image);
    ASSERT_TRUE(image.entered());
    EXPECT_EQ(thread.ExitAsyncProceedLoop(false, false), 0U);
    EXPECT_TRUE(idle(thread));
    EXPECT_EQ(image.cancelRequested, 1);
    EXPECT_EQ(image.busyCount, 0U);
}

TEST(OperationThreads, ExitCancelsWhatHasHardlyBegun) {
    for (int i = 0; i < 200; ++i) {
        Probe image;
        image.hold();
        RastrelReadThread thread;
        thread.Run("a", &image);
        ASSERT_EQ(thread.ExitAsyncProceedLoop(false, i % 2 == 0), 0U); // would last as long as the hold
        ASSERT_EQ(image.cancelRequested, 1);
        ASSERT_EQ(image.busyCount, 0U);
    }
}

TEST(OperationThreads, DestructionCancelsWhatRuns) {
    for (int i = 0; i < 50; ++i) {
        Probe image;
        image.hold();
        {
            RastrelReadThread read;
            read.Run("a", &image);
            if (i % 2 == 0) {
                ASSERT_TRUE(image.entered());
            }
        }
        ASSERT_EQ(image.cancelRequested, 1);
        ASSERT_EQ(image.busyCount, 0U); // it left by itself
    }
}

TEST(OperationThreads, AStopBetweenTwoOperationsIsForgotten) {
    Probe image;
    RastrelReloadThread thread;
    thread.Run(&image);
    ASSERT_TRUE(ends(thread));
    thread.StopProceedLoop();
    EXPECT_EQ(image.cancelRequested, 1);
    poke<std::uint32_t>(image.busyCount, 1);
    EXPECT_EQ(thread.ProceedLoop(false), 0);
    EXPECT_EQ(image.cancelRequested, 0);
    EXPECT_EQ(image.busyCount, 0U);
    thread.StopProceedLoop();
    thread.Run(&image);
    ASSERT_TRUE(ends(thread));
    EXPECT_EQ(image.calls(), "reload, reload, reload");
}

/// How an operation that does not hear its cancel request can end.
struct End {
    const char* name;
    void (*by)(Thread& thread);
};

class OperationThreadsEndedByForce : public testing::TestWithParam<End> {};

TEST_P(OperationThreadsEndedByForce, LeaveTheImageFree) {
    auto image = std::make_unique<Probe>();
    image->holdWhatever();
    RastrelReloadThread thread;
    thread.Run(image.get());
    ASSERT_TRUE(image->entered());
    poke<std::uint32_t>(image->busyCount, 3); // as an operation of the library that raises it twice more
    GetParam().by(thread);
    EXPECT_TRUE(idle(thread));
    EXPECT_EQ(peek(image->busyCount), 0U);
    image->release();
    Probe other; // the object itself is as good as before
    thread.Run(&other);
    EXPECT_TRUE(ends(thread));
    EXPECT_EQ(other.calls(), "reload");
    EXPECT_EQ(other.busyCount, 0U);
    static_cast<void>(image.release()); // the thread that was stopped in the middle of it may still lie in its memory
}

INSTANTIATE_TEST_SUITE_P(All, OperationThreadsEndedByForce,
                         testing::Values(End{"byExit",
                                             [](Thread& thread) { thread.ExitAsyncProceedLoop(false, true); }},
                                         End{"whileSuspended",
                                             [](Thread& thread) {
                                                 EXPECT_EQ(thread.Suspend(), 0U);
                                                 EXPECT_EQ(thread.ExitAsyncProceedLoop(false, false), 0U);
                                             }},
                                         End{"byOthers",
                                             [](Thread& thread) {
                                                 EXPECT_TRUE(TerminateThread(peek(thread.threadHandle), 0));
                                                 EXPECT_EQ(thread.ExitAsyncProceedLoop(false, false), 0U);
                                             }}),
                         [](const testing::TestParamInfo<End>& end) { return std::string(end.param.name); });

TEST(OperationThreads, RunAgainAsSoonAsTheImageIsFree) {
    Probe image;
    RastrelReloadThread thread;
    constexpr int kRounds = 300;
    for (int i = 0; i < kRounds; ++i) {
        thread.Run(&image);
        ASSERT_TRUE(eventually([&] { return peek(image.busyCount) == 0; }));
    }
    EXPECT_TRUE(ends(thread));
    EXPECT_EQ(image.calls().size(), kRounds * std::strlen("reload, ") - 2);
}

TEST(OperationThreads, StoreTheBitmapWhenItIsDone) {
    Probe image;
    image.made = CreateBitmap(1, 1, 1, 32, nullptr);
    image.hold();
    HBITMAP before = CreateBitmap(2, 2, 1, 32, nullptr);
    HBITMAP target = before;
    RastrelGetWindowsBitmapThread thread;
    thread.Run(&target, 1, 1, false, &image);
    ASSERT_TRUE(image.entered());
    EXPECT_EQ(peek(target), before);
    image.release();
    EXPECT_TRUE(ends(thread));
    EXPECT_EQ(target, image.made);
    EXPECT_TRUE(DeleteObject(image.made));
    EXPECT_TRUE(DeleteObject(before));
}

TEST(OperationThreads, WithoutATargetFreeTheBitmap) {
    Probe image;
    image.made = CreateBitmap(1, 1, 1, 32, nullptr);
    RastrelGetWindowsBitmapThread thread;
    thread.Run(nullptr, 1, 1, false, &image);
    EXPECT_TRUE(ends(thread));
    EXPECT_FALSE(DeleteObject(image.made));
}

TEST(OperationThreads, KeepAnOverridesExceptionInside) {
    Probe image;
    image.throws = true;
    RastrelReloadThread thread;
    thread.Run(&image);
    EXPECT_TRUE(ends(thread));
    EXPECT_EQ(image.busyCount, 0U);
}

TEST(OperationThreads, HaveTheirPlacesInTheTable) {
    const auto slot = [](auto member) {
        std::uintptr_t bits;
        static_assert(sizeof member >= sizeof bits);
        std::memcpy(&bits, &member, sizeof bits);
        return (bits - 1) / sizeof(void*) - 1;
    };
    EXPECT_EQ(slot(&RastrelHelperThread::ProceedLoop), 1U);
    EXPECT_EQ(slot(&RastrelHelperThread::StopProceedLoop), 2U);
    EXPECT_EQ(slot(&RastrelHelperThread::Proceed), 7U);
    EXPECT_EQ(slot(&RastrelReadThread::Proceed), 7U);
}

TEST(OperationThreads, WriteAndReadRealFiles) {
    const ScratchDirectory directory;
    const std::wstring wide = directory.wide(L"\u753B\u50CF \U0001F3DE.tif");
    const std::string narrow = directory.narrow("image.tmp");
    Rastrel image;
    image.Create(5, 4, CM_ARGB8);
    pixel_argb8 colour{1, 2, 3, 4};
    image.SetPixel(2, 1, colour);
    RastrelWriteThreadW writeWide;
    writeWide.Run(wide.c_str(), L"tif", &image);
    ASSERT_TRUE(ends(writeWide));
    RastrelWriteThread write;
    write.Run(narrow.c_str(), "tmp", &image);
    ASSERT_TRUE(ends(write));
    EXPECT_EQ(image.busyCount, 0U);

    Rastrel fromWide, fromNarrow;
    RastrelReadThreadW readWide;
    RastrelReadThread read;
    readWide.Run(wide.c_str(), &fromWide);
    read.Run(narrow.c_str(), &fromNarrow);
    ASSERT_TRUE(ends(readWide));
    ASSERT_TRUE(ends(read));
    for (Rastrel* result : {&fromWide, &fromNarrow}) {
        EXPECT_TRUE(result->GetReady());
        EXPECT_EQ(result->GetWidth(), 5U);
        EXPECT_EQ(result->GetHeight(), 4U);
    }
    fromWide.Unload();
    RastrelReloadThread reload;
    reload.Run(&fromWide);
    ASSERT_TRUE(ends(reload));
    EXPECT_NE(fromWide.pixels.GetSize(), 0U);
}

TEST(OperationThreads, ExitCancelsARealRead) {
    const ScratchDirectory directory;
    const std::string path = directory.narrow("large.tif");
    {
        Rastrel image;
        image.Create(3000, 2000, CM_ARGB8);
        ASSERT_EQ(image.Write(path.c_str(), "tif"), 0U);
    }
    for (int i = 0; i < 10; ++i) {
        Rastrel image;
        RastrelReadThread thread;
        thread.Run(path.c_str(), &image);
        for (int spins = 0; spins < i * 20; ++spins)
            Thread::TakeNext();
        EXPECT_EQ(thread.ExitAsyncProceedLoop(false, false), 0U);
        EXPECT_TRUE(idle(thread));
        EXPECT_EQ(image.busyCount, 0U);
        EXPECT_TRUE(image.GetReady() || image.cancelRequested != 0); // cancelled, or through before
        EXPECT_EQ(image.GetWidth(), image.GetReady() ? 3000U : 0U);
    }
}

/// Starts an operation on an image and ends it when some of it is done; on a busy machine it may be over by then.
template <class Operation, class... Arguments>
void cancelHalfWay(Operation& thread, Rastrel& image, Arguments... arguments) {
    poke<std::uint32_t>(image.progress, 0);
    thread.Run(arguments..., &image);
    while (peek(image.progress) < 50 && !idle(thread))
        Thread::TakeNext();
    EXPECT_EQ(thread.ExitAsyncProceedLoop(false, false), 0U);
    EXPECT_TRUE(idle(thread));
    EXPECT_EQ(image.busyCount, 0U);
}

TEST(OperationThreads, ExitCancelsRealWorkOnPixels) {
    constexpr std::uint32_t kNearlyDone = 999;
    Rastrel image;
    image.Create(4000, 3000, CM_RGB16);
    int cancelled = 0;
    for (int i = 0; i < 10; ++i) {
        HBITMAP const before = CreateBitmap(1, 1, 1, 32, nullptr);
        HBITMAP bitmap = before;
        RastrelGetWindowsBitmapThread render;
        cancelHalfWay(render, image, &bitmap, 2000UL, 1500UL, true);
        EXPECT_NE(bitmap, before); // null, or done before
        cancelled += bitmap == nullptr ? 1 : 0;
        if (bitmap != nullptr) {
            EXPECT_TRUE(DeleteObject(bitmap));
        }
        EXPECT_TRUE(DeleteObject(before));
    }
    EXPECT_GT(cancelled, 0);
    cancelled = 0;
    for (int i = 0; i < 10; ++i) {
        image.SetExposure(0.125, 0.5);
        RastrelAutoExposureThread measure;
        cancelHalfWay(measure, image);
        const bool kept = image.lookUpTable.black == 0.125;
        EXPECT_TRUE(kept || image.progress >= kNearlyDone);
        cancelled += kept ? 1 : 0;
    }
    EXPECT_GT(cancelled, 0);
}

/// A grey picture of 200 MB whose zeros the file system need not store.
std::string writeLargeTiff(const ScratchDirectory& directory) {
    testing_support::TiffPicture picture;
    picture.width = 20'000;
    picture.height = 10'000;
    const std::uint64_t size = std::uint64_t{picture.width} * picture.height;
    picture.extra = {testing_support::longs(279, {size})};
    const testing_support::Bytes bytes = picture.build();
    const std::string path = directory.narrow("large.tif");
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    std::filesystem::resize_file(path, 8 + size);
    return path;
}

// 50 ms on an idle machine; the bound leaves room for a busy one.
TEST(OperationThreads, ExitEndsTheReadOfALargeFileSoon) {
    constexpr std::int64_t kMostMilliseconds = 1000;
    const ScratchDirectory directory;
    const std::string path = writeLargeTiff(directory);
    int cancelled = 0;
    std::int64_t longest = 0;
    for (std::uint32_t reached = 10; reached < 800; reached += 100) {
        Rastrel image;
        RastrelReadThread thread;
        thread.Run(path.c_str(), &image);
        while (peek(image.progress) < reached && !idle(thread))
            Thread::TakeNext();
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(thread.ExitAsyncProceedLoop(false, false), 0U);
        const auto spent = std::chrono::steady_clock::now() - start;
        longest = std::max<std::int64_t>(longest, std::chrono::duration_cast<std::chrono::microseconds>(spent).count());
        EXPECT_EQ(image.busyCount, 0U);
        EXPECT_EQ(image.pixels.GetSize(), image.GetReady() ? 200'000'000U : 0U);
        cancelled += image.GetReady() ? 0 : 1;
    }
    EXPECT_GT(cancelled, 0);
    EXPECT_LT(longest, kMostMilliseconds * 1000);
    RecordProperty("longest_us", std::to_string(longest));
    RecordProperty("cancelled", cancelled);
}

} // namespace
