/// @file rastrel.h
/// The image class.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ondrel/mem_block.h"
#include "rastrel/critical_section.h"
#include "rastrel/exif.h"
#include "rastrel/lookup_table.h"
#include "rastrel/pixel.h"
#include "rastrel/platform.h"
#include "rastrel/rastrel_api.h"

namespace rastrel {
class ImageOperations;
}

/// An in-memory raster image: pixels of one of seventeen colour models, orientation flags, a view transform, metadata,
/// an exposure curve, an optional cache of lines, and the file it came from.
///
/// Coordinates. *Stored* coordinates address the pixel block; *public* ones are what a host sees after `transposed`,
/// `mirrorX` and `mirrorY`. Public operations take public coordinates, protected ones stored coordinates.
///
/// Results. File and lifecycle operations return a status: 0 success, `kNotOpened`, `kNotAccepted`, `kWriteFailed`.
/// Pixel, line and codec operations return `bool`. Nothing throws; memory that cannot be had is a failed operation.
///
/// Threads. Several threads may read one image at once. Any change needs the image to itself, except `cancelRequested`,
/// which another thread may set, and `busyCount` and `progress`, which another thread may watch.
///
/// Members call one another through their virtual slots, so a derived class can change single steps. The order of the
/// virtual operations is part of the binary interface.
class RASTREL_API Rastrel {
public:
    /// Status codes of file and lifecycle operations besides 0.
    static constexpr unsigned __int64 kNotOpened = 0x1000000001000002ULL;
    static constexpr unsigned __int64 kNotAccepted = 0x1000000001000004ULL;
    static constexpr unsigned __int64 kWriteFailed = 0xFFFFFFFFFFFFFFFFULL;

    /// Metadata of the file an image came from. A reader that accepts a file replaces all of it.
    struct _EXIF {
        std::int64_t dateTime =
            0; ///< seconds since 1970-01-01 in the camera's local time, from DateTimeOriginal; 0 unknown
        std::uint16_t orientation = 0;     ///< TIFF Orientation 1..8; 0 unknown
        std::uint16_t isoSpeed = 0;        ///< ISO speed; 0 unknown
        std::uint16_t exposureProgram = 0; ///< EXIF ExposureProgram
        std::uint16_t meteringMode = 0;    ///< EXIF MeteringMode
        std::uint16_t flash = 0;           ///< EXIF Flash bits
        double xResolution = 72.0;         ///< pixels per inch
        double yResolution = 72.0;         ///< pixels per inch
        char description[256]{};           ///< ImageDescription, bytes as in the file, terminated
        char software[256]{};              ///< Software, bytes as in the file, terminated
        TiffTagList exifTags;              ///< every tag of the EXIF directory
        TiffTagList gpsTags;               ///< every tag of the GPS directory
    };

    /// An empty image.
    Rastrel();
    /// A deep copy of an image. The lookup table is not copied; a source with a line cache gives the copy an empty one.
    Rastrel(Rastrel* source);
    /// A copy by reference: the copy shares the name and the line cache with its source and must not be destroyed on
    /// its own. Pixels are copied.
    Rastrel(Rastrel& source);

    // Virtual operations. Their order is fixed; overrides in derived classes must keep it.

    /// Gives the image new contents: stored size, colour model, all pixels zero, component order least significant
    /// first. Empties the image first. Returns 0 always; a size or code without storage gives an empty pixel block.
    virtual unsigned __int64 Create(unsigned long width, unsigned long height, unsigned char colormodel);
    virtual ~Rastrel();
    /// Deep copy into this image; `componentOrder` and `swapThreshold` keep their values, the line cache goes off.
    virtual const Rastrel& operator=(Rastrel* source);
    virtual const Rastrel& operator=(Rastrel& source);

