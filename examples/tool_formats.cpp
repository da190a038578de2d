#include "tool_formats.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "tool_failure.h"

namespace tool {
namespace {

struct FormatName {
    const char* name;
    Format format;
};

constexpr std::array<FormatName, 7> kFormats{{{"tif", Format::tiff},
                                              {"jpg", Format::jpeg},
                                              {"exr", Format::exr},
                                              {"psb", Format::psb},
                                              {"tmp", Format::temporary},
                                              {"tiff", Format::tiff},
                                              {"jpeg", Format::jpeg}}};

struct ModelName {
    std::uint8_t model;
    const char* name;
};

constexpr std::array<ModelName, 17> kModels{{{CM_BW1, "BW1"},
                                             {CM_BW1INV, "BW1INV"},
                                             {CM_GREY8, "GREY8"},
                                             {CM_GREY16, "GREY16"},
                                             {CM_GREYFP32, "GREYFP32"},
                                             {CM_GREYFP64, "GREYFP64"},
                                             {CM_COLOR8, "COLOR8"},
                                             {CM_COLOR16, "COLOR16"},
                                             {CM_RGB8, "RGB8"},
                                             {CM_RGB16, "RGB16"},
                                             {CM_ARGB8, "ARGB8"},
                                             {CM_ARGB16, "ARGB16"},
                                             {CM_ARGBFP32, "ARGBFP32"},
                                             {CM_ARGBFP64, "ARGBFP64"},
                                             {CM_RGBA8, "RGBA8"},
                                             {CM_RGBA16, "RGBA16"},
                                             {CM_RGGB12, "RGGB12"}}};

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool isGrey(std::uint8_t model) { return model < CM_COLOR8; }

} // namespace

Format formatNamed(const std::string& name) {
    const auto* const found =
        std::find_if(kFormats.begin(), kFormats.end(),
                     [wanted = lower(name)](const FormatName& entry) { return wanted == entry.name; });
    if (found == kFormats.end())
        throw UsageError("no format for \"" + name + "\": tif, jpg, exr, psb and tmp can be written");
    return found->format;
}

Format formatOf(const std::filesystem::path& path, const std::string& name) {
    if (!name.empty()) return formatNamed(name);
    const std::string extension = text(path.extension());
    return formatNamed(extension.empty() ? extension : extension.substr(1));
}

const char* writerName(Format format) {
    return std::find_if(kFormats.begin(), kFormats.end(),
                        [format](const FormatName& entry) { return entry.format == format; })
        ->name;
}

std::string describe(Format format) { return Rastrel::GetFileFormatDesc(writerName(format)); }

std::string modelName(std::uint8_t model) {
    for (const ModelName& entry : kModels) {
        if (entry.model == model) return std::string("CM_") + entry.name;
    }
    return "colour model " + std::to_string(model);
}

std::uint8_t modelNamed(const std::string& name) {
    for (const ModelName& entry : kModels) {
        if (lower(entry.name) == lower(name) && convertible(entry.model)) return entry.model;
    }
    throw UsageError("no colour model \"" + name + "\"");
}

bool convertible(std::uint8_t model) { return model != CM_COLOR8 && model != CM_COLOR16 && model != CM_RGGB12; }

bool isDeep(std::uint8_t model) { return shallow(model) != model && model != CM_BW1 && model != CM_BW1INV; }

std::uint8_t shallow(std::uint8_t model) {
    switch (model) {
    case CM_BW1:
    case CM_BW1INV:
    case CM_GREY16:
    case CM_GREYFP32:
    case CM_GREYFP64:
        return CM_GREY8;
    case CM_RGB16:
        return CM_RGB8;
    case CM_ARGB16:
    case CM_ARGBFP32:
    case CM_ARGBFP64:
        return CM_ARGB8;
    case CM_RGBA16:
        return CM_RGBA8;
    default:
        return model;
    }
}

// TIFF: grey floats would be taken for whole numbers, since the files do not tell them apart; four channels have to lie
// in the order R, G, B, A, which floats have no model for. Big documents know whole numbers only.
std::uint8_t modelFor(Format format, std::uint8_t model) {
    switch (format) {
    case Format::jpeg:
        return isGrey(model) ? CM_GREY8 : CM_RGB8;
    case Format::tiff:
    case Format::psb:
        if (isGrey(model)) return isDeep(model) ? CM_GREY16 : CM_GREY8;
        if (model == CM_RGB8 || model == CM_RGB16) return model;
        return isDeep(model) ? CM_RGBA16 : CM_RGBA8;
    default:
        return model;
    }
}

// Files hold the stored pixels; only temporary files remember how they are to be turned. The planes of a big document
// come from pixels in reversed component order.
bool fits(Format format, Rastrel& image) {
    if (format == Format::temporary) return true;
    if (image.transposed != 0 || image.mirrorX != 0 || image.mirrorY != 0) return false;
    if (format == Format::psb && image.IsColored() && image.componentOrder == 0) return false;
    return modelFor(format, image.GetColormodel()) == image.GetColormodel();
}

} // namespace tool
