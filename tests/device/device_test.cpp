#include <functional>
#include <limits>
#include <numeric>

#include "nuvra/open_cl.h"
#include "references.h"
#include "test_host.h"

namespace nuvra::test {
namespace {

/// The value of an operation that must succeed.
template <class T>
T Get(Result<T> result) {
    EXPECT_TRUE(IsOk(result));
    return std::move(result).GetValue();
}

/// The module on a real OpenCL runtime: the system's own, or the file that NUVRA_OPENCL_RUNTIME names. Uses
/// the first device of the first platform that has one.
class DeviceTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(IsOk(host.Start({OPENCL_MODULE_FILE})));
        BaseArray<OpenCLPlatformRef> platforms;
        ASSERT_TRUE(IsOk(OpenCL::GetPlatforms(platforms)));
        BaseArray<OpenCLDeviceRef> devices;
        for (const OpenCLPlatformRef& each : platforms)
            if (devices.IsEmpty()) static_cast<void>(each.GetDevices(devices));
        ASSERT_FALSE(devices.IsEmpty()) << "no platform of this runtime has a device";
        if (const char* expected = std::getenv("NUVRA_TEST_PLATFORM")) {
            const Data name = Get(platforms[0].GetInfo(OpenCLPlatformInfo::NAME));
            ASSERT_EQ(name.Find<String>()->GetView(), expected) << "this is another runtime";
        }
        device = devices[0];
        const auto number = [&](UInt32 which) {
            return reinterpret_cast<void*>(*Get(device.GetInfo(which)).Find<Int64>());
        };
        BaseArray<cl_device_id> ids;
        ASSERT_TRUE(IsOk(ids.Append(static_cast<cl_device_id>(number(OpenCLDeviceInfo::ID)))));
        auto* platform = static_cast<cl_platform_id>(number(OpenCLDeviceInfo::PLATFORM));
        context = Get(OpenCL::CreateContext(platform, ids));
        queue = Get(context.CreateCommandQueue());
    }

    void Execute(std::string_view task, const void* record, const OpenCLCommandQueueRef& on) {
        ASSERT_TRUE(IsOk(Get(context.GetTask(MakeText(task))).Execute(context, on, record)));
    }
    template <class T>
    OpenCLMemoryObjectRef CreateBuffer(const std::vector<T>& values) {
        return Get(context.CreateBuffer(OpenCLMemoryFlags::READ_WRITE | OpenCLMemoryFlags::COPY_HOST_PTR,
                                        values.size() * sizeof(T), const_cast<T*>(values.data())));
    }
    template <class T>
    std::vector<T> ReadBuffer(const OpenCLMemoryObjectRef& buffer, size_t count) {
        std::vector<T> values(count);
        EXPECT_TRUE(IsOk(queue.EnqueueReadBuffer(buffer, true, 0, count * sizeof(T), values.data())));
        return values;
    }
    /// Whether something of that size would take a simulator too long.
    static bool IsTooLarge(size_t size) {
        const char* largest = std::getenv("NUVRA_TEST_LARGEST");
        return largest != nullptr && size > std::stoul(largest);
    }

    static std::map<std::string, std::string> ChooseRuntime() {
        const char* runtime = std::getenv("NUVRA_OPENCL_RUNTIME");
        if (runtime == nullptr) return {};
        return {{OPENCL_RUNTIME_NAME, runtime}};
    }
    TestHost host{ChooseRuntime()};  // outlives the objects below
    OpenCLContextRef context;
    OpenCLDeviceRef device;
    OpenCLCommandQueueRef queue;
};

using reference::Axis;
using reference::Plane;
using reference::RandomPlane;
using reference::Sample;

using BufferTaskTest = DeviceTest;

std::vector<UChar> MakeBytes(size_t size) {
    std::vector<UChar> bytes(size);
    for (size_t i = 0; i < size; i++) bytes[i] = static_cast<UChar>(i * 167 + (i >> 8) * 31);
    return bytes;
}