    /// Reads a rectangle of a TIFF or JPEG file. `left` and `top` inclusive, `right` and `bottom` exclusive, in pixels,
    /// each clamped to the last column or row (which are therefore never part of the result).
    virtual unsigned __int64 Read(const wchar_t* path, unsigned long left, unsigned long top, unsigned long right,
                                  unsigned long bottom);
    virtual unsigned __int64 Read(const char* path, unsigned long left, unsigned long top, unsigned long right,
                                  unsigned long bottom);
    /// @copydoc Read(const wchar_t*, unsigned long, unsigned long, unsigned long, unsigned long)
    /// The stream stays the caller's; the remembered name is not touched.
    virtual unsigned __int64 Read(FILE* stream, unsigned long left, unsigned long top, unsigned long right,
                                  unsigned long bottom);
    /// Reads a whole image of any supported format, recognised by its content. On success the path is remembered.
    /// Narrow paths are in the system's narrow encoding (UTF-8 on Linux).
    virtual unsigned __int64 Read(const wchar_t* path);
    virtual unsigned __int64 Read(const char* path);
    /// Reads from an open binary stream, which stays the caller's; the image has no name afterwards.
    virtual unsigned __int64 Read(FILE* stream);
    /// Reads only the header: sizes, colour model and flags are known, pixels load on first touch.
    virtual unsigned __int64 PreRead(const wchar_t* path);
    virtual unsigned __int64 PreRead(const char* path);
    /// Writes the image in the format that the first three characters of `format` name ("tif", "jpg", "exr", "psb",
    /// "tmp"; anything else is TIFF). On success the path is remembered.
    virtual unsigned __int64 Write(const wchar_t* path, const wchar_t* format);
    /// @copydoc Write(const wchar_t*, const wchar_t*)
    /// Drops the remembered name before anything else.
    virtual unsigned __int64 Write(const char* path, const char* format);

    /// Drops the pixels of an image that has a name; they come back on first touch. Returns 0.
    virtual unsigned __int64 Unload();
    /// Loads the pixels of an unloaded image from its file.
    virtual unsigned __int64 Reload();
    /// Appends the image to a block. An image with a name is saved by reference, all others with their pixels.
    virtual unsigned __int64 Save(MemBlockDesc& block);
    /// Rebuilds an image from the record at `position`, which moves past it. 1 when the lookup table was restored too,
    /// 0 when it was not, `kNotAccepted` when there is no record.
    virtual unsigned __int64 Restore(MemBlockDesc& block, unsigned __int64& position);
    /// Makes `target` a duplicate of this image, matrices and component order included, metadata excluded. Returns 0.
    virtual unsigned __int64 PointerDuplicate(Rastrel* target);
    /// Drops name, pixels, size, colour model, line cache and metadata; keeps flags, transform and lookup table.
    virtual void Empty();

    /// Renders a rectangle (inclusive, public coordinates) at `width` x `height` into a 32-bit bitmap that the caller
    /// owns. Null for an image that is not ready, ends that are not in order, or a cancelled call.
    virtual HBITMAP GetWindowsBitmap(long x1, long y1, long x2, long y2, unsigned long width, unsigned long height,
                                     bool smooth);
    /// Renders the whole image.
    virtual HBITMAP GetWindowsBitmap(unsigned long width, unsigned long height, bool smooth);

    /// Samples both images over columns ceil(x1)..floor(x2) and rows yLow..yHigh; the result is always 0.0.
    virtual double Compare(Rastrel& other, double x1, double x2, double yHigh, double yLow);
    /// Measures the brightness histogram and sets the lookup table's points; its strength stays 0.
    /// False only when cancelled.
    virtual bool AutoExposure();
    /// Sets the strength of the curve, 0 identity to 1 full. True always.
    virtual bool SetExposure(double amount);
    /// Sets an 8-bit curve through three input levels (0..1 of full scale) at full strength. True always.
    virtual bool SetExposure(double black, double mid, double white);
    /// The same with the mid point half way. True always.
    virtual bool SetExposure(double black, double white);
    /// Smooths the image in place with a separable filter, 8 bits a channel. Widths stretch the kernel in public
    /// orientation. False only when the cancel request is already set.
    virtual bool LowPass(double widthX, double widthY, unsigned char filterType, double parameter);

