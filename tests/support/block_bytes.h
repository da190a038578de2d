/// @file block_bytes.h
/// Memory blocks as plain bytes, and back.
#pragma once

#include <cstddef>
#include <vector>

#include "ondrel/mem_block.h"

namespace testing_support {

inline std::vector<unsigned char> contents(const MemBlockDesc& block) {
    std::vector<unsigned char> bytes(static_cast<std::size_t>(block.GetSize()));
    if (!bytes.empty()) block.Read(0, bytes.data(), bytes.size());
    return bytes;
}

inline MemBlockDesc blockOf(const std::vector<unsigned char>& bytes) {
    MemBlockDesc block;
    block.Create(bytes.size(), true);
    if (!bytes.empty()) block.Write(0, bytes.data(), bytes.size());
    return block;
}

} // namespace testing_support
