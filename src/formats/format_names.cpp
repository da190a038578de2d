/// Format strings and descriptions.
#include "formats/format_table.h"
#include "rastrel/rastrel.h"

unsigned char Rastrel::FormatStringToID(const wchar_t* format) { return rastrel::formatOf(format); }

unsigned char Rastrel::FormatStringToID(const char* format) { return rastrel::formatOf(format); }

const wchar_t* Rastrel::GetFileFormatDesc(const wchar_t* format) {
    const unsigned char id = FormatStringToID(format);
    for (const auto& known : rastrel::kFormats) {
        if (known.id == id) return known.wideDescription;
    }
    return rastrel::kWideNotSupported;
}

const char* Rastrel::GetFileFormatDesc(const char* format) {
    const unsigned char id = FormatStringToID(format);
    for (const auto& known : rastrel::kFormats) {
        if (known.id == id) return known.description;
    }
    return rastrel::kNotSupported;
}

const wchar_t* Rastrel::GetFileFormats() { return rastrel::kOfferedExtensions; }