TEST_F(BufferTaskTest, ClearedBytesHoldTheValueAndTheBytesBehindThemStay) {
    for (const Int64 size : {0, 15, 16, 35, 65536 + 13}) {
        for (const UChar value : {UChar{0}, UChar{0xAB}}) {
            if (IsTooLarge(static_cast<size_t>(size))) continue;
            std::vector<UChar> bytes = MakeBytes(static_cast<size_t>(size) + 64);
            const OpenCLMemoryObjectRef buffer = CreateBuffer(bytes);
            const ClearMemParameters parameters{1, &buffer, size, value};
            Execute("clearmem", &parameters, queue);
            std::fill_n(bytes.begin(), size, value);
            EXPECT_EQ(ReadBuffer<UChar>(buffer, bytes.size()), bytes) << size << " bytes of " << int{value};
        }
    }
}

class Crc32cTest : public DeviceTest {
protected:
    /// The checksum of two pieces, the first of that size.
    UInt32 Checksum(const std::vector<UChar>& bytes, Int64 split) {
        const OpenCLMemoryObjectRef crc = CreateBuffer(std::vector<UInt32>(1));
        for (const bool isFirst : {true, false}) {
            std::vector<UChar> piece(isFirst ? bytes.begin() : bytes.begin() + split,
                                     isFirst ? bytes.begin() + split : bytes.end());
            const auto size = static_cast<Int32>(piece.size());
            piece.push_back(1);  // an empty piece still needs a buffer to point at
            const OpenCLMemoryObjectRef data = CreateBuffer(piece);
            const Crc32cParameters parameters{1, &data, &crc, size, isFirst};
            Execute("crc32c", &parameters, queue);
        }
        return ~ReadBuffer<UInt32>(crc, 1)[0];
    }
};

TEST_F(Crc32cTest, TheValueIsTheDefinitionsAtEverySizeAndSplit) {
    // Up to 1 KiB goes byte by byte, and what is no whole round of blocks. Processors cut from 1 MiB on,
    // others from 64 KiB on.
    for (const Int64 size : {0, 1, 1023, 1024, 20001, 65535, 65536, 300127, 1048575, 1048576, 5000001}) {
        const std::vector<UChar> bytes = MakeBytes(static_cast<size_t>(size));
        if (IsTooLarge(bytes.size() / 4)) continue;  // a byte is little work
        EXPECT_EQ(Checksum(bytes, size), reference::Crc32c(bytes)) << size;
        EXPECT_EQ(Checksum(bytes, size / 3), reference::Crc32c(bytes)) << size;
    }
    for (const Int64 split : {1, 2, 35, 69})
        EXPECT_EQ(Checksum(MakeBytes(70), split), reference::Crc32c(MakeBytes(70))) << split;
}

class PrefixSumTest : public DeviceTest {
protected:
    struct Scan {
        Int64 count;
        size_t width;
        std::vector<UInt32> values;  // padded
        OpenCLMemoryObjectRef input;
        OpenCLMemoryObjectRef output;
    };

    /// Values depend on their position and wrap around; beyond the count stand others, which must not matter.
    Scan Start(Int64 count, bool merge, const OpenCLCommandQueueRef& on, UInt32* total = nullptr) {
        const OpenCLTaskRef task = Get(context.GetTask(MakeText("prefixsum")));
        const Int64 padded = *task.QueryParameter(0, Get(Data::Of(count))).Find<Int64>();
        Scan scan{count, merge ? 2U : 1U, std::vector<UInt32>(static_cast<size_t>(padded)), {}, {}};
        std::mt19937 random(static_cast<unsigned>(count));
        for (UInt32& value : scan.values) value = static_cast<UInt32>(random());
        scan.input = CreateBuffer(scan.values);
        scan.output = CreateBuffer(std::vector<UInt32>(scan.values.size() * scan.width, 0xDEADBEEF));
        const PrefixSumParameters parameters{1, &scan.input, &scan.output, padded, count, merge, total};
        Execute("prefixsum", &parameters, on);
        return scan;
    }

