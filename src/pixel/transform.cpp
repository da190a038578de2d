/// The view transform's virtual operations.
#include "pixel/transform.h"

#include "platform/exact_math.h"
#include "rastrel/rastrel.h"

namespace {

/// Beyond this an angle has no direction left to speak of, and what is not finite gives matrices that are not.
constexpr double kLargestExactAngle = 0x1p40;

double cosineOf(double angle) {
    return std::fabs(angle) <= kLargestExactAngle ? rastrel::exactCosine(angle) : std::cos(angle);
}

double sineOf(double angle) {
    return std::fabs(angle) <= kLargestExactAngle ? rastrel::exactSine(angle) : std::sin(angle);
}

} // namespace

bool Rastrel::TransformSetup() {
    const rastrel::TransformParameters parameters{preScaleX, preScaleY, postScaleX, postScaleY, bilinearX,
                                                  bilinearY, angle,     offsetX,    offsetY};
    rastrel::setUpMatrices(parameters, cosineOf(angle), sineOf(angle), forwardMatrix, inverseMatrix);
    transformActive = rastrel::isActive(parameters) ? 1 : 0;
    return true;
}

void Rastrel::CoordToPixel(double& x, double& y) {
    rastrel::mapForward(forwardMatrix, transformActive != 0, bilinearX, bilinearY, x, y);
}

void Rastrel::PixelToCoord(double& x, double& y) {
    const double dx = x - forwardMatrix[2];
    const double dy = y - forwardMatrix[5];
    const double dyFromOffsetX = y - forwardMatrix[2]; // the second row uses offsetX too; hosts rely on it
    x = dx * inverseMatrix[0] + dy * inverseMatrix[1];
    y = dyFromOffsetX * inverseMatrix[3] + dy * inverseMatrix[4];
}
