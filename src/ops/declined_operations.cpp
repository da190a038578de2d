/// Operations that this build does not have: they fail without effect.
#include "rastrel/rastrel.h"

unsigned __int64 Rastrel::Save(MemBlockDesc&) { return kNotAccepted; }
unsigned __int64 Rastrel::Restore(MemBlockDesc&, unsigned __int64&) { return kNotAccepted; }

bool Rastrel::AutoExposure() { return false; }
bool Rastrel::SetExposure(double) { return false; }
bool Rastrel::SetExposure(double, double, double) { return false; }
bool Rastrel::SetExposure(double, double) { return false; }

LookUpTable::LookUpTable() noexcept = default;
LookUpTable::LookUpTable(const LookUpTable& other) noexcept
    : black(other.black), mid(other.mid), white(other.white), amount(other.amount) {}
LookUpTable::~LookUpTable() = default;
void LookUpTable::LookUp(pixel_argb16&) {}
void LookUpTable::LookUp(pixel_argb8&) {}
const LookUpTable& LookUpTable::operator=(const LookUpTable& other) {
    black = other.black;
    mid = other.mid;
    white = other.white;
    amount = other.amount;
    return *this;
}
bool LookUpTable::Init(unsigned char) { return false; }
bool LookUpTable::Refresh() { return false; }
bool LookUpTable::Save(MemBlockDesc&) { return false; }
bool LookUpTable::Restore(MemBlockDesc&, unsigned __int64&) { return false; }
