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

/// The area in the middle, copied into memory of its own.
void copyMiddle(const unsigned char* source, int sourceWidth, int sourceHeight, unsigned char* destination, int width,
                int height) {
    const cv::Rect area((sourceWidth - width) / 2, (sourceHeight - height) / 2, width, height);
    cv::Mat result = view(destination, width, height, CV_8UC4);
    view(source, sourceWidth, sourceHeight, CV_8UC4)(area).copyTo(result);
}

const EnterScalePeers kCropPeers({{"W13", "OpenCV copy", copyMiddle}});

void countGreys(const unsigned char* source, unsigned char* destination, int width, int height) {
    cv::Mat grey = view(destination, width, height, CV_8UC1);
    cv::cvtColor(view(source, width, height, CV_8UC4), grey, cv::COLOR_BGRA2GRAY);
    cv::Mat histogram;
    cv::calcHist(std::vector<cv::Mat>{grey}, {0}, {}, histogram, {256}, {0.0F, 256.0F});
}

const EnterPixelPeers kHistogramPeers({{"W14", "OpenCV, 256 greys", countGreys}});

void sampleAll(const unsigned char* source, int width, int height, const SamplePositions& at, unsigned char* samples) {
    cv::Mat result = view(samples, width, height, CV_8UC4);
    cv::remap(view(source, width, height, CV_8UC4), result, view(at.x.data(), width, height, CV_32FC1),
              view(at.y.data(), width, height, CV_32FC1), cv::INTER_LINEAR, cv::BORDER_REFLECT_101);
}

const EnterSamplePeers kSamplePeers({{"OpenCV, all at once", sampleAll}});

/// One thread, as everything that is measured here.
const bool kOneThread = [] {
    cv::setNumThreads(1);
    return true;
}();

} // namespace
} // namespace rastrel::bench