    /// Mean grey of a rectangle (inclusive, either order, clamped), rounded.
    virtual unsigned char GetPixelGREY8(long x1, long y1, long x2, long y2);
    virtual unsigned char GetPixelGREY8(long x, long y);
    virtual double GetPixelGREYFP64(long x, long y);

    /// Mean of a rectangle with fractional coverage of its last column and row; channels truncated.
    virtual pixel_argb8 GetPixelARGB8(double x1, double y1, double x2, double y2);
    /// Bilinear sample through the view transform; y counts upwards from the bottom row.
    virtual pixel_argb8 GetPixelARGB8(double x, double y);
    /// Alpha-weighted mean whose weight is taken from its own running sum: 0 in every channel for every rectangle.
    virtual pixel_argb8 GetPixelARGB8(long x1, long y1, long x2, long y2);
    virtual pixel_argb8 GetPixelARGB8(long x, long y);

    virtual pixel_argb16 GetPixelARGB16(double x, double y);
    virtual pixel_argb16 GetPixelARGB16(long x, long y);
    virtual pixel_argbfp64 GetPixelARGBFP64(double x, double y);
    virtual pixel_argbfp64 GetPixelARGBFP64(long x, long y);

    virtual void SetPixel(long x, long y, double a, double r, double g, double b);
    virtual void SetPixel(long x, long y, pixel_argbfp64& pixel);
    virtual void SetPixel(long x, long y, unsigned short a, unsigned short r, unsigned short g, unsigned short b);
    virtual void SetPixel(long x, long y, pixel_argb16& pixel);
    virtual void SetPixel(long x, long y, unsigned char a, unsigned char r, unsigned char g, unsigned char b);
    virtual void SetPixel(long x, long y, pixel_argb8& pixel);
    virtual void SetPixel(long x, long y, double grey);
    virtual void SetPixel(long x, long y, unsigned char grey);

    /// Scales the source rectangle (sx1..sx2, sy1..sy2) into the destination rectangle (dx1..dx2, dy1..dy2), all ends
    /// inclusive and public, mirrored where they run in opposite directions. Called on the source. 8 bits a channel.
    /// True always, also when cancelled.
    virtual bool StretchBlt(Rastrel& destination, long dx1, long dx2, long dy1, long dy2, long sx1, long sx2, long sy1,
                            long sy2, unsigned char filterType, double parameter);
    /// Cuts the image down to columns x1..x2 and rows y1..y2 (inclusive, either order). False for an empty area.
    virtual bool Crop(long x1, long x2, long y1, long y2);

    /// Sets the pixels of a line from the lower to the higher corner of the ends' box; no clipping artefacts.
    virtual void DrawLine(long x1, long y1, long x2, long y2, unsigned char alpha, unsigned char red,
                          unsigned char green, unsigned char blue);

