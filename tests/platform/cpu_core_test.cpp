// What the machine can run, and regions compiled for it.
#include "platform/cpu.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <numeric>
#include <vector>

#include "platform/target_region.h"

#define RASTREL_TARGET avx2
RASTREL_TARGET_BEGIN("avx2")
namespace cpu_core_test::RASTREL_TARGET {
template <class T>
void addInto(T* to, const T* from, std::size_t count) {
    const auto each = [=](std::size_t i) { to[i] = static_cast<T>(to[i] + from[i]); };
    for (std::size_t i = 0; i < count; ++i)
        each(i);
}
template void addInto(std::uint16_t*, const std::uint16_t*, std::size_t);
} // namespace cpu_core_test::RASTREL_TARGET
RASTREL_TARGET_END
#undef RASTREL_TARGET

namespace {

TEST(Cpu, AnswersTheSameEveryTime) {
    const rastrel::CpuFeatures& first = rastrel::cpuFeatures();
    EXPECT_EQ(&first, &rastrel::cpuFeatures());
    EXPECT_TRUE(first.sse41 || !first.avx2);
    EXPECT_TRUE(first.avx2 || !(first.fma || first.f16c || first.avx512bw));
}

TEST(Cpu, RegionsRunWhereTheirSetIsThere) {
    std::vector<std::uint16_t> a(1000), b(1000, 3);
    std::iota(a.begin(), a.end(), static_cast<std::uint16_t>(0));
    if (rastrel::cpuFeatures().avx2)
        cpu_core_test::avx2::addInto(a.data(), b.data(), a.size());
    else
        for (auto& value : a)
            value = static_cast<std::uint16_t>(value + 3);
    for (std::size_t i = 0; i < a.size(); ++i)
        ASSERT_EQ(a[i], i + 3);
}

} // namespace