    void Check(const Scan& scan) {
        std::vector<UInt32> expected;
        const std::vector<UInt32> sums = reference::SumsOf(scan.values, scan.values.size());
        for (size_t i = 0; i < static_cast<size_t>(scan.count); i++) {
            expected.push_back(sums[i]);
            if (scan.width == 2) expected.push_back(scan.values[i]);
        }
        EXPECT_TRUE(ReadBuffer<UInt32>(scan.output, expected.size()) == expected) << scan.count;
    }
};

TEST_F(PrefixSumTest, SumsPairsAndTotalsAreExactAtEverySize) {
    for (const Int64 count : {1, 2, 31, 4096, 4097, 16384, 16385, 100000, 1000003, (1 << 24) + 5}) {
        for (const bool merge : {false, true}) {
            if (IsTooLarge(static_cast<size_t>(count))) continue;
            UInt32 total = 0;
            const Scan scan = Start(count, merge, queue, &total);
            Check(scan);
            EXPECT_EQ(total, std::accumulate(&scan.values[0], &scan.values[0] + count, UInt32{0})) << count;
        }
    }
}

TEST_F(PrefixSumTest, CallsInTurnOnQueuesOfEitherOrderDoNotDisturbEachOther) {
    // A device without queues that reorder gets one more that does not.
    const UInt64 flags = *Get(device.GetInfo(OpenCLDeviceInfo::QUEUE_PROPERTIES)).Find<UInt64>();
    const OpenCLCommandQueueRef outOfOrder = Get(
        context.CreateCommandQueue(static_cast<UInt32>(flags & OpenCLQueueFlags::OUT_OF_ORDER_EXEC_MODE)));
    const OpenCLCommandQueueRef other = Get(context.CreateCommandQueue());
    const OpenCLCommandQueueRef released = Get(context.CreateCommandQueue());
    std::vector<Scan> scans;
    for (int round = 0; round < 3; round++)
        for (const OpenCLCommandQueueRef& each : {queue, other, outOfOrder, outOfOrder, released})
            scans.push_back(Start(200000 + round * 1000, round % 2 == 1, each));
    ASSERT_TRUE(IsOk(released.Finish()));
    ASSERT_TRUE(IsOk(released.Release()));
    scans.push_back(Start(200000, false, queue));
    for (const OpenCLCommandQueueRef& each : {queue, other, outOfOrder}) ASSERT_TRUE(IsOk(each.Finish()));
    for (const Scan& scan : scans) Check(scan);
}

constexpr float kPoison = -77;

class ImageTaskTest : public DeviceTest {
protected:
    static constexpr size_t kOrigin[3] = {};

    OpenCLMemoryObjectRef Send(const Plane& plane) {
        const size_t region[] = {static_cast<size_t>(plane.width), static_cast<size_t>(plane.height), 1};
        OpenCLMemoryObjectRef image = Get(context.CreateImage2D(
            OpenCLMemoryFlags::READ_WRITE, {OpenCLChannelOrder::RGBA, OpenCLChannelDataType::FLOAT},
            region[0], region[1]));
        EXPECT_TRUE(IsOk(queue.EnqueueWriteImage(image, true, kOrigin, region, 0, 0, plane.values.data())));
        return image;
    }

