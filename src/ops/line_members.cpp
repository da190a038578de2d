/// The line kernels as virtual operations.
#include "ops/mirror_kernel.h"
#include "rastrel/rastrel.h"

bool Rastrel::mirror(unsigned char* line, unsigned long lineWidth, unsigned char lineModel) {
    return rastrel::mirrorLine(line, lineWidth, lineModel);
}
