/// Reading, pre-reading and writing by path and stream: order of trial, codes, names, busy counter.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/images.h"
#include "support/open_image.h"
#include "support/scratch_file.h"

namespace {

using testing_support::bytesOf;
using testing_support::fillWithNoise;
using testing_support::ScratchFile;
using testing_support::ScratchStream;

constexpr unsigned __int64 kNotOpened = 0x1000000001000002ULL;
constexpr unsigned __int64 kNotAccepted = 0x1000000001000004ULL;
constexpr unsigned __int64 kWriteFailed = 0xFFFFFFFFFFFFFFFFULL;

/// Records the codec calls; the reader named `accepts` takes the file, the one named `throws` throws.
struct Chain : OpenImage {
    std::vector<std::string> calls;
    std::string accepts, throws;
    bool writerResult = true;
    std::uint32_t busyInside = 0;

    bool reader(const char* codec) {
        calls.push_back(codec);
        busyInside = busyCount;
        if (throws == codec) {
            ++busyCount; // as a codec that is left in the middle
            width = 3;
            pixels.Create(10, true);
            throw std::runtime_error("damaged");
        }
        if (accepts != codec) {
            height = 9; // a half-read head must not reach the next reader
            return false;
        }
        EXPECT_EQ(width + height + colormodel, 0u) << "the reader before left something behind";
        width = height = 1;
        colormodel = CM_GREY8;
        return true;
    }
    bool ReadTEMP(FILE*) override { return reader("TEMP"); }
    bool ReadPSB(FILE*) override { return reader("PSB"); }
    bool ReadEXR(FILE*) override { return reader("EXR"); }
    bool ReadORF(FILE*) override { return reader("ORF"); }
    bool ReadTIFF(FILE*) override { return reader("TIFF"); }
    bool ReadJPEG(FILE*) override { return reader("JPEG"); }
    bool PreReadTEMP(FILE*) override { return reader("PreTEMP"); }
    bool PreReadPSB(FILE*) override { return reader("PrePSB"); }
    bool PreReadEXR(FILE*) override { return reader("PreEXR"); }
    bool PreReadORF(FILE*) override { return reader("PreORF"); }
    bool PreReadTIFF(FILE*) override { return reader("PreTIFF"); }
    bool PreReadJPEG(FILE*) override { return reader("PreJPEG"); }
    bool ReadRectTIFF(FILE*, unsigned long l, unsigned long t, unsigned long r, unsigned long b) override {
        rect = {l, t, r, b};
        return reader("RectTIFF");
    }
    bool ReadRectJPEG(FILE*, unsigned long l, unsigned long t, unsigned long r, unsigned long b) override {
        rect = {l, t, r, b};
        return reader("RectJPEG");
    }
    bool writer(const char* codec) {
        calls.push_back(codec);
        if (throws == codec) throw std::bad_alloc();
        return writerResult;
    }
    bool WriteTIFF(FILE*) override { return writer("TIFF"); }
    bool WriteJPEG(FILE*) override { return writer("JPEG"); }
    bool WriteEXR(FILE*) override { return writer("EXR"); }
    bool WritePSB(FILE*) override { return writer("PSB"); }
    bool WriteTEMP(FILE*) override { return writer("TEMP"); }
    std::vector<unsigned long> rect;
};

using Calls = std::vector<std::string>;
const Calls kAllReaders{"TEMP", "PSB", "EXR", "ORF", "TIFF", "JPEG"};
const Calls kAllHeaderReaders{"PreTEMP", "PrePSB", "PreEXR", "PreTIFF", "PreJPEG"};

TEST(Dispatch, ReadersAreTriedInOrderUntilOneAccepts) {
    for (std::size_t i = 0; i <= kAllReaders.size(); ++i) {
        Chain image;
        ScratchStream stream;
        if (i < kAllReaders.size()) image.accepts = kAllReaders[i];
        EXPECT_EQ(image.Read(stream), i < kAllReaders.size() ? 0u : kNotAccepted);
        EXPECT_EQ(image.calls,
                  Calls(kAllReaders.begin(), kAllReaders.begin() + static_cast<long>(std::min<std::size_t>(i + 1, 6))));
        EXPECT_EQ(image.busyInside, 1u);
        EXPECT_EQ(image.busyCount, 0u);
        if (i == kAllReaders.size()) {
            EXPECT_EQ(image.width + image.height + image.pixels.GetSize(), 0u);
        }
        EXPECT_EQ(image.name, nullptr);
    }
}

TEST(Dispatch, HeaderReadersLeaveOutTheRawFormat) {
    const ScratchFile file;
    for (std::size_t i = 0; i <= kAllHeaderReaders.size(); ++i) {
        Chain image;
        if (i < kAllHeaderReaders.size()) image.accepts = kAllHeaderReaders[i];
        EXPECT_EQ(image.PreRead(file.path().c_str()), i < kAllHeaderReaders.size() ? 0u : kNotAccepted);
        EXPECT_EQ(image.calls, Calls(kAllHeaderReaders.begin(),
                                     kAllHeaderReaders.begin() + static_cast<long>(std::min<std::size_t>(i + 1, 5))));
        EXPECT_EQ(image.busyCount, 0u);
        EXPECT_EQ(image.name != nullptr, i < kAllHeaderReaders.size());
    }
    Chain wide;
    wide.accepts = "PreJPEG";
    EXPECT_EQ(wide.PreRead(file.widePath().c_str()), 0u);
    EXPECT_EQ(wide.calls, kAllHeaderReaders);
}

TEST(Dispatch, RectanglesGoToTwoReaders) {
    const ScratchFile file;
    Chain image;
    EXPECT_EQ(image.Read(file.path().c_str(), 1ul, 2ul, 3ul, 4ul), kNotAccepted);
    EXPECT_EQ(image.calls, (Calls{"RectTIFF", "RectJPEG"}));
    EXPECT_EQ(image.rect, (std::vector<unsigned long>{1, 2, 3, 4}));
    EXPECT_EQ(image.busyCount, 0u);
    EXPECT_EQ(image.name, nullptr);
    image.accepts = "RectJPEG";
    EXPECT_EQ(image.Read(file.widePath().c_str(), 1ul, 2ul, 3ul, 4ul), 0u);
    EXPECT_NE(image.name, nullptr);
    ScratchStream stream;
    image.accepts = "RectTIFF";
    image.calls.clear();
    EXPECT_EQ(image.Read(stream, 0ul, 0ul, 1ul, 1ul), 0u);
    EXPECT_EQ(image.calls, Calls{"RectTIFF"});
    EXPECT_EQ(image.name, nullptr);
}

TEST(Dispatch, WhatAReaderThrowsCountsAsDeclined) {
    for (const std::string& thrower : kAllReaders) {
        Chain image;
        image.busyCount = 4;
        image.throws = thrower;
        ScratchStream stream;
        EXPECT_EQ(image.Read(stream), kNotAccepted);
        EXPECT_EQ(image.calls, kAllReaders);
        EXPECT_EQ(image.busyCount, 4u);
        EXPECT_EQ(image.pixels.GetSize(), 0u);
        EXPECT_EQ(image.width, 0u);
    }
}

TEST(Dispatch, WhatAWriterThrowsIsAFailedWrite) {
    const ScratchFile file;
    Chain image;
    image.throws = "TIFF";
    EXPECT_EQ(image.Write(file.path().c_str(), "tif"), kWriteFailed);
    EXPECT_EQ(image.Write(file.widePath().c_str(), L"tif"), kWriteFailed);
    EXPECT_EQ(image.busyCount, 0u);
    EXPECT_EQ(image.name, nullptr);
}

TEST(Dispatch, TheFormatStringSelectsTheWriter) {
    const std::pair<const char*, const char*> cases[] = {
        {"tif", "TIFF"}, {"tiff", "TIFF"}, {"jpg", "JPEG"}, {"jpgfoo", "JPEG"},  {"jpeg", "TIFF"}, {"JPG", "TIFF"},
        {"exr", "EXR"},  {"psb", "PSB"},   {"tmp", "TEMP"}, {"tmp.bak", "TEMP"}, {"xyz", "TIFF"},  {"png", "TIFF"}};
    const ScratchFile file;
    for (const auto& [format, codec] : cases) {
        Chain image;
        image.pixels.Create(1, true);
        EXPECT_EQ(image.Write(file.path().c_str(), format), 0u);
        EXPECT_EQ(image.calls, Calls{codec}) << format;
        const std::wstring wide(format, format + std::string(format).size());
        EXPECT_EQ(image.Write(file.widePath().c_str(), wide.c_str()), 0u);
        EXPECT_EQ(image.calls.back(), codec) << format;
        EXPECT_STREQ(image.name, file.widePath().c_str());
    }
}

TEST(Dispatch, TargaWritesAnEmptyFileAndSucceeds) {
    const ScratchFile file(std::vector<unsigned char>{1, 2, 3});
    Chain image;
    EXPECT_EQ(image.Write(file.path().c_str(), "tga"), 0u);
    EXPECT_TRUE(image.calls.empty());
    EXPECT_TRUE(file.bytes().empty());
    EXPECT_NE(image.name, nullptr);
}

TEST(Dispatch, AFailedWriterKeepsTheWideNameAndDropsTheNarrowOne) {
    const ScratchFile first, second;
    Chain image;
    EXPECT_EQ(image.Write(first.widePath().c_str(), L"tif"), 0u);
    image.writerResult = false;
    image.accepts = "TIFF";
    image.pixels.Create(1, true);
    EXPECT_EQ(image.Write(second.widePath().c_str(), L"tif"), kWriteFailed);
    EXPECT_STREQ(image.name, first.widePath().c_str());
    EXPECT_EQ(image.Write(second.path().c_str(), "tif"), kWriteFailed);
    EXPECT_EQ(image.name, nullptr);
    EXPECT_EQ(image.busyCount, 0u);
}

TEST(Dispatch, PathsThatCannotBeOpenedLeaveTheImageAlone) {
    OpenImage image;
    image.Create(3, 3, CM_GREY8);
    fillWithNoise(image, 3);
    const auto before = bytesOf(image);
    const std::string nowhere = ScratchFile().path() + "/nowhere/picture";
    const std::wstring wide(nowhere.begin(), nowhere.end());
    EXPECT_EQ(image.Read(nowhere.c_str()), kNotOpened);
    EXPECT_EQ(image.Read(wide.c_str()), kNotOpened);
    EXPECT_EQ(image.Read(nowhere.c_str(), 0ul, 0ul, 1ul, 1ul), kNotOpened);
    EXPECT_EQ(image.Read(wide.c_str(), 0ul, 0ul, 1ul, 1ul), kNotOpened);
    EXPECT_EQ(image.PreRead(nowhere.c_str()), kNotOpened);
    EXPECT_EQ(image.PreRead(wide.c_str()), kNotOpened);
    EXPECT_EQ(image.Write(nowhere.c_str(), "tif"), kNotOpened);
    EXPECT_EQ(image.Write(wide.c_str(), L"tif"), kNotOpened);
    const char* const none = nullptr;
    const wchar_t* const wideNone = nullptr;
    EXPECT_EQ(image.Read(none), kNotOpened);
    EXPECT_EQ(image.Read(wideNone), kNotOpened);
    EXPECT_EQ(image.Read(static_cast<FILE*>(nullptr)), kNotOpened);
    EXPECT_EQ(bytesOf(image), before);
    EXPECT_EQ(image.busyCount, 0u);
}

TEST(Dispatch, NamesAreRememberedAsTheCallerWroteThem) {
    OpenImage image;
    image.Create(4, 4, CM_RGB8);
    const ScratchFile file(".tmp");
    std::string path = file.path();
    std::replace(path.begin(), path.end(), '\\', '/');
    ASSERT_EQ(image.Write(path.c_str(), "tmp"), 0u);
    OpenImage read;
    EXPECT_EQ(read.Read(path.c_str()), 0u);
    EXPECT_EQ(std::wstring(read.GetName()), std::wstring(path.begin(), path.end()));
    const std::wstring wide(path.begin(), path.end());
    EXPECT_EQ(read.Read(wide.c_str()), 0u);
    EXPECT_EQ(std::wstring(read.GetName()), wide);
    std::string turned = path;
    std::replace(turned.begin(), turned.end(), '/', '\\');
    EXPECT_EQ(read.Read(turned.c_str()), 0u) << "both separators separate";
}

TEST(Dispatch, AnImageCanReadItsOwnName) {
    OpenImage image;
    image.Create(4, 4, CM_GREY8);
    const ScratchFile file(".tmp");
    ASSERT_EQ(image.Write(file.widePath().c_str(), L"tmp"), 0u);
    EXPECT_EQ(image.Read(image.GetName()), 0u);
    EXPECT_EQ(image.PreRead(image.GetName()), 0u);
    EXPECT_EQ(image.Reload(), 0u);
    EXPECT_EQ(image.Write(image.GetName(), L"tmp"), 0u);
    EXPECT_STREQ(image.GetName(), file.widePath().c_str());
}

TEST(Dispatch, WidePathsReachEveryName) {
    OpenImage image;
    image.Create(5, 3, CM_RGB8);
    fillWithNoise(image, 11);
    const std::filesystem::path folder = std::filesystem::temp_directory_path();
    const std::wstring path = folder.wstring() + L"/rastrel-\u5199\u771f-\U0001F5BC.tmp";
    ASSERT_EQ(image.Write(path.c_str(), L"tmp"), 0u);
    OpenImage read;
    EXPECT_EQ(read.Read(path.c_str()), 0u);
    EXPECT_EQ(bytesOf(read), bytesOf(image));
    EXPECT_EQ(read.Unload(), 0u);
    EXPECT_EQ(read.Reload(), 0u);
    EXPECT_EQ(bytesOf(read), bytesOf(image));
    std::filesystem::remove(folder / std::filesystem::path(u8"rastrel-\u5199\u771f-\U0001F5BC.tmp"));
}

/// Tries to open its file for writing while a reader has it.
struct Intruder : Chain {
    std::string target;
    unsigned __int64 attempt = 0;
    bool intrude(const char* codec) {
        attempt = Chain().Write(target.c_str(), "tga");
        return reader(codec);
    }
    bool ReadTEMP(FILE*) override { return intrude("TEMP"); }
    bool PreReadTEMP(FILE*) override { return intrude("PreTEMP"); }
    bool ReadRectTIFF(FILE*, unsigned long, unsigned long, unsigned long, unsigned long) override {
        return intrude("RectTIFF");
    }
};

TEST(Dispatch, OnlyWholeReadsByPathDenyWriters) {
    const std::vector<unsigned char> content(100, 7);
    const ScratchFile file(content);
    Intruder image;
    image.target = file.path();
    image.accepts = "TEMP";
    EXPECT_EQ(image.Read(file.path().c_str()), 0u);
    EXPECT_EQ(image.attempt, kNotOpened);
    image.attempt = 0;
    EXPECT_EQ(image.Read(file.widePath().c_str()), 0u);
    EXPECT_EQ(image.attempt, kNotOpened);
    EXPECT_EQ(file.bytes(), content);

    image.accepts = "PreTEMP";
    EXPECT_EQ(image.PreRead(file.path().c_str()), 0u);
    EXPECT_EQ(image.attempt, 0u);
    image.accepts = "RectTIFF";
    EXPECT_EQ(image.Read(file.path().c_str(), 0, 0, 1, 1), 0u);
    EXPECT_EQ(image.attempt, 0u);
    EXPECT_TRUE(file.bytes().empty());
}

/// Stands in for the operations that others of the dispatch are made of.
struct Replaced : OpenImage {
    using OpenImage::Read;
    int streams = 0, rectangles = 0, paths = 0;
    unsigned __int64 Read(FILE*) override {
        ++streams;
        return 42;
    }
    unsigned __int64 Read(FILE*, unsigned long, unsigned long, unsigned long, unsigned long) override {
        ++rectangles;
        return 43;
    }
    unsigned __int64 Read(const wchar_t*) override {
        ++paths;
        return 44;
    }
};

TEST(Dispatch, OperationsReachOneAnotherThroughTheirSlots) {
    const ScratchFile file;
    Replaced image;
    EXPECT_EQ(image.Read(file.path().c_str()), 42u);
    EXPECT_EQ(image.Rastrel::Read(file.widePath().c_str()), 42u);
    EXPECT_EQ(image.streams, 2);
    EXPECT_EQ(image.Read(file.path().c_str(), 0, 0, 1, 1), 43u);
    EXPECT_EQ(image.Read(file.widePath().c_str(), 0, 0, 1, 1), 43u);
    EXPECT_EQ(image.rectangles, 2);
    EXPECT_EQ(image.name, nullptr);
    image.name = _wcsdup(L"some file");
    EXPECT_EQ(image.Reload(), 44u);
    EXPECT_EQ(image.paths, 1);
    image.Create(1, 1, CM_GREY8);
    EXPECT_EQ(image.Reload(), 0u) << "there are pixels";
    EXPECT_EQ(image.paths, 1);
}

TEST(Dispatch, HeaderReadersOfOtherFormatsFollowAbrokenTemporaryHeader) {
    std::vector<unsigned char> bytes{'R', 'L', 'T', 'E', 'M', 'P', 0, 0, 27, 0, 0, 0};
    bytes.resize(40);
    const ScratchStream stream(bytes);
    OpenImage image;
    EXPECT_FALSE(image.PreReadTEMP(stream));
    EXPECT_EQ(std::ftell(stream), 28);
    const ScratchFile file(bytes);
    struct : Chain {
        bool PreReadTEMP(FILE* file) override {
            calls.push_back("PreTEMP");
            return OpenImage::PreReadTEMP(file);
        }
    } others;
    others.accepts = "PreJPEG";
    EXPECT_EQ(others.PreRead(file.path().c_str()), 0u);
    EXPECT_EQ(others.calls, kAllHeaderReaders);
}

TEST(Dispatch, ACodecCalledDirectlyThrowsNothing) {
    struct Throwing : OpenImage {
        unsigned __int64 GetBitmapSize(unsigned long, unsigned long, unsigned char) override { throw std::bad_alloc(); }
    };
    OpenImage source;
    source.Create(2, 2, CM_GREY8);
    ScratchStream stream;
    ASSERT_TRUE(source.WriteTEMP(stream));
    std::rewind(stream);
    Throwing image;
    EXPECT_NO_THROW(EXPECT_FALSE(image.ReadTEMP(stream)));
    EXPECT_EQ(image.busyCount, 0u);
}

// --- unloading and reloading ---

struct Unloaded : testing::Test {
    void SetUp() override {
        source.Create(6, 4, CM_RGB16);
        fillWithNoise(source, 12);
        ASSERT_EQ(source.Write(file.path().c_str(), "tmp"), 0u);
        ASSERT_EQ(image.PreRead(file.path().c_str()), 0u);
        ASSERT_EQ(image.pixels.GetSize(), 0u);
        EXPECT_EQ(image.width, 6u);
    }
    ScratchFile file{std::string(".tmp")};
    OpenImage source, image;
};

TEST_F(Unloaded, EveryFirstTouchLoads) {
    pixel_argb16 pixel{}, row[6];
    const auto loads = [&](auto touch) {
        image.Unload();
        EXPECT_EQ(image.pixels.GetSize(), 0u);
        EXPECT_TRUE(touch());
        return image.pixels.GetSize() == source.pixels.GetSize();
    };
    EXPECT_TRUE(loads([&] { return image.ReadHLine(row, 0, 5, 1, true); }));
    EXPECT_TRUE(loads([&] { return image.ReadVLine(row, 0, 3, 1, true); }));
    EXPECT_TRUE(loads([&] { return image.ReadPixel(pixel, 0, 1, true); }));
    EXPECT_TRUE(loads([&] { return image.WriteHLine(row, 0, 5, 1, true); }));
    EXPECT_TRUE(loads([&] { return image.WriteVLine(row, 0, 3, 1, true); }));
    EXPECT_TRUE(loads([&] { return image.WritePixel(pixel, 0, 1, true); }));
}

TEST_F(Unloaded, AFailedReloadIsNotReportedByTheLineLayer) {
    std::filesystem::remove(file.path());
    pixel_argb8 row[6];
    std::memset(row, 0xEE, sizeof row);
    EXPECT_TRUE(image.ReadHLine(row, 0, 5, 1, true));
    for (const pixel_argb8& pixel : row)
        EXPECT_EQ(pixel.r | pixel.g | pixel.b, 0) << "what the empty block does not hold is zero";
    EXPECT_EQ(image.width, 6u);
    EXPECT_EQ(image.Reload(), kNotOpened);
    EXPECT_EQ(image.width, 6u) << "a file that cannot be opened leaves the image as it is";
}

TEST_F(Unloaded, AReloadThatBringsASmallerImageStaysInBounds) {
    OpenImage small;
    small.Create(1, 2, CM_GREY8);
    small.pixels.GetData()[1] = 50;
    ASSERT_EQ(small.Write(file.path().c_str(), "tmp"), 0u);
    unsigned char row[9] = {};
    EXPECT_TRUE(image.ReadHLine(row, -1, 5, 3));
    EXPECT_EQ(row[0], 50);
    EXPECT_EQ(row[6], 50);
    image.Unload();
    EXPECT_FALSE([&] {
        image.width = 6;
        image.height = 4;
        return image.WriteHLine(row, 0, 5, 3);
    }()) << "row 3 is outside what came back";
}

TEST_F(Unloaded, AWideWriteOverItsOwnFileLoadsFirst) {
    EXPECT_EQ(image.Write(file.widePath().c_str(), L"tmp"), 0u);
    OpenImage again;
    EXPECT_EQ(again.Read(file.path().c_str()), 0u);
    EXPECT_EQ(bytesOf(again), bytesOf(source));
}

TEST_F(Unloaded, AWideWriteToItsOwnNameLoadsFirst) {
    EXPECT_EQ(image.Write(image.GetName(), L"tmp"), 0u);
    EXPECT_EQ(bytesOf(image), bytesOf(source));
    EXPECT_STREQ(image.GetName(), file.widePath().c_str());
}

TEST_F(Unloaded, EveryPublicFirstTouchLoads) {
    pixel_argb16 row[6]{};
    const auto loads = [&](auto touch) {
        image.Unload();
        touch();
        return image.pixels.GetSize() == source.pixels.GetSize();
    };
    EXPECT_TRUE(loads([&] { image.GetHLine(row, 0, 5, 1); }));
    EXPECT_TRUE(loads([&] { image.SetVLine(row, 0, 3, 1); }));
    EXPECT_TRUE(loads([&] { image.GetPixelARGB16(0L, 1L); }));
    EXPECT_TRUE(loads([&] { image.SetPixel(0, 1, row[0]); }));
}

TEST_F(Unloaded, AFailedOpenKeepsTheNameButInTheNarrowWrite) {
    const std::string nowhere = file.path() + "/nowhere/picture";
    const std::wstring wide(nowhere.begin(), nowhere.end());
    EXPECT_EQ(image.Write(wide.c_str(), L"tif"), kNotOpened);
    EXPECT_NE(image.name, nullptr);
    EXPECT_EQ(image.Read(nowhere.c_str()), kNotOpened);
    EXPECT_NE(image.name, nullptr);
    EXPECT_EQ(image.Write(nowhere.c_str(), "tif"), kNotOpened);
    EXPECT_EQ(image.name, nullptr);
}

TEST_F(Unloaded, AWideWriteThatCannotLoadLeavesTheTarget) {
    const ScratchFile target(std::vector<unsigned char>{1, 2, 3});
    std::filesystem::remove(file.path());
    EXPECT_EQ(image.Write(target.widePath().c_str(), L"tmp"), kWriteFailed);
    EXPECT_EQ(target.bytes().size(), 3u);
}

TEST(Reload, WithoutANameEmptiesAnImageWithoutPixels) {
    OpenImage image;
    image.Create(3, 3, CM_GREY8);
    EXPECT_EQ(image.Reload(), 0u);
    EXPECT_EQ(image.pixels.GetSize(), 9u);
    image.pixels.Delete();
    EXPECT_EQ(image.Reload(), kNotOpened);
    EXPECT_EQ(image.width, 0u);
}

// --- formats and their names ---

TEST(FormatNames, IdentifiersAndDescriptions) {
    const std::tuple<const char*, int, const char*> cases[] = {{"tif", 16, "TIFF 5.0"},
                                                               {"jpg", 32, "JPEG"},
                                                               {"tga", 48, "Targa Image"},
                                                               {"exr", 64, "OpenEXR"},
                                                               {"psb", 80, "Photoshop Big Picture"},
                                                               {"tmp", 96, "TORVEN Temporary Image File"},
                                                               {"png", 16, "TIFF 5.0"},
                                                               {"JPG", 16, "TIFF 5.0"},
                                                               {"jpeg", 16, "TIFF 5.0"},
                                                               {"jpgfoo", 32, "JPEG"},
                                                               {"bmp", 16, "TIFF 5.0"},
                                                               {"", 16, "TIFF 5.0"},
                                                               {"jp", 16, "TIFF 5.0"}};
    for (const auto& [format, id, text] : cases) {
        const std::string narrow = format;
        const std::wstring wide(narrow.begin(), narrow.end());
        EXPECT_EQ(OpenImage::FormatStringToID(format), id) << format;
        EXPECT_EQ(OpenImage::FormatStringToID(wide.c_str()), id) << format;
        EXPECT_STREQ(Rastrel::GetFileFormatDesc(format), text);
        const std::string wanted = text;
        EXPECT_EQ(Rastrel::GetFileFormatDesc(wide.c_str()), std::wstring(wanted.begin(), wanted.end()));
    }
}

TEST(FormatNames, OfferedExtensionsEndWithAnEmptyOne) {
    std::vector<std::wstring> offered;
    for (const wchar_t* entry = Rastrel::GetFileFormats(); *entry != L'\0'; entry += offered.back().size() + 1)
        offered.emplace_back(entry);
    EXPECT_EQ(offered, (std::vector<std::wstring>{L"tif", L"jpg", L"tga", L"psb"}));
}

} // namespace
