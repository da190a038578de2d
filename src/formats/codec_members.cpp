/// The codecs as virtual operations, in slot order: each raises the busy counter and hands over the image's port.
#include "formats/exr.h"
#include "formats/image_port.h"
#include "formats/jpeg.h"
#include "formats/orf.h"
#include "formats/psb.h"
#include "formats/temporary_file.h"
#include "formats/tiff_reader.h"
#include "formats/tiff_writer.h"

namespace {

using rastrel::FileRect;

template <class Codec, class... Arguments>
bool run(Rastrel& image, Codec codec, FILE* stream, const Arguments&... arguments) {
    const rastrel::Busy busy(image.busyCount);
    rastrel::ImagePort port = rastrel::portOf(image);
    // A derived class may call a codec without the dispatch: what the codec throws ends here as well.
    try {
        return codec(stream, port, arguments...);
    } catch (...) {
        return false;
    }
}

} // namespace

bool Rastrel::ReadRectTIFF(FILE* stream, unsigned long left, unsigned long top, unsigned long right,
                           unsigned long bottom) {
    return run(*this, rastrel::readTiffRect, stream, FileRect{left, top, right, bottom});
}

bool Rastrel::ReadTIFF(FILE* stream) { return run(*this, rastrel::readTiff, stream); }

bool Rastrel::PreReadTIFF(FILE* stream) { return run(*this, rastrel::preReadTiff, stream); }

bool Rastrel::WriteTIFF(FILE* stream) { return run(*this, rastrel::writeTiff, stream); }

bool Rastrel::ReadPSB(FILE* stream) { return run(*this, rastrel::readPsb, stream); }

bool Rastrel::PreReadPSB(FILE* stream) { return run(*this, rastrel::preReadPsb, stream); }

bool Rastrel::WritePSB(FILE* stream) { return run(*this, rastrel::writePsb, stream); }

bool Rastrel::ReadTEMP(FILE* stream) { return run(*this, rastrel::readTemporary, stream); }

bool Rastrel::PreReadTEMP(FILE* stream) { return run(*this, rastrel::preReadTemporary, stream); }

bool Rastrel::WriteTEMP(FILE* stream) { return run(*this, rastrel::writeTemporary, stream); }

bool Rastrel::ReadEXR(FILE* stream) { return run(*this, rastrel::readExr, stream); }

bool Rastrel::PreReadEXR(FILE* stream) { return run(*this, rastrel::preReadExr, stream); }

bool Rastrel::WriteEXR(FILE* stream) { return run(*this, rastrel::writeExr, stream); }

bool Rastrel::ReadORF(FILE* stream) { return run(*this, rastrel::readOrf, stream); }

bool Rastrel::PreReadORF(FILE* stream) { return run(*this, rastrel::preReadOrf, stream); }

bool Rastrel::ReadRectJPEG(FILE* stream, unsigned long left, unsigned long top, unsigned long right,
                           unsigned long bottom) {
    return run(*this, rastrel::readJpegRect, stream, FileRect{left, top, right, bottom});
}

bool Rastrel::ReadJPEG(FILE* stream) { return run(*this, rastrel::readJpeg, stream); }

bool Rastrel::PreReadJPEG(FILE* stream) { return run(*this, rastrel::preReadJpeg, stream); }

bool Rastrel::WriteJPEG(FILE* stream) { return run(*this, rastrel::writeJpeg, stream); }

bool Rastrel::ReadExifJPEG(FILE* stream, _EXIF* exif) {
    try {
        return stream != nullptr && exif != nullptr && rastrel::readExifJpeg(stream, *exif);
    } catch (...) {
        return false;
    }
}