    /// @name Rows and columns
    /// `first` to `last` inclusive along the line, in either direction; buffer element i belongs to the i-th coordinate
    /// of the request. Four-channel elements are blue, green, red, alpha. Reads outside the image are reflected, writes
    /// clipped. False only for a null buffer.
    /// @{
    virtual bool GetHLine(pixel_argbfp64* buffer, long x1, long x2, long y);
    virtual bool GetHLine(pixel_argbfp32* buffer, long x1, long x2, long y);
    virtual bool GetHLine(pixel_argb16* buffer, long x1, long x2, long y);
    virtual bool GetHLine(pixel_argb8* buffer, long x1, long x2, long y);
    virtual bool GetHLine(double* buffer, long x1, long x2, long y);
    virtual bool GetHLine(unsigned short* buffer, long x1, long x2, long y);
    virtual bool GetHLine(unsigned char* buffer, long x1, long x2, long y);
    virtual bool GetVLine(pixel_argbfp64* buffer, long y1, long y2, long x);
    virtual bool GetVLine(pixel_argbfp32* buffer, long y1, long y2, long x);
    virtual bool GetVLine(pixel_argb16* buffer, long y1, long y2, long x);
    virtual bool GetVLine(pixel_argb8* buffer, long y1, long y2, long x);
    virtual bool GetVLine(double* buffer, long y1, long y2, long x);
    virtual bool GetVLine(unsigned short* buffer, long y1, long y2, long x);
    virtual bool GetVLine(unsigned char* buffer, long y1, long y2, long x);
    virtual bool SetHLine(pixel_argbfp64* buffer, long x1, long x2, long y);
    virtual bool SetHLine(pixel_argbfp32* buffer, long x1, long x2, long y);
    virtual bool SetHLine(pixel_argb16* buffer, long x1, long x2, long y);
    virtual bool SetHLine(pixel_argb8* buffer, long x1, long x2, long y);
    virtual bool SetHLine(double* buffer, long x1, long x2, long y);
    virtual bool SetHLine(unsigned short* buffer, long x1, long x2, long y);
    virtual bool SetHLine(unsigned char* buffer, long x1, long x2, long y);
    virtual bool SetVLine(pixel_argbfp64* buffer, long y1, long y2, long x);
    virtual bool SetVLine(pixel_argbfp32* buffer, long y1, long y2, long x);
    virtual bool SetVLine(pixel_argb16* buffer, long y1, long y2, long x);
    virtual bool SetVLine(pixel_argb8* buffer, long y1, long y2, long x);
    virtual bool SetVLine(double* buffer, long y1, long y2, long x);
    virtual bool SetVLine(unsigned short* buffer, long y1, long y2, long x);
    virtual bool SetVLine(unsigned char* buffer, long y1, long y2, long x);
    /// @}

    /// Public width: the stored height when `transposed` is set.
    virtual unsigned long GetWidth();
    /// Public height: the stored width when `transposed` is set.
    virtual unsigned long GetHeight();
    /// Bits per pixel; 0 for CM_RGGB12 and for codes that are not in the table.
    virtual unsigned short GetColordepth();
    virtual unsigned char GetColormodel();
    /// The remembered file name, owned by the image; null when there is none.
    virtual wchar_t* GetName();

    /// Recomputes the matrices from the nine transform parameters; to be called after changing them. True always.
    virtual bool TransformSetup();

protected:
    /// Bytes of a packed bitmap; 0 for an unknown code and for a product beyond 64 bits. The 1-bit codes give n / 8
    /// plus 1 when n is not a multiple of 4.
    virtual unsigned __int64 GetBitmapSize(unsigned long width, unsigned long height, unsigned char colormodel);

    /// Reverses the order of `width` pixels of one line in place. False for a colour model it does not know.
    virtual bool mirror(unsigned char* line, unsigned long width, unsigned char colormodel);
    virtual bool resample(unsigned short* destination, unsigned long destinationCount, unsigned short* source,
                          unsigned long sourceCount, char colormodel, unsigned char filterType, double parameter);
    virtual bool resample(unsigned char* destination, unsigned long destinationCount, unsigned char* source,
                          unsigned long sourceCount, char colormodel, unsigned char filterType, double parameter);
    virtual bool lowpass(unsigned short* destination, unsigned short* source, unsigned long count, double width,
                         char filterType, unsigned char colormodel, double parameter);
    virtual bool lowpass(unsigned char* destination, unsigned char* source, unsigned long count, double width,
                         char filterType, unsigned char colormodel, double parameter);