    /// Runs the task on a destination of that size and compares each value of it with the reference, also
    /// where it is infinite or no number.
    template <class Record>
    void Check(const char* task, Record record, Int64 width, Int64 height,
               const std::function<Sample(Int64 x, Int64 y, size_t channel)>& reference) {
        Plane result(width, height, kPoison);
        const OpenCLMemoryObjectRef destination = Send(result);
        record.destination = &destination;
        Execute(task, &record, queue);
        const size_t region[] = {static_cast<size_t>(width), static_cast<size_t>(height), 1};
        ASSERT_TRUE(
            IsOk(queue.EnqueueReadImage(destination, true, kOrigin, region, 0, 0, result.values.data())));
        for (size_t i = 0; i < result.values.size(); i++) {
            const Int64 x = static_cast<Int64>(i) / 4 % width;
            const Int64 y = static_cast<Int64>(i) / 4 / width;
            const double value = result.values[i];
            const auto [expected, magnitude] = reference(x, y, i % 4);
            ASSERT_TRUE(std::isnan(expected)
                            ? std::isnan(value)
                            : (value == expected && std::signbit(value) == std::signbit(expected)) ||
                                  std::fabs(value - expected) < 1e-5 * magnitude)
                << value << ", not " << expected << " at " << x << ", " << y << " of " << width << " x "
                << height;
        }
    }
};

TEST_F(ImageTaskTest, ValuesInARectangleBecomeOneMinusThemselvesUnclamped) {
    const Plane source = RandomPlane(67, 43, 1);
    const OpenCLMemoryObjectRef image = Send(source);
    for (const auto& [left, top, width, height] : {std::array<Int64, 4>{0, 0, 67, 43}, {10, 20, 5, 7}})
        Check("image.invert", InvertImageParameters{1, &image, nullptr, left, top, width, height}, 67, 43,
              [&, left = left, top = top, width = width, height = height](Int64 x, Int64 y, size_t channel) {
                  if (x < left || x >= left + width || y < top || y >= top + height)
                      return Sample{kPoison, 0};
                  const auto value = static_cast<float>(source.At(x, y, channel));
                  return Sample{channel == 3 ? value : 1.0F - value, 0};
              });
}

TEST_F(ImageTaskTest, RaisedFloatsAreThePowerForEveryKindOfNumber) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    const float kBases[] = {0.0f,  -0.0f,     1e-42f,  1e-30f, 0.25f, 0.5f,  1.0f,   1.5f,       1000.0f,
                            3e38f, kInfinity, -1e-42f, -0.5f,  -1.0f, -2.0f, -3e38f, -kInfinity, kNan};
    const float kExponents[] = {0.0f,  -0.0f, 0.5f,  1.0f,  2.0f,  2.2f,      3.0f,       16777217.0f,
                                1e10f, -0.5f, -1.0f, -2.0f, -3.0f, kInfinity, -kInfinity, kNan};
    Plane source(std::size(kBases), 1);
    for (size_t i = 0; i < source.values.size(); i++) source.values[i] = kBases[i / 4];
    const OpenCLMemoryObjectRef image = Send(source);
    for (const float exponent : kExponents) {
        SCOPED_TRACE(testing::Message() << "to the power " << exponent);
        Check("image.gamma", GammaImageParameters{1, &image, nullptr, 0, 0, source.width, 1, exponent},
              source.width, 1, [&](Int64 x, Int64, size_t channel) {
                  const double base = kBases[x];
                  if (channel == 3 || exponent == 1) return Sample{base, 0};
                  const auto power = static_cast<float>(std::pow(base, double{exponent}));
                  // Denormal results may be flushed to 0.
                  const bool isExact = power == 0 || std::isinf(power);
                  return Sample{power, isExact ? 0 : std::fabs(power) + 1.2e-33};
              });
    }
}

TEST_F(ImageTaskTest, TheStereoImageHoldsTheMeansOfBothPicturesPairs) {
    for (const auto& [sourceWidth, width, height] :
         {std::array<Int64, 3>{5, 5, 2}, {67, 67, 9}, {3, 8, 2}, {1, 1, 1}}) {
        const Plane pictures[] = {RandomPlane(sourceWidth, height, 1), RandomPlane(sourceWidth, height, 2)};
        const OpenCLMemoryObjectRef images[] = {Send(pictures[0]), Send(pictures[1])};
        Check("image.stereo.sbs",
              StereoSbsParameters{1, &images[0], &images[1], nullptr, 0, 0, width, height}, width, height,
              [&, width = width](Int64 x, Int64 y, size_t channel) {
                  const double mean = reference::StereoAt(pictures[0], pictures[1], width, x, y, channel);
                  return Sample{static_cast<float>(mean), 0};
              });
    }
}

