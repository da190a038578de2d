/// @file other_programs.h
/// Programs of this machine that read and write the same files; tests compare with those that are there.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <string>

#include "support/scratch_file.h"

namespace testing_support {

/// Whether the search path of a POSIX system has the program.
inline bool programIsHere(const std::string& name) {
    const char* path = std::getenv("PATH");
    if (path == nullptr || path[0] != '/') return false;
    std::string folder;
    for (const char* c = path;; ++c) {
        if (*c != ':' && *c != '\0') {
            folder += *c;
            continue;
        }
        std::error_code ignored;
        if (std::filesystem::exists(folder + "/" + name, ignored)) return true;
        if (*c == '\0') return false;
        folder.clear();
    }
}

/// A path for a command line.
inline std::string quoted(const ScratchFile& file) {
    std::string text(1, '\'');
    text.append(file.path()).append(1, '\'');
    return text;
}

/// The parts of a command with blanks between them.
inline std::string joined(std::initializer_list<std::string> parts) {
    std::string command;
    for (const std::string& part : parts)
        command.append(part).append(1, ' ');
    return command;
}

/// Runs a command; whether it succeeded.
inline bool runs(std::initializer_list<std::string> parts) {
    return std::system(joined(parts).append(">/dev/null 2>&1").c_str()) == 0;
}

/// What a command prints on its standard output.
inline std::string outputOf(std::initializer_list<std::string> parts) {
    const ScratchFile output(".txt");
    if (std::system(joined(parts).append(">").append(quoted(output)).append(" 2>/dev/null").c_str()) != 0)
        return "failed";
    const auto bytes = output.bytes();
    return {bytes.begin(), bytes.end()};
}

} // namespace testing_support