    /// @name Line layer
    /// Stored coordinates. `order` tells the component order of the caller's pixels: set is least significant first.
    /// Reads reflect coordinates outside the image without repeating the edge; line writes are clipped along the line
    /// and refused across it; single-pixel writes are reflected. Each loads an unloaded image first. False for an image
    /// without size.
    /// @{
    virtual bool ReadPixel(pixel_argbfp64& pixel, long x, long y, bool order);
    virtual bool ReadPixel(pixel_argbfp32& pixel, long x, long y, bool order);
    virtual bool ReadPixel(pixel_rggb12& pixel, long x, long y, bool order);
    virtual bool ReadPixel(pixel_argb16& pixel, long x, long y, bool order);
    virtual bool ReadPixel(pixel_argb8& pixel, long x, long y, bool order);
    virtual bool ReadPixel(double& pixel, long x, long y);
    virtual bool ReadPixel(unsigned short& pixel, long x, long y);
    virtual bool ReadPixel(unsigned char& pixel, long x, long y);

    virtual bool WritePixel(long x, long y, double a, double r, double g, double b, bool order);
    virtual bool WritePixel(pixel_argbfp64& pixel, long x, long y, bool order);
    virtual bool WritePixel(long x, long y, float a, float r, float g, float b, bool order);
    virtual bool WritePixel(pixel_argbfp32& pixel, long x, long y, bool order);
    virtual bool WritePixel(pixel_rggb12& pixel, long x, long y, bool order);
    virtual bool WritePixel(long x, long y, unsigned short a, unsigned short r, unsigned short g, unsigned short b,
                            bool order);
    virtual bool WritePixel(pixel_argb16& pixel, long x, long y, bool order);
    virtual bool WritePixel(long x, long y, unsigned char a, unsigned char r, unsigned char g, unsigned char b,
                            bool order);
    virtual bool WritePixel(pixel_argb8& pixel, long x, long y, bool order);
    virtual bool WritePixel(long x, long y, double grey);
    virtual bool WritePixel(long x, long y, unsigned short grey);
    virtual bool WritePixel(long x, long y, unsigned char grey);

    virtual bool ReadHLine(pixel_argbfp64* buffer, long x0, long x1, long y, bool order);
    virtual bool ReadHLine(pixel_argbfp32* buffer, long x0, long x1, long y, bool order);
    virtual bool ReadHLine(pixel_rggb12* buffer, long x0, long x1, long y, bool order);
    virtual bool ReadHLine(pixel_argb16* buffer, long x0, long x1, long y, bool order);
    virtual bool ReadHLine(pixel_argb8* buffer, long x0, long x1, long y, bool order);
    virtual bool ReadHLine(double* buffer, long x0, long x1, long y);
    virtual bool ReadHLine(unsigned short* buffer, long x0, long x1, long y);
    virtual bool ReadHLine(unsigned char* buffer, long x0, long x1, long y);

    virtual bool ReadVLine(pixel_argbfp64* buffer, long y0, long y1, long x, bool order);
    virtual bool ReadVLine(pixel_argbfp32* buffer, long y0, long y1, long x, bool order);
    virtual bool ReadVLine(pixel_rggb12* buffer, long y0, long y1, long x, bool order);
    virtual bool ReadVLine(pixel_argb16* buffer, long y0, long y1, long x, bool order);
    virtual bool ReadVLine(pixel_argb8* buffer, long y0, long y1, long x, bool order);
    virtual bool ReadVLine(double* buffer, long y0, long y1, long x);
    virtual bool ReadVLine(unsigned short* buffer, long y0, long y1, long x);
    virtual bool ReadVLine(unsigned char* buffer, long y0, long y1, long x);

    /// A descending write in the stored layout reverses the caller's buffer for the duration of the call.
    virtual bool WriteHLine(pixel_argbfp64* buffer, long x0, long x1, long y, bool order);
    virtual bool WriteHLine(pixel_argbfp32* buffer, long x0, long x1, long y, bool order);
    virtual bool WriteHLine(pixel_rggb12* buffer, long x0, long x1, long y, bool order);
    virtual bool WriteHLine(pixel_argb16* buffer, long x0, long x1, long y, bool order);
    virtual bool WriteHLine(pixel_argb8* buffer, long x0, long x1, long y, bool order);
    virtual bool WriteHLine(double* buffer, long x0, long x1, long y);
    virtual bool WriteHLine(unsigned short* buffer, long x0, long x1, long y);
    virtual bool WriteHLine(unsigned char* buffer, long x0, long x1, long y);