TEST_F(ImageTaskTest, ScalingIsTheDefinitionForEveryFilterFactorRectangleAndMirror) {
    const Plane source = RandomPlane(301, 48, 2);
    const OpenCLMemoryObjectRef image = Send(source);
    // The rectangles in the source and in the destination. A large destination after a small one with more
    // taps, and the reverse; far from the origin, a position that is not rounded before it is used gives
    // other taps.
    const std::array<Int64, 8> cases[] = {
        {0, 0, 64, 48, 2, 1, 1, 1},         {0, 0, 64, 48, 2, 1, 200, 3},
        {0, 0, 64, 48, 6, 150, -5, -150},   {0, 0, 64, 48, 65, 1, -64, 48},
        {9, 1, 64, 47, 2, 1, 32, 24},       {0, 0, 64, 48, 3, 2, -2, -1},
        {0, 0, 64, 48, 64, 47, -63, -47},   {50, 40, 14, 8, 31, 1, -30, 20},
        {63, 47, 1, 1, 0, 0, 64, 64},       {0, 0, 301, 1, 0, 0, 173, 1},
        {7, 0, 31, 40, 99, 45, -100, -40},  {0, 0, 100, 40, 3, 2, 1500, 20},
        {0, 0, 40, 44, 3, 1501, 20, -1500},
    };
    for (const auto& [x0, y0, width0, height0, x1, y1, width1, height1] : cases) {
        const Axis columns(x0, width0, x1, width1);
        const Axis rows(y0, height0, y1, height1);
        const ScaleParameters record{1, &image, nullptr, x0, y0, width0, height0, x1, y1, width1, height1};
        const Int64 width = columns.destination + columns.extent + 2;
        const Int64 height = rows.destination + rows.extent + 2;
        if (IsTooLarge(static_cast<size_t>(width * height))) continue;
        for (const bool isBicubic : {false, true})
            Check(isBicubic ? "image.scalebicubic" : "image.scalenearest", record, width, height,
                  [&](Int64 x, Int64 y, size_t channel) {
                      if (!columns.Has(x) || !rows.Has(y)) return Sample{kPoison, 0};
                      if (isBicubic) return reference::BicubicAt(source, columns, x, rows, y, channel);
                      return Sample{reference::NearestAt(source, columns, x, rows, y, channel), 0};
                  });
    }
}

/// Run by itself under a simulator, it shows that races would be seen.
TEST_F(DeviceTest, DISABLED_AScanWithoutBarriersRaces) {
    const char* source =
        "__kernel void Shift(__global uint* values) {\n"
        "    __local uint l_Data[64];\n"
        "    uint lid = get_local_id(0);\n"
        "    l_Data[lid] = values[lid];\n"
        "    values[lid] = l_Data[lid ^ 1];\n"
        "}\n";
    const OpenCLProgramRef program = Get(context.CreateProgramWithSource(1, &source));
    ASSERT_TRUE(IsOk(program.Build(context.GetDevices(), nullptr)));
    const OpenCLKernelRef kernel = Get(program.CreateKernel("Shift"));
    const size_t size = 64;
    ASSERT_TRUE(IsOk(kernel.SetArg(0, CreateBuffer(std::vector<UInt32>(size)))));
    ASSERT_TRUE(IsOk(queue.EnqueueNDRangeKernel(kernel, 1, nullptr, &size, &size)));
    ASSERT_TRUE(IsOk(queue.Finish()));
}

}  // namespace
}  // namespace nuvra::test
