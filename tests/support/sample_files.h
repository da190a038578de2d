/// @file sample_files.h
/// Files of other programs with what is known about them, where a folder of them lies beside the project. Tests that
/// use them pass without it: the table is empty then.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace testing_support {

/// One row of the table, by column name; columns that are not there are empty.
class SampleFile {
public:
    explicit SampleFile(std::map<std::string, std::string> columns) : columns_(std::move(columns)) {}
    [[nodiscard]] std::string operator[](const std::string& column) const {
        const auto found = columns_.find(column);
        return found == columns_.end() ? std::string() : found->second;
    }
    [[nodiscard]] std::string path() const { return (*this)["path"]; }
    [[nodiscard]] bool accepted() const { return (*this)["outcome"] == "accepted"; }
    [[nodiscard]] bool declined() const { return (*this)["outcome"] == "declined"; }
    [[nodiscard]] std::uint32_t number(const std::string& column) const {
        return static_cast<std::uint32_t>(std::strtoul((*this)[column].c_str(), nullptr, 10));
    }

private:
    std::map<std::string, std::string> columns_;
};

inline std::string sampleFolder() { return RASTREL_SOURCE_DIR "/../shared/samples/"; }

/// All rows whose path begins with `prefix`.
inline std::vector<SampleFile> sampleFiles(const std::string& prefix) {
    const auto fields = [](const std::string& line) {
        std::vector<std::string> parts(1);
        for (const char c : line) {
            if (c == '\t') {
                parts.emplace_back();
            } else if (c != '\r') {
                parts.back() += c;
            }
        }
        return parts;
    };
    std::vector<SampleFile> rows;
    std::ifstream table(sampleFolder() + "expected.tsv", std::ios::binary);
    std::string line;
    if (!std::getline(table, line)) return rows;
    const std::vector<std::string> heads = fields(line);
    while (std::getline(table, line)) {
        const std::vector<std::string> values = fields(line);
        if (values.front().rfind(prefix, 0) != 0) continue;
        std::map<std::string, std::string> columns;
        for (std::size_t i = 0; i < heads.size() && i < values.size(); ++i)
            columns[heads[i]] = values[i];
        rows.emplace_back(std::move(columns));
    }
    return rows;
}

/// The bytes of one member of an archive in tar format; empty when it has none of that name.
inline std::vector<unsigned char> archiveMember(const std::vector<unsigned char>& archive, const std::string& name) {
    constexpr std::size_t kBlock = 512;
    std::string longName;
    for (std::size_t at = 0; at + kBlock <= archive.size();) {
        const char* const head = reinterpret_cast<const char*>(archive.data() + at);
        const auto text = [&](std::size_t from, std::size_t length) {
            std::string value;
            for (std::size_t i = from; i < from + length && head[i] != 0; ++i)
                value += head[i];
            return value;
        };
        const std::size_t size = std::strtoul(text(124, 12).c_str(), nullptr, 8);
        const std::size_t begin = at + kBlock;
        if (size > archive.size() - begin) break;
        const unsigned char* const data = archive.data() + begin;
        at = begin + (size + kBlock - 1) / kBlock * kBlock;
        if (head[156] == 'L') { // a name longer than the field precedes its member
            longName.assign(data, data + size);
            longName = longName.c_str();
            continue;
        }
        std::string full = text(0, 100);
        if (!longName.empty()) full = std::exchange(longName, std::string());
        if (!text(345, 155).empty() && text(257, 5) == "ustar" && head[262] == 0) full = text(345, 155) + "/" + full;
        const std::size_t slash = full.rfind('/');
        if (full == name || (slash != std::string::npos && full.substr(slash + 1) == name)) return {data, data + size};
    }
    return {};
}

/// The contents of a file, or of a member of an archive ("archive.tar:member").
inline std::vector<unsigned char> sampleBytes(const std::string& path) {
    const std::size_t colon = path.find(".tar:");
    const std::size_t end = colon == std::string::npos ? path.size() : colon + 4;
    std::ifstream file(sampleFolder() + path.substr(0, end), std::ios::binary);
    std::vector<unsigned char> bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    return colon == std::string::npos ? bytes : archiveMember(bytes, path.substr(end + 1));
}

} // namespace testing_support
