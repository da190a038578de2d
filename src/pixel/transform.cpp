/// The view transform's virtual operations.
#include "pixel/transform.h"

#include "rastrel/rastrel.h"

bool Rastrel::TransformSetup() {
    const rastrel::TransformParameters parameters{preScaleX, preScaleY, postScaleX, postScaleY, bilinearX,
                                                  bilinearY, angle,     offsetX,    offsetY};
    rastrel::setUpMatrices(parameters, std::cos(angle), std::sin(angle), forwardMatrix, inverseMatrix);
    transformActive = rastrel::isActive(parameters) ? 1 : 0;
    return true;
}

void Rastrel::CoordToPixel(double& x, double& y) {
    if (transformActive == 0) {
        x += forwardMatrix[2];
        y += forwardMatrix[5];
        return;
    }
    const double u = forwardMatrix[0] * x + forwardMatrix[1] * y;
    const double v = forwardMatrix[3] * x + forwardMatrix[4] * y;
    x = (v * bilinearX + 1.0) * u + forwardMatrix[2];
    y = (u * bilinearY + 1.0) * v + forwardMatrix[5];
}

void Rastrel::PixelToCoord(double& x, double& y) {
    const double dx = x - forwardMatrix[2];
    const double dy = y - forwardMatrix[5];
    const double dyFromOffsetX = y - forwardMatrix[2]; // the second row uses offsetX too; hosts rely on it
    x = dx * inverseMatrix[0] + dy * inverseMatrix[1];
    y = dyFromOffsetX * inverseMatrix[3] + dy * inverseMatrix[4];
}
