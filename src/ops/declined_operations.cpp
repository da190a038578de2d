/// Operations that this build does not have: they fail without effect.
#include "rastrel/rastrel.h"

unsigned __int64 Rastrel::Save(MemBlockDesc&) { return kNotAccepted; }
unsigned __int64 Rastrel::Restore(MemBlockDesc&, unsigned __int64&) { return kNotAccepted; }