    virtual bool WriteVLine(pixel_argbfp64* buffer, long y0, long y1, long x, bool order);
    virtual bool WriteVLine(pixel_argbfp32* buffer, long y0, long y1, long x, bool order);
    virtual bool WriteVLine(pixel_rggb12* buffer, long y0, long y1, long x, bool order);
    virtual bool WriteVLine(pixel_argb16* buffer, long y0, long y1, long x, bool order);
    virtual bool WriteVLine(pixel_argb8* buffer, long y0, long y1, long x, bool order);
    virtual bool WriteVLine(double* buffer, long y0, long y1, long x);
    virtual bool WriteVLine(unsigned short* buffer, long y0, long y1, long x);
    virtual bool WriteVLine(unsigned char* buffer, long y0, long y1, long x);
    /// @}

    /// @name Codecs
    /// Each works on an open binary stream that stays the caller's. A reader that declines returns false and leaves
    /// the stream readable for the next one.
    /// @{
    virtual bool ReadRectTIFF(FILE* stream, unsigned long left, unsigned long top, unsigned long right,
                              unsigned long bottom);
    virtual bool ReadTIFF(FILE* stream);
    virtual bool PreReadTIFF(FILE* stream);
    virtual bool WriteTIFF(FILE* stream);
    virtual bool ReadPSB(FILE* stream);
    virtual bool PreReadPSB(FILE* stream);
    virtual bool WritePSB(FILE* stream);
    virtual bool ReadTEMP(FILE* stream);
    virtual bool PreReadTEMP(FILE* stream);
    virtual bool WriteTEMP(FILE* stream);
    virtual bool ReadEXR(FILE* stream);
    virtual bool PreReadEXR(FILE* stream);
    virtual bool WriteEXR(FILE* stream);
    virtual bool ReadORF(FILE* stream);
    virtual bool PreReadORF(FILE* stream);
    virtual bool ReadRectJPEG(FILE* stream, unsigned long left, unsigned long top, unsigned long right,
                              unsigned long bottom);
    virtual bool ReadJPEG(FILE* stream);
    virtual bool PreReadJPEG(FILE* stream);
    virtual bool WriteJPEG(FILE* stream);
    /// @}

    /// Host coordinates to pixel coordinates, in place.
    virtual void CoordToPixel(double& x, double& y);
    /// Pixel coordinates to host coordinates, in place, ignoring the second-order terms; the second row subtracts
    /// `offsetX` from y.
    virtual void PixelToCoord(double& x, double& y);

public:
    /// Whether the image holds pixels or can load them, and has a size and a storable colour model.
    bool GetReady();
    /// Turns the line cache on (empty unless it is on already) or off. Every operation that empties the image turns it
    /// off.
    void EnableCache(bool on);
    /// False for the grey and 1-bit codes, true for every other value.
    bool IsColored();

    /// What a format string names, "TIFF 5.0" for an unknown one. Static storage. At least three characters.
    static const wchar_t* GetFileFormatDesc(const wchar_t* format);
    static const char* GetFileFormatDesc(const char* format);
    /// Offered extensions: terminated strings one after another, an empty one last. Static storage.
    static const wchar_t* GetFileFormats();
    /// Reads the metadata of a JPEG file without touching an image: 0, `kNotOpened`, or `kNotAccepted` when the file
    /// has no readable EXIF block.
    static unsigned __int64 ReadExif(const wchar_t* path, _EXIF* exif);
    static unsigned __int64 ReadExif(const char* path, _EXIF* exif);

