#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "peers/peer.h"

namespace rastrel::bench {
namespace {

cv::Mat view(const void* pixels, int width, int height, int type) {
    return {height, width, type, const_cast<void*>(pixels)};
}

const EnterPixelPeers kPeers({
    {"W1", "OpenCV",
     [](const unsigned char* source, unsigned char* destination, int width, int height) {
         cv::Mat grey = view(destination, width, height, CV_8UC1);
         cv::cvtColor(view(source, width, height, CV_8UC4), grey, cv::COLOR_BGRA2GRAY);
     }},
    {"W2", "OpenCV",
     [](const unsigned char* source, unsigned char* destination, int width, int height) {
         cv::Mat colours = view(destination, width, height, CV_8UC4);
         cv::cvtColor(view(source, width, height, CV_8UC3), colours, cv::COLOR_BGR2BGRA);
     }},
    {"W3_to_float", "OpenCV, channels as they are",
     [](const unsigned char* source, unsigned char* destination, int width, int height) {
         cv::Mat floats = view(destination, width, height, CV_32FC4);
         view(source, width, height, CV_8UC4).convertTo(floats, CV_32F, 1.0 / 255);
     }},
    {"W3_to_bytes", "OpenCV, channels as they are",
     [](const unsigned char* source, unsigned char* destination, int width, int height) {
         cv::Mat bytes = view(destination, width, height, CV_8UC4);
         view(source, width, height, CV_32FC4).convertTo(bytes, CV_8U, 255);
     }},
    {"W4", "OpenCV",
     [](const unsigned char* source, unsigned char* destination, int width, int height) {
         cv::Mat bytes;
         view(source, width, height, CV_16UC3).convertTo(bytes, CV_8U, 1.0 / 257);
         cv::Mat colours = view(destination, width, height, CV_8UC4);
         cv::cvtColor(bytes, colours, cv::COLOR_RGB2BGRA);
     }},
});

ScaleRoutine resizing(int interpolation) {
    return [interpolation](const unsigned char* source, int sourceWidth, int sourceHeight, unsigned char* destination,
                           int width, int height) {
        cv::Mat result = view(destination, width, height, CV_8UC4);
        cv::resize(view(source, sourceWidth, sourceHeight, CV_8UC4), result, result.size(), 0, 0, interpolation);
    };
}

ScaleRoutine smoothing(int taps, double sigma) {
    return [taps, sigma](const unsigned char* source, int, int, unsigned char* destination, int width, int height) {
        cv::Mat result = view(destination, width, height, CV_8UC4);
        cv::GaussianBlur(view(source, width, height, CV_8UC4), result, {taps, taps}, sigma, sigma);
    };
}

const EnterScalePeers kScalePeers({
    {"W5_triangle", "OpenCV area mean", resizing(cv::INTER_AREA)},
    {"W5_triangle", "OpenCV 2 x 2 pixels", resizing(cv::INTER_LINEAR)},
    {"W6_triangle", "OpenCV", resizing(cv::INTER_LINEAR)},
    {"W6_lanczos", "OpenCV four lobes", resizing(cv::INTER_LANCZOS4)},
    {"W7_gaussian_9", "OpenCV", smoothing(9, 1.2533)},
    {"W7_gaussian_33", "OpenCV", smoothing(33, 5.0133)},
});

/// One thread, as everything that is measured here.
const bool kOneThread = [] {
    cv::setNumThreads(1);
    return true;
}();

} // namespace
} // namespace rastrel::bench
