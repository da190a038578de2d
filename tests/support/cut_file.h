/// @file cut_file.h
/// Every front of a file, and the file with every byte changed, one after another.
#pragma once

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "support/scratch_file.h"

namespace testing_support {

/// Calls `check(FILE*)` with the file at each of its shorter lengths, the longest first.
template <class Check>
void forEveryCut(const std::vector<unsigned char>& whole, Check check) {
    const ScratchFile file(whole);
    for (std::size_t size = whole.size(); size-- > 0;) {
        std::filesystem::resize_file(file.path(), size);
        FILE* const stream = std::fopen(file.path().c_str(), "rb");
        check(stream);
        std::fclose(stream);
    }
}

/// Calls `check(FILE*)` with each byte of the file changed in turn: to the values that differ in one bit or in all, and
/// to 0. All other values as well would take minutes where files are slow.
template <class Check>
void forEveryChange(const std::vector<unsigned char>& whole, Check check) {
    const ScratchStream stream(whole);
    const auto put = [&](std::size_t place, int value) {
        std::fseek(stream, static_cast<long>(place), SEEK_SET);
        std::fputc(value, stream);
        std::fflush(stream);
    };
    for (std::size_t place = 0; place < whole.size(); ++place) {
        for (int value = 0; value < 256; ++value) {
            const int changes = value ^ whole[place];
            const bool oneBit = (changes & (changes - 1)) == 0;
            if (changes == 0 || !(oneBit || changes == 0xFF || value == 0)) continue;
            put(place, value);
            check(static_cast<FILE*>(stream));
        }
        put(place, whole[place]);
    }
}

} // namespace testing_support