    /// Reverses the bytes inside each of `count` elements of `size` bytes, in place. Returns `buffer`.
    static void* FlipByteOrder(void* buffer, unsigned long count, unsigned long size);
    /// Reverses the 16-bit words inside each of `count` elements of 4, 6 or 8 bytes, in place; other sizes change
    /// nothing. Returns `buffer`.
    static void* FlipWordOrder(void* buffer, unsigned long count, unsigned long size);

    unsigned char transposed = 0;     ///< public x is stored y and public y is stored x
    unsigned char mirrorX = 0;        ///< the public x axis is mirrored
    unsigned char mirrorY = 0;        ///< the public y axis is mirrored
    unsigned char componentOrder = 1; ///< stored pixels: 1 least significant component first, 0 in the name's order

    double preScaleX = 1.0;  ///< transform: divides the input x column of the matrix
    double preScaleY = 1.0;  ///< transform: divides the input y column
    double postScaleX = 1.0; ///< transform: divides the output x row
    double postScaleY = 1.0; ///< transform: divides the output y row
    double bilinearX = 0.0;  ///< transform: second-order term for x
    double bilinearY = 0.0;  ///< transform: second-order term for y
    double angle = 0.0;      ///< transform: rotation, radians
    double offsetX = 0.0;    ///< transform: translation in x, pixels
    double offsetY = 0.0;    ///< transform: translation in y, pixels

    _EXIF exif; ///< metadata

    unsigned char cancelRequested = 0; ///< set by any thread: long operations give up at their next row
    std::uint32_t busyCount = 0;       ///< operations under way
    std::uint32_t progress = 0;        ///< per mille of the running operation
    /// Pixel blocks of more bytes than this are kept swapped out.
    std::uint64_t swapThreshold = 0xFFFFFFFFFFFFFFFFULL;

    MemBlockDesc pixels;         ///< the packed bitmap
    LookUpTable lookUpTable;     ///< exposure curve
    wchar_t* name = nullptr;     ///< remembered file name, on the C heap, owned; null when there is none
    std::uint32_t width = 0;     ///< stored width, pixels
    std::uint32_t height = 0;    ///< stored height, pixels
    std::uint8_t colormodel = 0; ///< colour-model code; 0 without an image

protected:
    /// What format string an extension stands for, by its first three characters: 16 "tif", 32 "jpg", 48 "tga",
    /// 64 "exr", 80 "psb", 96 "tmp"; 16 for any other.
    static unsigned char FormatStringToID(const wchar_t* format);
    static unsigned char FormatStringToID(const char* format);
    /// Walks the markers of a JPEG stream and fills the record; false when no EXIF block was read.
    static bool ReadExifJPEG(FILE* stream, _EXIF* exif);

    /// Line buffers that are reused by exact size. Safe from several threads.
    class RASTREL_API ScratchBufferPool {
    public:
        ScratchBufferPool() noexcept = default;
        ScratchBufferPool(const ScratchBufferPool&) = delete;
        ScratchBufferPool& operator=(const ScratchBufferPool&) = delete;
        ~ScratchBufferPool();
        /// A buffer of `size` bytes, undefined contents; null when memory cannot be had.
        void* get(std::uint32_t size);
        /// Gives a buffer back. One that the pool did not hand out is ignored.
        void release(void* buffer);

        /// One buffer, on exactly one of the two lists.
        struct Node {
            void* buffer;
            std::uint32_t size; ///< bytes
            Node* next;
        };

    private:
        Node* free_ = nullptr;
        Node* used_ = nullptr;
        CriticalSection lock_;
    };

    /// Converted copies of recently read rows, direct-mapped: line n lives in slot n mod `Lines`. Every call needs the
    /// image's `cacheLock`.
    template <std::uint32_t Lines>
    class linecache {
    public:
        linecache() noexcept {}
        linecache(const linecache&) = delete;
        linecache& operator=(const linecache&) = delete;
        virtual ~linecache() {
            for (void* copy : buffer)
                std::free(copy);
        }

