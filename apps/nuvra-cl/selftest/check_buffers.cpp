#include <chrono>
#include <random>
#include <vector>

#include "selftest/check.h"
#include "selftest/references.h"

namespace nuvra::app {

double MeasureSpeed(const Device& device, const char* task, const void* parameters, double units) {
    const OpenCLTaskRef built = device.GetTask(task);
    std::chrono::duration<double> seconds{};
    for (int round = 0; round < 2; round++) {
        const auto start = std::chrono::steady_clock::now();
        device.Run(built, task, parameters);
        device.Check(device.queue.Finish(), "finish the task " + Quote(task));
        seconds = std::chrono::steady_clock::now() - start;
    }
    return units / seconds.count();
}

namespace {

template <class T>
OpenCLMemoryObjectRef MakeBuffer(const Device& device, std::vector<T>& values) {
    return device.Check(
        device.context.CreateBuffer(OpenCLMemoryFlags::READ_WRITE | OpenCLMemoryFlags::COPY_HOST_PTR,
                                    values.size() * sizeof(T), values.data()),
        "make a buffer");
}

template <class T>
void ReadBuffer(const Device& device, const OpenCLMemoryObjectRef& buffer, std::vector<T>& values) {
    device.Check(device.queue.EnqueueReadBuffer(buffer, true, 0, values.size() * sizeof(T), values.data()),
                 "read a buffer");
}

template <class T>
std::vector<T> MakeRandom(size_t count) {
    std::mt19937 random(1);
    std::vector<T> values(count);
    for (T& value : values) value = static_cast<T>(random());
    return values;
}

/// The largest difference of two lists of whole numbers.
template <class T>
double Compare(const std::vector<T>& values, const std::vector<T>& expected) {
    double largest = 0;
    for (size_t i = 0; i < values.size(); i++)
        largest =
            std::max(largest, std::abs(static_cast<double>(values[i]) - static_cast<double>(expected[i])));
    return largest;
}

}  // namespace

SelfCheckOutcome CheckClearMemory(const Device& device) {
    constexpr size_t kSize = (size_t{16} << 20) + 7;
    constexpr size_t kKept = 9;
    std::vector<UChar> bytes = MakeRandom<UChar>(kSize + kKept);
    const OpenCLMemoryObjectRef buffer = MakeBuffer(device, bytes);
    const ClearMemParameters parameters{1, &buffer, kSize, 0xA5};
    const double speed = MeasureSpeed(device, "clearmem", &parameters, kSize / 1e6);
    std::vector<UChar> expected = bytes;
    std::fill_n(expected.begin(), kSize, UChar{0xA5});
    ReadBuffer(device, buffer, bytes);
    return {Compare(bytes, expected), 0, speed, "MB/s"};
}

SelfCheckOutcome CheckCrc32c(const Device& device) {
    std::vector<UChar> bytes = MakeRandom<UChar>((size_t{4} << 20) - 3);
    std::vector<UInt32> crc(1);
    const OpenCLMemoryObjectRef data = MakeBuffer(device, bytes);
    const OpenCLMemoryObjectRef result = MakeBuffer(device, crc);
    const Crc32cParameters parameters{1, &data, &result, static_cast<Int32>(bytes.size()), true};
    const double speed = MeasureSpeed(device, "crc32c", &parameters, static_cast<double>(bytes.size()) / 1e6);
    ReadBuffer(device, result, crc);
    return {Compare(crc, {~reference::Crc32c(bytes)}), 0, speed, "MB/s"};
}

SelfCheckOutcome CheckPrefixSum(const Device& device) {
    constexpr size_t kCount = (size_t{1} << 21) - 5;
    constexpr size_t kPadded = size_t{1} << 21;
    std::vector<UInt32> values = MakeRandom<UInt32>(kPadded);
    std::vector<UInt32> sums(kPadded);
    const OpenCLMemoryObjectRef input = MakeBuffer(device, values);
    const OpenCLMemoryObjectRef output = MakeBuffer(device, sums);
    const PrefixSumParameters parameters{1, &input, &output, kPadded, kCount, false, nullptr};
    const double speed = MeasureSpeed(device, "prefixsum", &parameters, kCount / 1e6);
    sums.resize(kCount);
    ReadBuffer(device, output, sums);
    values.resize(kCount);
    return {Compare(sums, reference::SumsOf(values, kCount)), 0, speed, "million values/s"};
}

}  // namespace nuvra::app
