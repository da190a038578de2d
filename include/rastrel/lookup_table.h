/// @file lookup_table.h
/// The tone curve that every image owns.
#pragma once

#include "ondrel/mem_block.h"
#include "rastrel/pixel.h"
#include "rastrel/rastrel_api.h"

/// A quadratic tone curve through three points, blended with the identity and tabulated for 8- or 16-bit samples.
///
/// With a = `amount`, B = a black, M = (mid - 0.5) a + 0.5 and W = (white - 1) a + 1, the curve runs through (B, 0),
/// (M, 0.5) and (W, 1). No image operation applies the table to pixels: hosts do, through `LookUp`.
/// `Refresh` must follow every change of the four parameters. Not safe against concurrent change.
class RASTREL_API LookUpTable {
public:
    LookUpTable() noexcept;
    LookUpTable(const LookUpTable& other) noexcept;
    virtual ~LookUpTable();

    /// Maps all four components in place when the table is active.
    virtual void LookUp(pixel_argb16& pixel);
    /// @copydoc LookUp(pixel_argb16&)
    virtual void LookUp(pixel_argb8& pixel);
    virtual const LookUpTable& operator=(const LookUpTable& other);
    /// Resets the parameters, then allocates tables for `mode` 1 (256 bytes) or 2 (65536 16-bit entries) and fills
    /// them. False, with an empty table, for any other mode or when memory cannot be had.
    virtual bool Init(unsigned char mode);
    /// Recomputes the tables from the parameters; false without tables.
    virtual bool Refresh();
    /// Appends the table's record: 32-bit length 33, mode, black, mid, white, amount.
    virtual bool Save(MemBlockDesc& block);
    /// Reads a record at `position`, moves `position` past it and returns what `Refresh` returns. False at once, with
    /// `position` at the value that is not there, when the block ends inside the record.
    virtual bool Restore(MemBlockDesc& block, unsigned __int64& position);

    double black = 0.0;         ///< input level, 0..1 of full scale, that maps to 0
    double mid = 0.5;           ///< input level that maps to 0.5
    double white = 1.0;         ///< input level that maps to 1
    double amount = 0.0;        ///< 0 is the identity, 1 the full curve
    unsigned char* tables[4]{}; ///< one per channel, all of the same values; owned; null while empty
    unsigned char mode = 0;     ///< 0 none, 1 eight-bit, 2 sixteen-bit
    bool active = false;        ///< the curve differs from the identity
};