        /// Copies the cached bytes to `destination` when the slot holds just this request.
        bool lookup(std::uint32_t line, std::uint8_t type, std::uint32_t first, std::uint32_t last, void* destination);
        /// Puts a copy of `size` bytes into the line's slot in place of what it held. Memory that cannot be had leaves
        /// the slot empty.
        void store(std::uint32_t line, std::uint8_t type, std::uint32_t first, std::uint32_t last, const void* source,
                   std::uint32_t size);
        /// Empties the slot when it holds this line.
        void invalidate(std::uint32_t line);

        std::uint32_t line[Lines];  ///< stored line in the slot; 0xFFFFFFFF after invalidation
        std::uint8_t type[Lines];   ///< colour-model code of the cached interchange type
        std::uint32_t size[Lines];  ///< bytes in `buffer`
        std::uint32_t first[Lines]; ///< first x argument of the request that filled the slot
        std::uint32_t last[Lines];  ///< second x argument of that request
        void* buffer[Lines]{};      ///< owned copy of the converted pixels; null while the slot is empty
    };

    unsigned char transformActive = 0;    ///< the transform is not the identity (offsets apart)
    double forwardMatrix[6]{};            ///< row-major 2 x 3; third column: the offsets
    double inverseMatrix[6]{};            ///< row-major 2 x 3; third column: the negated offsets
    ScratchBufferPool scratchPool;        ///< buffers of the line layer
    linecache<1000>* lineCache = nullptr; ///< null while the cache is off
    CRITICAL_SECTION cacheLock;           ///< guards `lineCache` and its contents

    /// Hands the stream to the writer of a format identifier.
    bool writeFormat(FILE* stream, unsigned char format);
    /// The body of both forms of `ReadExif`.
    template <class Char>
    static unsigned __int64 readExifPath(const Char* path, _EXIF* exif) noexcept;

    /// The families of line and pixel operations as templates; completed inside the library.
    struct RASTREL_LOCAL LineLayer;
    friend class rastrel::ImageOperations;
};

/// Allocates and constructs an image; null when memory cannot be had.
RASTREL_API Rastrel* new_Rastrel();
/// Destroys and frees an image made by `new_Rastrel`. Nothing for null.
RASTREL_API void delete_Rastrel(Rastrel* image);

template <std::uint32_t Lines>
bool Rastrel::linecache<Lines>::lookup(std::uint32_t wanted, std::uint8_t wantedType, std::uint32_t wantedFirst,
                                       std::uint32_t wantedLast, void* destination) {
    const std::uint32_t slot = wanted % Lines;
    if (buffer[slot] == nullptr || line[slot] != wanted || type[slot] != wantedType || first[slot] != wantedFirst ||
        last[slot] != wantedLast)
        return false;
    std::memcpy(destination, buffer[slot], size[slot]);
    return true;
}

template <std::uint32_t Lines>
void Rastrel::linecache<Lines>::store(std::uint32_t newLine, std::uint8_t newType, std::uint32_t newFirst,
                                      std::uint32_t newLast, const void* source, std::uint32_t newSize) {
    const std::uint32_t slot = newLine % Lines;
    line[slot] = newLine;
    if (buffer[slot] == nullptr || size[slot] != newSize) {
        std::free(buffer[slot]);
        buffer[slot] = std::malloc(newSize);
        size[slot] = newSize;
    }
    type[slot] = newType;
    first[slot] = newFirst;
    last[slot] = newLast;
    if (buffer[slot] != nullptr) std::memcpy(buffer[slot], source, newSize);
}

template <std::uint32_t Lines>
void Rastrel::linecache<Lines>::invalidate(std::uint32_t stale) {
    const std::uint32_t slot = stale % Lines;
    if (buffer[slot] == nullptr || line[slot] != stale) return;
    std::free(buffer[slot]);
    buffer[slot] = nullptr;
    size[slot] = first[slot] = last[slot] = 0;
    type[slot] = 0;
    line[slot] = 0xFFFFFFFF;
}
