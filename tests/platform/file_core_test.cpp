// Opening files: names, sharing, and what must stay untouched when a file does not open.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "platform/file.h"
#include "rastrel/platform.h"
#include "support/scratch_directory.h"

namespace {

using rastrel::openFile;
using rastrel::OpenMode;
using rastrel_test::ScratchDirectory;

struct CloseStream {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using Stream = std::unique_ptr<std::FILE, CloseStream>;

template <class Path>
Stream open(const Path& path, OpenMode mode) {
    return Stream(openFile(path.c_str(), mode));
}

template <class Path>
bool writeText(const Path& path, const std::string& text) {
    const Stream stream = open(path, OpenMode::kWrite);
    return stream && std::fwrite(text.data(), 1, text.size(), stream.get()) == text.size();
}

template <class Path>
std::string readText(const Path& path, OpenMode mode = OpenMode::kRead) {
    const Stream stream = open(path, mode);
    if (!stream) return "(not opened)";
    char buffer[64];
    return std::string(buffer, std::fread(buffer, 1, sizeof buffer, stream.get()));
}

std::wstring widen(const std::string& path) {
    const std::unique_ptr<wchar_t, void (*)(void*)> wide(rastrel::widenPath(path.c_str()), std::free);
    return wide ? std::wstring(wide.get()) : std::wstring();
}

TEST(OpenFile, WritesAndReadsBinary) {
    const ScratchDirectory directory;
    const std::string text("a\nb\r\n\x1A\0c", 8);
    ASSERT_TRUE(writeText(directory.narrow("plain.bin"), text));
    EXPECT_EQ(readText(directory.narrow("plain.bin")), text);
    EXPECT_EQ(readText(directory.wide(L"plain.bin")), text);
    EXPECT_EQ(readText(directory.narrow("plain.bin"), OpenMode::kReadDenyWrite), text);
    EXPECT_EQ(readText(directory.wide(L"plain.bin"), OpenMode::kReadDenyWrite), text);
}

TEST(OpenFile, ReachesEveryWideName) {
    const ScratchDirectory directory;
    struct Name {
        const wchar_t* wide;
        const char8_t* utf8;
    };
    for (const Name& name :
         {Name{L"gr\u00FCn.tif", u8"gr\u00FCn.tif"}, Name{L"\u65E5\u672C\u8A9E.tif", u8"\u65E5\u672C\u8A9E.tif"},
          Name{L"\U0001F600 \U0001F3DE.tif", u8"\U0001F600 \U0001F3DE.tif"},
          Name{L"\u0416\u05D0\u0E01.tif", u8"\u0416\u05D0\u0E01.tif"},
          Name{L"\uFFFD\uE000.tif", u8"\uFFFD\uE000.tif"}}) {
        const std::wstring path = directory.wide(name.wide);
        ASSERT_TRUE(writeText(path, "here"));
        EXPECT_EQ(readText(path), "here");
        EXPECT_EQ(readText(path, OpenMode::kReadDenyWrite), "here");
        EXPECT_TRUE(std::filesystem::exists(directory.path() / std::filesystem::path(name.utf8)));
    }
    EXPECT_EQ(readText(directory.wide(L"\u65E5\u672C.tif")), "(not opened)");
}

TEST(OpenFile, WhatHasNoNameOpensNothing) {
    const ScratchDirectory directory;
    std::vector<std::wstring> names{L"a\0b"}; // ends at the null: a file "a" that is not there
    if (sizeof(wchar_t) == 4) {               // code points that UTF-8 cannot hold; 16-bit names may hold any unit
        names.push_back({L'x', static_cast<wchar_t>(0xD800)});
        names.push_back({L'x', static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE00)});
        names.push_back({L'x', static_cast<wchar_t>(0xDC7F)});
        names.push_back({L'x', static_cast<wchar_t>(0x110000)});
        names.push_back({L'x', static_cast<wchar_t>(0x80000000)});
        for (std::size_t i = 1; i < names.size(); ++i)
            EXPECT_FALSE(open(directory.wide(names[i]), OpenMode::kWrite)) << i;
    }
    for (const std::wstring& name : names) {
        EXPECT_FALSE(open(directory.wide(name), OpenMode::kRead));
        EXPECT_FALSE(open(directory.wide(name), OpenMode::kReadDenyWrite));
    }
    EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST(OpenFile, BothSlashesSeparate) {
    const ScratchDirectory directory;
    std::filesystem::create_directory(directory.narrow("inner"));
    ASSERT_TRUE(writeText(directory.narrow("inner/a.bin"), "slash"));
    EXPECT_EQ(readText(directory.narrow("inner\\a.bin")), "slash");
    EXPECT_EQ(readText(directory.wide(L"inner\\a.bin")), "slash");
    EXPECT_EQ(readText(directory.wide(L"inner/a.bin")), "slash");
    std::string backslashes = directory.narrow("inner/a.bin");
    for (char& c : backslashes)
        if (c == '/') c = '\\';
    EXPECT_EQ(readText(backslashes), "slash");
    ASSERT_TRUE(writeText(directory.wide(L"inner\\b.bin"), "written"));
    EXPECT_EQ(readText(directory.narrow("inner/b.bin")), "written");
}

TEST(OpenFile, FailsCleanly) {
    const ScratchDirectory directory;
    for (const OpenMode mode : {OpenMode::kRead, OpenMode::kReadDenyWrite, OpenMode::kWrite}) {
        EXPECT_EQ(openFile(static_cast<const char*>(nullptr), mode), nullptr);
        EXPECT_EQ(openFile(static_cast<const wchar_t*>(nullptr), mode), nullptr);
        EXPECT_EQ(openFile("", mode), nullptr);
        EXPECT_EQ(openFile(L"", mode), nullptr);
        EXPECT_FALSE(open(directory.narrow("no/such/file"), mode));
        EXPECT_FALSE(open(directory.narrow("."), mode)) << "a directory is no file";
    }
    EXPECT_FALSE(open(directory.narrow("missing"), OpenMode::kRead));
    EXPECT_FALSE(open(directory.narrow("missing"), OpenMode::kReadDenyWrite));
    EXPECT_FALSE(std::filesystem::exists(directory.narrow("missing")));
}

TEST(OpenFile, WritingCutsWhatWasThere) {
    const ScratchDirectory directory;
    ASSERT_TRUE(writeText(directory.narrow("a"), "long contents"));
    ASSERT_TRUE(writeText(directory.narrow("a"), "short"));
    EXPECT_EQ(readText(directory.narrow("a")), "short");
}

TEST(OpenFile, ADenyingReaderKeepsWritersOut) {
    const ScratchDirectory directory;
    const std::string path = directory.narrow("a");
    ASSERT_TRUE(writeText(path, "contents"));
    {
        const Stream reader = open(path, OpenMode::kReadDenyWrite);
        ASSERT_TRUE(reader);
        EXPECT_FALSE(open(path, OpenMode::kWrite));
        EXPECT_FALSE(open(directory.wide(L"a"), OpenMode::kWrite));
        EXPECT_EQ(Stream(_wfopen(directory.wide(L"a").c_str(), L"r+b")), nullptr);
        EXPECT_EQ(Stream(_wfopen(directory.wide(L"a").c_str(), L"ab")), nullptr);
        EXPECT_TRUE(open(path, OpenMode::kRead));
        EXPECT_TRUE(open(path, OpenMode::kReadDenyWrite));
        EXPECT_EQ(readText(path), "contents"); // not cut by the refused writer
    }
    EXPECT_TRUE(writeText(path, "new"));
}

TEST(OpenFile, AWriterKeepsDenyingReadersOut) {
    const ScratchDirectory directory;
    const std::string path = directory.narrow("a");
    ASSERT_TRUE(writeText(path, "contents"));
    {
        const Stream writer = open(path, OpenMode::kWrite);
        ASSERT_TRUE(writer);
        EXPECT_FALSE(open(path, OpenMode::kReadDenyWrite));
        EXPECT_TRUE(open(path, OpenMode::kRead));
        EXPECT_TRUE(open(path, OpenMode::kWrite)); // plain writers share
        EXPECT_FALSE(open(path, OpenMode::kReadDenyWrite));
    }
    EXPECT_TRUE(open(path, OpenMode::kReadDenyWrite));
}

TEST(OpenFile, SharingModesContradictAsNamed) {
    const ScratchDirectory directory;
    const std::string path = directory.narrow("a");
    ASSERT_TRUE(writeText(path, "contents"));
    struct Case {
        int sharing;
        bool allowsReader, allowsWriter;
    };
    for (const Case& c : {Case{_SH_DENYNO, true, true}, Case{_SH_DENYWR, true, false}, Case{_SH_DENYRD, false, true},
                          Case{_SH_DENYRW, false, false}}) {
        SCOPED_TRACE(c.sharing);
        for (const bool reads : {true, false}) {
            const Stream first(_fsopen(path.c_str(), reads ? "rb" : "r+b", c.sharing));
            ASSERT_TRUE(first);
            EXPECT_EQ(open(path, OpenMode::kRead) != nullptr, c.allowsReader);
            EXPECT_EQ(Stream(_fsopen(path.c_str(), "ab", _SH_DENYNO)) != nullptr, c.allowsWriter);
        }
        const Stream reader = open(path, OpenMode::kRead);
        EXPECT_EQ(Stream(_fsopen(path.c_str(), "rb", c.sharing)) != nullptr, c.allowsReader);
        const Stream writer(_fsopen(path.c_str(), "ab", _SH_DENYNO));
        EXPECT_EQ(Stream(_fsopen(path.c_str(), "rb", c.sharing)) != nullptr, c.allowsReader && c.allowsWriter);
    }
}

TEST(WidenPath, OpensTheSameFile) {
    const ScratchDirectory directory;
    // ASCII, letters beyond it, and bytes that form no character in a multi-byte encoding
    for (const char* name : {"plain.tif", "caf\xC3\xA9.tif", "\xE6\x97\xA5\xE6\x9C\xAC.tif", "caf\xE9.tif"}) {
        const std::string path = directory.narrow("x").substr(0, directory.narrow("x").size() - 1) + name;
        ASSERT_TRUE(writeText(path, name));
        EXPECT_EQ(readText(widen(path)), name);
        EXPECT_EQ(readText(widen(path), OpenMode::kReadDenyWrite), name);
    }
}

TEST(WidenPath, KeepsTheCallersSlashes) {
    EXPECT_EQ(widen("a/b\\c"), L"a/b\\c");
    EXPECT_EQ(widen(""), L"");
    EXPECT_EQ(rastrel::widenPath(nullptr), nullptr);
}

TEST(StreamPositions, AreSixtyFourBits) {
    const ScratchDirectory directory;
    const Stream stream = open(directory.narrow("a"), OpenMode::kWrite);
    ASSERT_TRUE(stream);
    EXPECT_TRUE(rastrel::seek(stream.get(), 6'000'000'000));
    EXPECT_EQ(rastrel::tell(stream.get()), 6'000'000'000);
    EXPECT_TRUE(rastrel::seek(stream.get(), -2'000'000'000, SEEK_CUR));
    EXPECT_EQ(rastrel::tell(stream.get()), 4'000'000'000);
    EXPECT_FALSE(rastrel::seek(stream.get(), -5));
    EXPECT_FALSE(rastrel::seek(nullptr, 0));
    EXPECT_EQ(rastrel::tell(nullptr), -1);
}

TEST(StreamPositions, FileSizeLeavesThePosition) {
    const ScratchDirectory directory;
    ASSERT_TRUE(writeText(directory.narrow("a"), "twelve bytes"));
    const Stream stream = open(directory.narrow("a"), OpenMode::kRead);
    ASSERT_TRUE(stream);
    EXPECT_TRUE(rastrel::seek(stream.get(), 5));
    EXPECT_EQ(rastrel::fileSize(stream.get()), 12);
    EXPECT_EQ(rastrel::tell(stream.get()), 5);
    EXPECT_EQ(rastrel::fileSize(nullptr), -1);
}

TEST(StreamPositions, FileSizeCountsWhatAStreamHasInItsBuffer) {
    const ScratchDirectory directory;
    const Stream stream = open(directory.narrow("a"), OpenMode::kWrite);
    ASSERT_TRUE(stream);
    ASSERT_GE(std::fputs("seven b", stream.get()), 0);
    EXPECT_EQ(rastrel::fileSize(stream.get()), 7);
    EXPECT_EQ(rastrel::tell(stream.get()), 7);
}

TEST(ReadAt, ReadsAnywhereWithAndWithoutABuffer) {
    const ScratchDirectory directory;
    char contents[] = "twelve bytes";
    ASSERT_TRUE(writeText(directory.narrow("a"), contents));
    std::vector<Stream> streams;
    for (int kind = 0; kind < 2; ++kind) {
        streams.push_back(open(directory.narrow("a"), OpenMode::kRead));
#if !defined(_WIN32) // where the C library has streams over memory
        streams.emplace_back(fmemopen(contents, sizeof contents - 1, "rb"));
#endif
    }
    for (std::size_t i = 0; i < streams.size(); ++i) {
        SCOPED_TRACE(i);
        const Stream& stream = streams[i];
        ASSERT_TRUE(stream);
        if (i >= streams.size() / 2) std::setvbuf(stream.get(), nullptr, _IONBF, 0);
        EXPECT_EQ(rastrel::fileSize(stream.get()), static_cast<std::int64_t>(sizeof contents - 1));
        const auto readAt = [&](std::int64_t offset, std::size_t size) {
            std::string text(size, '-');
            const std::size_t got = rastrel::readAt(stream.get(), offset, text.data(), size);
            EXPECT_EQ(text.substr(got), std::string(size - got, '-'));
            return text.substr(0, got);
        };
        EXPECT_EQ(readAt(7, 5), "bytes");
        EXPECT_EQ(readAt(0, 6), "twelve");
        EXPECT_EQ(readAt(6, 3), " by");
        EXPECT_EQ(readAt(9, 9), "tes");
        EXPECT_EQ(readAt(12, 4), "");
        EXPECT_EQ(readAt(6'000'000'000, 4), "");
        EXPECT_EQ(readAt(-1, 4), "");
        EXPECT_EQ(readAt(3, 0), "");
        EXPECT_EQ(readAt(1, 2), "we");
    }
    char byte = 'x';
    EXPECT_EQ(rastrel::readAt(nullptr, 0, &byte, 1), 0U);
    EXPECT_EQ(byte, 'x');
}

TEST(ReadAt, SeesWhatAStreamHasInItsBuffer) {
    const ScratchDirectory directory;
    const Stream stream(std::fopen(directory.narrow("a").c_str(), "w+b"));
    ASSERT_TRUE(stream);
    ASSERT_GE(std::fputs("twelve bytes", stream.get()), 0);
    std::string text(5, '-');
    EXPECT_EQ(rastrel::readAt(stream.get(), 7, text.data(), text.size()), 5U);
    EXPECT_EQ(text, "bytes");
}

} // namespace
