/// @file cut_file.h
/// Every front of a file, one after another.
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

} // namespace testing_support
