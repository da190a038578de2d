// The C runtime's own names that the interface leans on.
#include <gtest/gtest.h>

#include <cstdlib>

#include "support/platform_support.h"

namespace {

TEST(CRuntime, SwabExchangesThePairs) {
    char source[] = {1, 2, 3, 4, 5};
    char target[] = {9, 9, 9, 9, 9};
    _swab(source, target, 4);
    const char expected[] = {2, 1, 4, 3, 9};
    EXPECT_EQ(std::string(target, 5), std::string(expected, 5));
    _swab(source, source, 4); // in place
    const char swapped[] = {2, 1, 4, 3, 5};
    EXPECT_EQ(std::string(source, 5), std::string(swapped, 5));
    _swab(source, target, 0);
    EXPECT_EQ(std::string(target, 5), std::string(expected, 5));
}

TEST(CRuntime, WcsdupCopiesToTheCHeap) {
    wchar_t* copy = _wcsdup(L"name");
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(std::wstring(copy), L"name");
    std::free(copy);
    EXPECT_EQ(_wcsdup(nullptr), nullptr);
}

TEST(CRuntime, SeeksReachBeyondFourGigabytes) {
    std::FILE* stream = std::tmpfile();
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(_fseeki64(stream, 5'000'000'000, SEEK_SET), 0);
    EXPECT_EQ(_ftelli64(stream), 5'000'000'000);
    EXPECT_EQ(_fseeki64(stream, -1'000'000'000, SEEK_CUR), 0);
    EXPECT_EQ(_ftelli64(stream), 4'000'000'000);
    EXPECT_NE(_fseeki64(stream, -1, SEEK_SET), 0);
    EXPECT_EQ(_ftelli64(stream), 4'000'000'000);
    std::fclose(stream);
}

} // namespace
