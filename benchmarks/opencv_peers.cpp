#include <cmath>
#include <opencv2/core.hpp>
#include <opencv2/core/ocl.hpp>
#include <opencv2/imgproc.hpp>

#include "peers.h"

namespace nuvra::bench {
namespace {

/// Repeats `job`, from one picture to another.
template <class Array, class Job>
Way Repeat(const char* name, Job job) {
    return {name, [job](benchmark::State& state) {
                const bool usesOpenCl = std::is_same_v<Array, cv::UMat>;
                cv::ocl::setUseOpenCL(usesOpenCl);  // first: it decides where pictures are made
                Array from;
                Array to;
                cv::Mat noise(kPictureHeight, kPictureWidth, CV_8UC4);
                cv::randu(noise, 0, 256);
                noise.copyTo(from);
                for (auto _ : state) {
                    job(from, to);
                    if (usesOpenCl) cv::ocl::finish();
                }
            }};
}

template <class Job>
Way MakeWay(Runs runs, Job job) {
    return runs == Runs::ON_OPENCL ? Repeat<cv::UMat>("OpenCV, OpenCL", job) : Repeat<cv::Mat>("OpenCV", job);
}

Way MakeResize(Runs runs, int width, int height, int filter) {
    return MakeWay(runs, [=](const auto& from, auto& to) {
        cv::resize(from, to, cv::Size(width, height), 0, 0, filter);
    });
}

}  // namespace

Way MakeOpenCvInvert(Runs runs) {
    return MakeWay(runs, [](const auto& from, auto& to) { cv::bitwise_not(from, to); });
}

Way MakeOpenCvGamma(Runs runs, double gamma) {
    cv::Mat table(1, 256, CV_8U);
    for (int i = 0; i < 256; i++)
        table.at<unsigned char>(0, i) = cv::saturate_cast<unsigned char>(255 * std::pow(i / 255.0, gamma));
    return MakeWay(runs, [table](const auto& from, auto& to) { cv::LUT(from, table, to); });
}

Way MakeOpenCvNearest(Runs runs, int width, int height) {
    return MakeResize(runs, width, height, cv::INTER_NEAREST);
}

Way MakeOpenCvCubic(Runs runs, int width, int height) {
    return MakeResize(runs, width, height, cv::INTER_CUBIC);
}

}  // namespace nuvra::bench
