// A program outside the project: it knows the installed headers and libraries only.
#include <cstdio>
#include <cstring>

#include "ondrel/mem_block.h"
#include "rastrel/rastrel.h"

namespace {

/// A host's own image class: protected operations are exported too.
class HostImage : public Rastrel {
public:
    unsigned char storedGrey(long x, long y) {
        unsigned char grey = 0;
        return ReadPixel(grey, x, y) ? grey : static_cast<unsigned char>(0);
    }
};

int check(bool good, const char* what) {
    if (!good) {
        std::fprintf(stderr, "host: %s\n", what);
    }
    return good ? 0 : 1;
}

int checkImage() {
    HostImage image;
    image.Create(4, 3, CM_GREY8);
    image.SetPixel(2, 1, static_cast<unsigned char>(200));
    int failures = check(image.storedGrey(2, 1) == 200, "a derived class reads the pixel that was set");
    failures += check(image.Write("package_host.tif", "tif") == 0, "a TIFF is written");
    Rastrel* copy = new_Rastrel();
    failures += check(copy->Read("package_host.tif") == 0, "it is read back");
    failures += check(copy->GetWidth() == 4 && copy->GetPixelGREY8(2L, 1L) == 200, "with the same pixels");
    delete_Rastrel(copy);
    std::remove("package_host.tif");
    return failures;
}

int checkBlock() {
    MemBlockDesc block;
    unsigned char bytes[4]{};
    const bool works = block.Create(4, true) && block.Write(1, "ab", 2) && block.Read(0, bytes, 4);
    return check(works && std::memcmp(bytes, "\0ab\0", 4) == 0, "a memory block keeps its bytes");
}

} // namespace

int main() { return checkImage() + checkBlock(); }
