/// @file transform.h
/// The view transform: nine parameters to a pair of matrices, and coordinates through them.
#pragma once

#include <cmath>

namespace rastrel {

/// The parameters as the image holds them.
struct TransformParameters {
    double preScaleX, preScaleY;   ///< divide the x and y columns of the matrix
    double postScaleX, postScaleY; ///< divide its first and second row
    double bilinearX, bilinearY;   ///< second-order terms
    double angle;                  ///< radians
    double offsetX, offsetY;
};

/// A row-major 2 x 3 matrix.
using Matrix = double[6];

/// Whether anything but the offsets differs from the identity.
[[nodiscard]] inline bool isActive(const TransformParameters& p) noexcept {
    return p.preScaleX != 1.0 || p.preScaleY != 1.0 || p.postScaleX != 1.0 || p.postScaleY != 1.0 ||
           p.bilinearX != 0.0 || p.bilinearY != 0.0 || p.angle != 0.0;
}

/// Fills both matrices. Third column: the offsets forward, their negations in the inverse. A singular matrix gives an
/// inverse that is not finite.
inline void setUpMatrices(const TransformParameters& p, double cosine, double sine, Matrix& forward,
                          Matrix& inverse) noexcept {
    forward[0] = cosine / p.preScaleX / p.postScaleX;
    forward[1] = -(sine / p.preScaleY / p.postScaleX);
    forward[2] = p.offsetX;
    forward[3] = sine / p.preScaleX / p.postScaleY;
    forward[4] = cosine / p.preScaleY / p.postScaleY;
    forward[5] = p.offsetY;
    const double determinant = forward[4] * forward[0] - forward[3] * forward[1];
    inverse[0] = forward[4] / determinant;
    inverse[1] = -forward[1] / determinant;
    inverse[2] = -p.offsetX;
    inverse[3] = -forward[3] / determinant;
    inverse[4] = forward[0] / determinant;
    inverse[5] = -p.offsetY;
}

/// Host coordinates to pixel coordinates. Without an active transform the offsets alone count.
inline void mapForward(const Matrix& forward, bool active, double bilinearX, double bilinearY, double& x,
                       double& y) noexcept {
    if (!active) {
        x += forward[2];
        y += forward[5];
        return;
    }
    const double u = forward[0] * x + forward[1] * y;
    const double v = forward[3] * x + forward[4] * y;
    x = (v * bilinearX + 1.0) * u + forward[2];
    y = (u * bilinearY + 1.0) * v + forward[5];
}

} // namespace rastrel
