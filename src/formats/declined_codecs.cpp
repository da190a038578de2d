/// Codecs that this build does not have: they decline every file.
#include "formats/jpeg.h"
#include "formats/psb.h"

namespace rastrel {

bool readPsb(FILE*, ImagePort&) { return false; }
bool preReadPsb(FILE*, ImagePort&) { return false; }
bool writePsb(FILE*, ImagePort&) { return false; }

bool readJpeg(FILE*, ImagePort&) { return false; }
bool readJpegRect(FILE*, ImagePort&, const FileRect&) { return false; }
bool preReadJpeg(FILE*, ImagePort&) { return false; }
bool writeJpeg(FILE*, ImagePort&) { return false; }
bool readExifJpeg(FILE*, Rastrel::_EXIF&) { return false; }

} // namespace rastrel
