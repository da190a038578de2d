/// @file open_image.h
/// An image whose protected operations and fields are public.
#pragma once

#include "rastrel/rastrel.h"

struct OpenImage : Rastrel {
    OpenImage() = default;
    explicit OpenImage(Rastrel* source) : Rastrel(source) {}
    explicit OpenImage(Rastrel& source) : Rastrel(source) {}

    using Rastrel::operator=;
    using Rastrel::CoordToPixel;
    using Rastrel::FormatStringToID;
    using Rastrel::GetBitmapSize;
    using Rastrel::linecache;
    using Rastrel::lowpass;
    using Rastrel::mirror;
    using Rastrel::PixelToCoord;
    using Rastrel::PreReadEXR;
    using Rastrel::PreReadJPEG;
    using Rastrel::PreReadORF;
    using Rastrel::PreReadPSB;
    using Rastrel::PreReadTEMP;
    using Rastrel::PreReadTIFF;
    using Rastrel::ReadExifJPEG;
    using Rastrel::ReadEXR;
    using Rastrel::ReadHLine;
    using Rastrel::ReadJPEG;
    using Rastrel::ReadORF;
    using Rastrel::ReadPixel;
    using Rastrel::ReadPSB;
    using Rastrel::ReadRectJPEG;
    using Rastrel::ReadRectTIFF;
    using Rastrel::ReadTEMP;
    using Rastrel::ReadTIFF;
    using Rastrel::ReadVLine;
    using Rastrel::resample;
    using Rastrel::ScratchBufferPool;
    using Rastrel::WriteEXR;
    using Rastrel::WriteHLine;
    using Rastrel::WriteJPEG;
    using Rastrel::WritePixel;
    using Rastrel::WritePSB;
    using Rastrel::WriteTEMP;
    using Rastrel::WriteTIFF;
    using Rastrel::WriteVLine;

    using Rastrel::cacheLock;
    using Rastrel::forwardMatrix;
    using Rastrel::inverseMatrix;
    using Rastrel::lineCache;
    using Rastrel::scratchPool;
    using Rastrel::transformActive;
};
