/// Construction, copies, lifecycle and queries of the image.
#include <cstring>
#include <memory>
#include <new>

#include "image/critical_section_lock.h"
#include "image/owned_text.h"
#include "pixel/color_model.h"
#include "rastrel/rastrel.h"

namespace {

/// The four flag bytes that stand at the head of every image.
void copyOrientation(Rastrel& to, const Rastrel& from) {
    to.transposed = from.transposed;
    to.mirrorX = from.mirrorX;
    to.mirrorY = from.mirrorY;
}

void copyTransform(Rastrel& to, const Rastrel& from) {
    to.preScaleX = from.preScaleX;
    to.preScaleY = from.preScaleY;
    to.postScaleX = from.postScaleX;
    to.postScaleY = from.postScaleY;
    to.bilinearX = from.bilinearX;
    to.bilinearY = from.bilinearY;
    to.angle = from.angle;
    to.offsetX = from.offsetX;
    to.offsetY = from.offsetY;
}

void copyHead(Rastrel& to, const Rastrel& from) {
    to.width = from.width;
    to.height = from.height;
    to.colormodel = from.colormodel;
}

} // namespace

Rastrel* new_Rastrel() { return new (std::nothrow) Rastrel(); }

void delete_Rastrel(Rastrel* image) { delete image; }

Rastrel::Rastrel() {
    InitializeCriticalSection(&cacheLock);
    Rastrel::TransformSetup();
}

Rastrel::Rastrel(Rastrel* source) : Rastrel() {
    if (source == nullptr) return;
    copyHead(*this, *source);
    copyOrientation(*this, *source);
    componentOrder = source->componentOrder;
    copyTransform(*this, *source);
    exif = source->exif;
    name = rastrel::duplicateText(source->name).release();
    {
        const rastrel::CriticalSectionLock lock(source->cacheLock);
        if (source->lineCache != nullptr) lineCache = new (std::nothrow) linecache<1000>;
    }
    Rastrel::TransformSetup();
    pixels = source->pixels;
}

Rastrel::Rastrel(Rastrel& source)
    : transposed(source.transposed), mirrorX(source.mirrorX), mirrorY(source.mirrorY),
      componentOrder(source.componentOrder), preScaleX(source.preScaleX), preScaleY(source.preScaleY),
      postScaleX(source.postScaleX), postScaleY(source.postScaleY), bilinearX(source.bilinearX),
      bilinearY(source.bilinearY), angle(source.angle), offsetX(source.offsetX), offsetY(source.offsetY),
      exif(source.exif), cancelRequested(source.cancelRequested), busyCount(source.busyCount),
      progress(source.progress), swapThreshold(source.swapThreshold), pixels(source.pixels),
      lookUpTable(source.lookUpTable), name(source.name), width(source.width), height(source.height),
      colormodel(source.colormodel), transformActive(source.transformActive), lineCache(source.lineCache) {
    // Name and cache are the source's own; locks and scratch buffers cannot be shared and start afresh.
    std::memcpy(forwardMatrix, source.forwardMatrix, sizeof forwardMatrix);
    std::memcpy(inverseMatrix, source.inverseMatrix, sizeof inverseMatrix);
    InitializeCriticalSection(&cacheLock);
}

Rastrel::~Rastrel() {
    Rastrel::Empty();
    DeleteCriticalSection(&cacheLock);
}

const Rastrel& Rastrel::operator=(Rastrel* source) {
    if (source == nullptr || source == this) return *this;
    Empty();
    copyHead(*this, *source);
    copyOrientation(*this, *source);
    copyTransform(*this, *source);
    lookUpTable = source->lookUpTable;
    TransformSetup();
    name = rastrel::duplicateText(source->name).release();
    exif = source->exif;
    pixels = source->pixels;
    return *this;
}

const Rastrel& Rastrel::operator=(Rastrel& source) { return *this = &source; }

unsigned __int64 Rastrel::Create(unsigned long newWidth, unsigned long newHeight, unsigned char newModel) {
    Empty();
    // The fields hold 32 bits: a larger size counts modulo 2^32, for the block as well.
    const auto storedWidth = static_cast<std::uint32_t>(newWidth);
    const auto storedHeight = static_cast<std::uint32_t>(newHeight);
    const unsigned __int64 size = GetBitmapSize(storedWidth, storedHeight, newModel);
    // The block learns before it is created where it is to live.
    if (size > swapThreshold)
        pixels.Swap(0);
    else
        pixels.UnSwap();
    pixels.Create(size, true);
    height = storedHeight;
    colormodel = newModel;
    width = storedWidth;
    componentOrder = 1;
    return 0;
}

void Rastrel::Empty() {
    std::free(name);
    name = nullptr;
    pixels.Delete();
    width = 0;
    height = 0;
    colormodel = 0;
    EnableCache(false);
    exif.dateTime = 0;
    exif.orientation = exif.isoSpeed = exif.exposureProgram = exif.meteringMode = exif.flash = 0;
    exif.xResolution = exif.yResolution = 72.0;
    exif.software[0] = '\0';
    exif.exifTags.clear();
    exif.gpsTags.clear();
}

unsigned __int64 Rastrel::Unload() {
    if (name != nullptr) pixels.Delete();
    return 0;
}

unsigned __int64 Rastrel::PointerDuplicate(Rastrel* target) {
    if (target == nullptr || target == this) return 0;
    target->Empty();
    target->cancelRequested = 0;
    target->busyCount = 0;
    target->progress = 0;
    target->pixels = pixels;
    copyHead(*target, *this);
    copyOrientation(*target, *this);
    target->componentOrder = componentOrder;
    target->transformActive = transformActive;
    target->swapThreshold = swapThreshold;
    copyTransform(*target, *this);
    std::memcpy(target->forwardMatrix, forwardMatrix, sizeof forwardMatrix);
    std::memcpy(target->inverseMatrix, inverseMatrix, sizeof inverseMatrix);
    target->lookUpTable = lookUpTable;
    target->name = rastrel::duplicateText(name).release();
    return 0;
}

unsigned long Rastrel::GetWidth() { return transposed != 0 ? height : width; }

unsigned long Rastrel::GetHeight() { return transposed != 0 ? width : height; }

unsigned short Rastrel::GetColordepth() { return rastrel::colorModel(colormodel).depth; }

unsigned char Rastrel::GetColormodel() { return colormodel; }

wchar_t* Rastrel::GetName() { return name; }

unsigned __int64 Rastrel::GetBitmapSize(unsigned long bitmapWidth, unsigned long bitmapHeight,
                                        unsigned char bitmapModel) {
    return rastrel::bitmapSize(bitmapWidth, bitmapHeight, bitmapModel);
}

bool Rastrel::GetReady() {
    return (pixels.GetSize() != 0 || name != nullptr) && height != 0 && width != 0 &&
           GetBitmapSize(width, height, colormodel) != 0;
}

bool Rastrel::IsColored() { return rastrel::colorModel(GetColormodel()).colored; }

void Rastrel::EnableCache(bool on) {
    const rastrel::CriticalSectionLock lock(cacheLock);
    if (!on) {
        delete lineCache;
        lineCache = nullptr;
    } else if (lineCache == nullptr) {
        lineCache = new (std::nothrow) linecache<1000>;
    }
}
