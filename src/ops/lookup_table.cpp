/// The exposure curve.
#include "rastrel/lookup_table.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <new>

namespace {

constexpr unsigned char kEightBit = 1;
constexpr unsigned char kSixteenBit = 2;
constexpr std::size_t kEntries8 = 256;
constexpr std::size_t kEntries16 = 65536;
/// Bytes of a record behind its length field: the mode and four doubles.
constexpr unsigned int kRecordLength = 33;

/// Bytes of one channel's table; 0 for a mode without tables.
std::size_t tableBytes(unsigned char mode) noexcept {
    if (mode == kEightBit) return kEntries8;
    return mode == kSixteenBit ? kEntries16 * sizeof(std::uint16_t) : 0;
}

/// The blended points and the parabola A t^2 + B t + C through (black, 0), (mid, 1/2) and (white, 1).
class Curve {
public:
    Curve(double black, double mid, double white, double amount) noexcept
        : black_(amount * black), mid_((mid - 0.5) * amount + 0.5), white_((white - 1.0) * amount + 1.0) {
        // Where two points meet, the divisions give coefficients that are not finite.
        const double d = mid_ - black_;
        const double e = mid_ * mid_ - black_ * black_;
        const double span = black_ - white_;
        a_ = ((0.5 / d) * span + 1.0) / (e * span / d + (white_ * white_ - black_ * black_));
        b_ = (0.5 - e * a_) / d;
        c_ = -(a_ * (black_ * black_)) - b_ * black_;
    }

    [[nodiscard]] bool isIdentity() const noexcept { return black_ == 0.0 && mid_ == 0.5 && white_ == 1.0; }

    /// The sample of level `index` / `maximum`: the curve cut to 0..1, truncated. A level at which the curve has no
    /// value (infinite coefficients that cancel) gives 0.
    [[nodiscard]] unsigned entry(unsigned index, double maximum) const noexcept {
        const double t = index / maximum;
        const double value = a_ * (t * t) + b_ * t + c_;
        if (!(value > 0.0)) return 0;
        return static_cast<unsigned>(maximum * (value > 1.0 ? 1.0 : value));
    }

private:
    double black_, mid_, white_;
    double a_, b_, c_;
};

/// Entries of 16-bit tables are held as the bytes of little-endian words, whatever the alignment.
std::uint16_t wordAt(const unsigned char* table, std::size_t index) noexcept {
    std::uint16_t value;
    std::memcpy(&value, table + index * sizeof value, sizeof value);
    return value;
}

void fillTable(unsigned char* table, unsigned char mode, const Curve& curve) noexcept {
    if (mode == kEightBit) {
        for (unsigned i = 0; i < kEntries8; ++i)
            table[i] = static_cast<unsigned char>(curve.entry(i, 255.0));
        return;
    }
    for (unsigned i = 0; i < kEntries16; ++i) {
        const auto value = static_cast<std::uint16_t>(curve.entry(i, 65535.0));
        std::memcpy(table + i * sizeof value, &value, sizeof value);
    }
}

/// One value of a record; false, and `position` unmoved, when the block ends before it.
template <class T>
[[nodiscard]] bool readValue(const MemBlockDesc& block, unsigned __int64& position, T& value) noexcept {
    const unsigned __int64 start = position;
    value = block.Read(position, T{});
    return position != start;
}

} // namespace

LookUpTable::LookUpTable() noexcept = default;

LookUpTable::LookUpTable(const LookUpTable& other) noexcept { LookUpTable::operator=(other); }

LookUpTable::~LookUpTable() {
    for (unsigned char* table : tables)
        delete[] table;
}

const LookUpTable& LookUpTable::operator=(const LookUpTable& other) {
    if (this == &other) return *this;
    Init(other.mode);
    black = other.black;
    mid = other.mid;
    white = other.white;
    amount = other.amount;
    Refresh();
    return *this;
}

bool LookUpTable::Init(unsigned char newMode) {
    for (unsigned char*& table : tables) {
        delete[] table;
        table = nullptr;
    }
    active = false;
    black = 0.0;
    mid = 0.5;
    white = 1.0;
    amount = 0.0;
    mode = 0;
    const std::size_t bytes = tableBytes(newMode);
    if (bytes == 0) return false;
    for (unsigned char*& table : tables) {
        table = new (std::nothrow) unsigned char[bytes];
        if (table == nullptr) {
            LookUpTable::Init(0);
            return false;
        }
    }
    mode = newMode;
    return Refresh();
}

bool LookUpTable::Refresh() {
    const std::size_t bytes = tableBytes(mode);
    if (bytes == 0) return false;
    for (const unsigned char* table : tables) {
        if (table == nullptr) return false;
    }
    const Curve curve(black, mid, white, amount);
    fillTable(tables[0], mode, curve);
    for (unsigned char* table : tables) {
        if (table != tables[0]) std::memcpy(table, tables[0], bytes);
    }
    active = !curve.isIdentity();
    return true;
}

void LookUpTable::LookUp(pixel_argb8& pixel) {
    const unsigned char* const table = tables[0];
    if (!active || table == nullptr) return;
    for (unsigned char* component : {&pixel.b, &pixel.g, &pixel.r, &pixel.a}) {
        if (mode == kEightBit) *component = table[*component];
        // A 16-bit table gives every 8-bit component the high byte of its first entry; hosts rely on it.
        if (mode == kSixteenBit) *component = table[1];
    }
}

void LookUpTable::LookUp(pixel_argb16& pixel) {
    const unsigned char* const table = tables[0];
    if (!active || table == nullptr) return;
    for (unsigned short* component : {&pixel.b, &pixel.g, &pixel.r, &pixel.a}) {
        if (mode == kSixteenBit) *component = wordAt(table, *component);
        // An 8-bit table's value is masked with itself moved up by a byte, which leaves 0; hosts rely on it.
        if (mode == kEightBit) *component = 0;
    }
}

bool LookUpTable::Save(MemBlockDesc& block) {
    return block.Add(kRecordLength) && block.Add(mode) && block.Add(black) && block.Add(mid) && block.Add(white) &&
           block.Add(amount);
}

bool LookUpTable::Restore(MemBlockDesc& block, unsigned __int64& position) {
    unsigned int left = 0;
    unsigned char newMode = 0;
    // A record of no length has no mode either.
    if (!readValue(block, position, left) || left == 0 || !readValue(block, position, newMode)) return false;
    left -= 1;
    Init(newMode);
    for (double* parameter : {&black, &mid, &white, &amount}) {
        if (left < sizeof *parameter) break;
        if (!readValue(block, position, *parameter)) return false;
        left -= static_cast<unsigned int>(sizeof *parameter);
    }
    if (left > block.GetSize() - position) return false;
    position += left;
    return Refresh();
}
