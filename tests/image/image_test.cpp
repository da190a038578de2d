/// Construction, copies, lifecycle and queries.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cwchar>
#include <memory>
#include <new>

#include "support/images.h"
#include "support/open_image.h"

namespace {

using testing_support::bytesOf;
using testing_support::fillWithNoise;

wchar_t* heapText(const wchar_t* text) {
    const std::size_t bytes = (std::wcslen(text) + 1) * sizeof(wchar_t);
    auto* copy = static_cast<wchar_t*>(std::malloc(bytes));
    std::memcpy(copy, text, bytes);
    return copy;
}

/// An image in which every copied field differs from its default.
void dress(OpenImage& image) {
    image.Create(5, 3, CM_RGB16);
    fillWithNoise(image, 21);
    image.transposed = 1;
    image.mirrorX = 1;
    image.mirrorY = 1;
    image.componentOrder = 0;
    image.preScaleX = 2;
    image.preScaleY = 3;
    image.postScaleX = 4;
    image.postScaleY = 5;
    image.bilinearX = 0.5;
    image.bilinearY = 0.25;
    image.angle = 0.125;
    image.offsetX = 7;
    image.offsetY = 8;
    image.TransformSetup();
    image.swapThreshold = 1234567;
    image.name = heapText(L"picture.tif");
    image.exif.dateTime = 99;
    image.exif.isoSpeed = 400;
    image.exif.xResolution = 300;
    std::strcpy(image.exif.description, "a description");
    std::strcpy(image.exif.software, "a program");
    image.exif.exifTags.append(0x9003, 2, 20);
    image.exif.gpsTags.append(1, 2, 2);
}

void expectSameOrientationAndTransform(const Rastrel& a, const Rastrel& b) {
    EXPECT_EQ(a.transposed, b.transposed);
    EXPECT_EQ(a.mirrorX, b.mirrorX);
    EXPECT_EQ(a.mirrorY, b.mirrorY);
    EXPECT_EQ(a.preScaleX, b.preScaleX);
    EXPECT_EQ(a.preScaleY, b.preScaleY);
    EXPECT_EQ(a.postScaleX, b.postScaleX);
    EXPECT_EQ(a.postScaleY, b.postScaleY);
    EXPECT_EQ(a.bilinearX, b.bilinearX);
    EXPECT_EQ(a.bilinearY, b.bilinearY);
    EXPECT_EQ(a.angle, b.angle);
    EXPECT_EQ(a.offsetX, b.offsetX);
    EXPECT_EQ(a.offsetY, b.offsetY);
}

void expectDefaultExif(const Rastrel::_EXIF& exif) {
    EXPECT_EQ(exif.dateTime, 0);
    EXPECT_EQ(exif.orientation | exif.isoSpeed | exif.exposureProgram | exif.meteringMode | exif.flash, 0);
    EXPECT_EQ(exif.xResolution, 72.0);
    EXPECT_EQ(exif.yResolution, 72.0);
    EXPECT_STREQ(exif.software, "");
    EXPECT_TRUE(exif.exifTags.empty());
    EXPECT_TRUE(exif.gpsTags.empty());
}

TEST(Image, ANewOneIsEmpty) {
    OpenImage image;
    EXPECT_EQ(image.GetWidth(), 0u);
    EXPECT_EQ(image.GetHeight(), 0u);
    EXPECT_EQ(image.GetColormodel(), 0);
    EXPECT_EQ(image.GetColordepth(), 0);
    EXPECT_FALSE(image.GetReady());
    EXPECT_EQ(image.GetName(), nullptr);
    EXPECT_TRUE(image.IsColored());
    EXPECT_EQ(image.transposed | image.mirrorX | image.mirrorY, 0);
    EXPECT_EQ(image.componentOrder, 1);
    EXPECT_EQ(image.preScaleX * image.preScaleY * image.postScaleX * image.postScaleY, 1.0);
    EXPECT_EQ(image.bilinearX + image.bilinearY + image.angle + image.offsetX + image.offsetY, 0.0);
    EXPECT_EQ(image.cancelRequested, 0);
    EXPECT_EQ(image.busyCount, 0u);
    EXPECT_EQ(image.progress, 0u);
    EXPECT_EQ(image.swapThreshold, 0xFFFFFFFFFFFFFFFFu);
    EXPECT_EQ(image.transformActive, 0);
    EXPECT_EQ(image.lineCache, nullptr);
    EXPECT_EQ(image.forwardMatrix[0], 1.0);
    EXPECT_EQ(image.inverseMatrix[4], 1.0);
    expectDefaultExif(image.exif);
    EXPECT_STREQ(image.exif.description, "");
}

TEST(Image, FactoryMakesAndDestroys) {
    Rastrel* image = new_Rastrel();
    ASSERT_NE(image, nullptr);
    EXPECT_FALSE(image->GetReady());
    delete_Rastrel(image);
    delete_Rastrel(nullptr);
}

TEST(Image, CreateGivesZeroedPixelsOfTheRightSize) {
    for (const unsigned char model : testing_support::kAllModels) {
        OpenImage image;
        image.componentOrder = 0;
        EXPECT_EQ(image.Create(9, 7, model), 0u);
        EXPECT_EQ(image.pixels.GetSize(), image.GetBitmapSize(9, 7, model));
        for (const unsigned char byte : bytesOf(image))
            ASSERT_EQ(byte, 0);
        EXPECT_EQ(image.componentOrder, 1);
        EXPECT_TRUE(image.GetReady());
        EXPECT_EQ(image.GetColormodel(), model);
    }
}

TEST(Image, CreateTakesAnyCodeAndAnySize) {
    OpenImage image;
    EXPECT_EQ(image.Create(4, 4, 15), 0u);
    EXPECT_EQ(image.pixels.GetSize(), 0u);
    EXPECT_EQ(image.colormodel, 15);
    EXPECT_FALSE(image.GetReady());
    EXPECT_EQ(image.Create(0xFFFFFFFFul, 0xFFFFFFFFul, CM_ARGBFP64), 0u); // a product beyond 64 bits
    EXPECT_EQ(image.pixels.GetSize(), 0u);
    EXPECT_FALSE(image.GetReady());
    EXPECT_EQ(image.Create(0xFFFFFFFFul, 0xFFFFFFFFul, CM_GREY8), 0u); // more than can be had
    EXPECT_EQ(image.pixels.GetSize(), 0u);
    EXPECT_EQ(image.Create(0, 5, CM_GREY8), 0u);
    EXPECT_FALSE(image.GetReady());
}

TEST(Image, SizesBeyond32BitsCountModuloForBlockAndFieldsAlike) {
    OpenImage image;
    image.Create(static_cast<unsigned long>(0x100000003ULL), 2, CM_GREY8); // 3 where long has 32 bits
    EXPECT_EQ(image.width, 3u);
    EXPECT_EQ(image.pixels.GetSize(), 6u);
}

TEST(Image, MembersCallOneAnotherThroughTheirSlots) {
    struct Spy : OpenImage {
        int empties = 0, reloads = 0, mirrors = 0, setups = 0;
        void Empty() override {
            ++empties;
            Rastrel::Empty();
        }
        unsigned __int64 Reload() override {
            ++reloads;
            return Rastrel::Reload();
        }
        bool mirror(unsigned char* line, unsigned long n, unsigned char model) override {
            ++mirrors;
            return Rastrel::mirror(line, n, model);
        }
        bool TransformSetup() override {
            ++setups;
            return Rastrel::TransformSetup();
        }
    };
    Spy spy;
    spy.Create(4, 2, CM_ARGB8);
    EXPECT_EQ(spy.empties, 1);
    pixel_argb8 row[4]{};
    spy.ReadHLine(row, 3, 0, 0, true);
    EXPECT_EQ(spy.mirrors, 1);
    spy.WriteHLine(row, 3, 0, 0, true);
    EXPECT_EQ(spy.mirrors, 3) << "turned round and back";
    OpenImage source;
    source.Create(1, 1, CM_GREY8);
    static_cast<Rastrel&>(spy) = static_cast<Rastrel*>(&source);
    EXPECT_EQ(spy.setups, 1);
    spy.pixels.Delete();
    spy.ReadHLine(row, 0, 0, 0, true);
    EXPECT_EQ(spy.reloads, 1);
}

TEST(Image, BlocksAboveTheThresholdAreSwapped) {
    OpenImage image;
    image.swapThreshold = 100;
    image.Create(10, 10, CM_GREY8);
    EXPECT_FALSE(image.pixels.IsSwapped());
    image.Create(101, 1, CM_GREY8);
    EXPECT_TRUE(image.pixels.IsSwapped());
    image.Create(10, 10, CM_GREY8);
    EXPECT_FALSE(image.pixels.IsSwapped());
}

TEST(Image, TransposedSwapsThePublicSizes) {
    OpenImage image;
    image.Create(3, 2, CM_ARGB8);
    EXPECT_EQ(image.GetWidth(), 3u);
    EXPECT_EQ(image.GetHeight(), 2u);
    image.transposed = 1;
    EXPECT_EQ(image.GetWidth(), 2u);
    EXPECT_EQ(image.GetHeight(), 3u);
    EXPECT_EQ(image.GetBitmapSize(image.width, image.height, image.colormodel), 24u);
    EXPECT_EQ(image.pixels.GetSize(), 24u);
}

TEST(Image, BitmapSizes) {
    OpenImage image;
    const std::pair<unsigned char, unsigned> perPixel[] = {{49, 1}, {65, 1},  {50, 2},  {66, 2},   {52, 4},
                                                           {97, 4}, {113, 4}, {56, 8},  {98, 8},   {114, 8},
                                                           {81, 3}, {82, 6},  {129, 6}, {100, 16}, {104, 32}};
    for (const auto& [model, bytes] : perPixel)
        EXPECT_EQ(image.GetBitmapSize(7, 5, model), 35u * bytes) << int(model);
    for (const unsigned char model : {CM_BW1, CM_BW1INV}) {
        EXPECT_EQ(image.GetBitmapSize(4, 1, model), 0u);
        EXPECT_EQ(image.GetBitmapSize(5, 1, model), 1u);
        EXPECT_EQ(image.GetBitmapSize(8, 1, model), 1u);
        EXPECT_EQ(image.GetBitmapSize(12, 1, model), 1u);
        EXPECT_EQ(image.GetBitmapSize(14, 1, model), 2u);
    }
    for (const int model : {0, 15, 17, 51, 99, 115, 128, 130, 255})
        EXPECT_EQ(image.GetBitmapSize(1, 1, static_cast<unsigned char>(model)), 0u) << model;
    EXPECT_EQ(image.GetBitmapSize(0xFFFFFFFFul, 0xFFFFFFFFul, CM_GREY8), 0xFFFFFFFE00000001u);
    EXPECT_EQ(image.GetBitmapSize(0xFFFFFFFFul, 0xFFFFFFFFul, CM_GREY16), 0u);
}

TEST(Image, DepthsAndColour) {
    const std::pair<unsigned char, unsigned> depths[] = {
        {16, 1},  {32, 1},  {49, 8},  {50, 16},   {52, 32},   {56, 64},  {65, 8},   {66, 16}, {81, 24},
        {82, 48}, {97, 32}, {98, 64}, {100, 128}, {104, 256}, {113, 32}, {114, 64}, {129, 0}, {99, 0}};
    OpenImage image;
    for (const auto& [model, depth] : depths) {
        image.Create(1, 1, model);
        EXPECT_EQ(image.GetColordepth(), depth) << int(model);
        const bool grey = model == 16 || model == 32 || model == 49 || model == 50 || model == 52 || model == 56;
        EXPECT_EQ(image.IsColored(), !grey) << int(model);
    }
}

TEST(Image, IsColoredAsksTheVirtualColourModel) {
    struct Grey : Rastrel {
        unsigned char GetColormodel() override { return CM_GREY8; }
    };
    Grey image;
    image.Create(1, 1, CM_ARGB8);
    EXPECT_FALSE(image.IsColored());
}

TEST(Image, EmptyKeepsFlagsTransformThresholdTableAndDescription) {
    OpenImage image;
    dress(image);
    image.lookUpTable.amount = 0.75;
    image.EnableCache(true);
    image.Empty();
    EXPECT_EQ(image.width + image.height + image.colormodel, 0u);
    EXPECT_EQ(image.pixels.GetSize(), 0u);
    EXPECT_EQ(image.name, nullptr);
    EXPECT_EQ(image.lineCache, nullptr);
    expectDefaultExif(image.exif);
    EXPECT_STREQ(image.exif.description, "a description");
    EXPECT_EQ(image.transposed & image.mirrorX & image.mirrorY, 1);
    EXPECT_EQ(image.componentOrder, 0);
    EXPECT_EQ(image.preScaleX, 2.0);
    EXPECT_EQ(image.offsetY, 8.0);
    EXPECT_EQ(image.swapThreshold, 1234567u);
    EXPECT_EQ(image.lookUpTable.amount, 0.75);
}

TEST(Image, DeepCopyConstructor) {
    OpenImage source;
    dress(source);
    source.lookUpTable.amount = 0.75;
    source.busyCount = 3;
    source.progress = 5;
    source.cancelRequested = 1;
    source.EnableCache(true);
    pixel_argb8 row[5];
    source.ReadHLine(row, 0, 4, 0, true);
    auto copy = std::make_unique<OpenImage>(static_cast<Rastrel*>(&source));
    EXPECT_EQ(copy->width, 5u);
    EXPECT_EQ(copy->height, 3u);
    EXPECT_EQ(copy->colormodel, CM_RGB16);
    EXPECT_EQ(copy->componentOrder, 0);
    expectSameOrientationAndTransform(*copy, source);
    EXPECT_EQ(copy->transformActive, 1);
    EXPECT_EQ(std::memcmp(copy->forwardMatrix, source.forwardMatrix, sizeof source.forwardMatrix), 0);
    EXPECT_EQ(bytesOf(*copy), bytesOf(source));
    EXPECT_STREQ(copy->name, L"picture.tif");
    EXPECT_NE(copy->name, source.name);
    EXPECT_EQ(copy->exif.dateTime, 99);
    EXPECT_EQ(copy->exif.exifTags.size(), 1u);
    EXPECT_EQ(copy->lookUpTable.amount, 0.0) << "the table is not copied";
    EXPECT_EQ(copy->swapThreshold, 0xFFFFFFFFFFFFFFFFu);
    EXPECT_EQ(copy->cancelRequested + copy->busyCount + copy->progress, 0u);
    ASSERT_NE(copy->lineCache, nullptr);
    EXPECT_NE(copy->lineCache, source.lineCache);
    EXPECT_EQ(copy->lineCache->buffer[0], nullptr) << "cached lines are not copied";
    copy->pixels.GetData()[0] ^= 1;
    EXPECT_NE(bytesOf(*copy), bytesOf(source)) << "the copies are independent";
}

TEST(Image, DeepCopyOfAnImageWithoutCacheHasNone) {
    OpenImage source;
    OpenImage copy(static_cast<Rastrel*>(&source));
    EXPECT_EQ(copy.lineCache, nullptr);
}

TEST(Image, CopyByReferenceSharesNameAndCache) {
    OpenImage source;
    dress(source);
    source.EnableCache(true);
    // Shares what its source owns, so it is never destroyed: it lives in storage of its own.
    alignas(OpenImage) static unsigned char storage[sizeof(OpenImage)];
    auto* copy = new (storage) OpenImage(static_cast<Rastrel&>(source));
    EXPECT_EQ(copy->name, source.name);
    EXPECT_EQ(copy->lineCache, source.lineCache);
    EXPECT_EQ(copy->swapThreshold, 1234567u);
    EXPECT_EQ(copy->componentOrder, 0);
    expectSameOrientationAndTransform(*copy, source);
    EXPECT_EQ(bytesOf(*copy), bytesOf(source));
    // What it does own is given back by hand.
    copy->name = nullptr;
    copy->lineCache = nullptr;
    copy->~OpenImage();
}

TEST(Image, AssignmentKeepsOrderAndThreshold) {
    OpenImage source;
    dress(source);
    source.lookUpTable.amount = 0.75;
    OpenImage target;
    target.Create(2, 2, CM_GREY8);
    target.EnableCache(true);
    target.componentOrder = 1;
    EXPECT_EQ(&(target = static_cast<Rastrel*>(&source)), &target);
    EXPECT_EQ(target.width, 5u);
    EXPECT_EQ(target.height, 3u);
    EXPECT_EQ(target.colormodel, CM_RGB16);
    EXPECT_EQ(target.componentOrder, 1);
    EXPECT_EQ(target.swapThreshold, 0xFFFFFFFFFFFFFFFFu);
    expectSameOrientationAndTransform(target, source);
    EXPECT_EQ(std::memcmp(target.inverseMatrix, source.inverseMatrix, sizeof source.inverseMatrix), 0);
    EXPECT_EQ(target.lookUpTable.amount, 0.75);
    EXPECT_STREQ(target.name, L"picture.tif");
    EXPECT_NE(target.name, source.name);
    EXPECT_EQ(target.exif.isoSpeed, 400);
    EXPECT_EQ(target.exif.gpsTags.size(), 1u);
    EXPECT_EQ(target.lineCache, nullptr);
    EXPECT_EQ(bytesOf(target), bytesOf(source));
    target.pixels.GetData()[3] ^= 1;
    EXPECT_NE(bytesOf(target), bytesOf(source));
}

TEST(Image, AssignmentByReferenceCallsTheOtherForm) {
    struct Spy : OpenImage {
        const Rastrel& operator=(Rastrel* source) override {
            ++calls;
            return Rastrel::operator=(source);
        }
        int calls = 0;
    };
    OpenImage source;
    dress(source);
    Spy target;
    static_cast<Rastrel&>(target) = static_cast<Rastrel&>(source);
    EXPECT_EQ(target.calls, 1);
    EXPECT_EQ(bytesOf(target), bytesOf(source));
}

TEST(Image, AssignmentToItselfAndOfNothingChangesNothing) {
    OpenImage image;
    dress(image);
    const auto before = bytesOf(image);
    image = static_cast<Rastrel*>(&image);
    image = static_cast<Rastrel*>(nullptr);
    EXPECT_EQ(bytesOf(image), before);
    EXPECT_STREQ(image.name, L"picture.tif");
}

TEST(Image, PointerDuplicateCopiesOrderThresholdAndMatricesButNotTheMetadata) {
    OpenImage source;
    dress(source);
    source.forwardMatrix[0] = 77; // shows that the matrices are not computed anew
    OpenImage target;
    target.busyCount = 2;
    target.progress = 3;
    target.cancelRequested = 1;
    target.exif.isoSpeed = 5;
    EXPECT_EQ(source.PointerDuplicate(&target), 0u);
    EXPECT_EQ(target.busyCount + target.progress + target.cancelRequested, 0u);
    EXPECT_EQ(target.componentOrder, 0);
    EXPECT_EQ(target.swapThreshold, 1234567u);
    expectSameOrientationAndTransform(target, source);
    EXPECT_EQ(target.transformActive, 1);
    EXPECT_EQ(target.forwardMatrix[0], 77);
    EXPECT_EQ(target.width, 5u);
    EXPECT_EQ(target.colormodel, CM_RGB16);
    EXPECT_EQ(bytesOf(target), bytesOf(source));
    EXPECT_STREQ(target.name, L"picture.tif");
    EXPECT_NE(target.name, source.name);
    expectDefaultExif(target.exif);
    EXPECT_EQ(source.PointerDuplicate(nullptr), 0u);
    OpenImage nameless;
    EXPECT_EQ(nameless.PointerDuplicate(&target), 0u);
    EXPECT_EQ(target.name, nullptr);
}

TEST(Image, UnloadNeedsAName) {
    OpenImage image;
    image.Create(4, 4, CM_GREY8);
    EXPECT_EQ(image.Unload(), 0u);
    EXPECT_EQ(image.pixels.GetSize(), 16u);
    image.name = heapText(L"somewhere");
    EXPECT_EQ(image.Unload(), 0u);
    EXPECT_EQ(image.pixels.GetSize(), 0u);
    EXPECT_EQ(image.width, 4u);
    EXPECT_TRUE(image.GetReady());
}

TEST(Image, ReadinessNeedsSizeStorageAndPixelsOrName) {
    OpenImage image;
    image.Create(4, 4, CM_GREY8);
    EXPECT_TRUE(image.GetReady());
    image.width = 0;
    EXPECT_FALSE(image.GetReady());
    image.width = 4;
    image.height = 0;
    EXPECT_FALSE(image.GetReady());
    image.height = 4;
    image.colormodel = 99;
    EXPECT_FALSE(image.GetReady());
    image.colormodel = CM_GREY8;
    image.pixels.Delete();
    EXPECT_FALSE(image.GetReady());
}

// --- scratch buffers ---

TEST(ScratchPool, ReusesBuffersOfExactlyTheSameSize) {
    OpenImage::ScratchBufferPool pool;
    void* const ten = pool.get(10);
    void* const twenty = pool.get(20);
    ASSERT_NE(ten, nullptr);
    EXPECT_NE(ten, twenty);
    EXPECT_NE(pool.get(10), ten) << "still in use";
    pool.release(ten);
    EXPECT_NE(pool.get(11), ten);
    EXPECT_EQ(pool.get(10), ten);
    pool.release(twenty);
    EXPECT_EQ(pool.get(20), twenty);
}

TEST(ScratchPool, IgnoresForeignBuffers) {
    OpenImage::ScratchBufferPool pool;
    int foreign = 0;
    pool.release(&foreign);
    pool.release(nullptr);
    void* const one = pool.get(4);
    pool.release(one);
    pool.release(one);
    EXPECT_EQ(pool.get(4), one);
    EXPECT_NE(pool.get(4), one) << "a buffer given back twice is handed out once";
}

TEST(ScratchPool, RefusesWhatCannotBeHad) {
    OpenImage::ScratchBufferPool pool;
    void* const nothing = pool.get(0);
    EXPECT_NE(nothing, nullptr);
    pool.release(nothing);
    EXPECT_EQ(pool.get(0), nothing);
}

} // namespace
