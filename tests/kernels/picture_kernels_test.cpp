#include <array>

#include "bare_device.h"

namespace nuvra::test {

namespace {

using reference::Axis;
using reference::RandomPlane;
using Pair = std::array<Int32, 2>;
constexpr const char* kRelaxed = "-cl-fast-relaxed-math";

class PictureKernelsTest : public BareDeviceTest {
protected:
    /// The taps of one axis, made on the device.
    struct Taps {
        cl_mem index;
        cl_mem weights;
        Int32 count;
    };
    Taps PrepareTaps(cl_program program, const Axis& axis, Int32 multiple);
};

/// What these write is compared on the module's own devices; here a simulator watches how they reach memory.
TEST_F(PictureKernelsTest, EveryOtherKernelRuns) {
    const cl_program clear = BuildFile("clearmem_task.cl", "");
    const cl_mem buffer = CreateBuffer(std::vector<UChar>(64));
    Run(clear, "ClearMem16_0", {{4}}, buffer);
    Run(clear, "ClearMem1_0", {{5}, {}, {59}}, buffer);
    Run(clear, "ClearMem16_v", {{1}, {}, {3}}, buffer, std::array<UChar, 16>{});
    Run(clear, "ClearMem1_v", {{3}, {}, {61}}, buffer, UChar{0xCD});
    const cl_mem table = CreateBuffer(std::vector<UInt32>(256));
    for (const char* options : {kRelaxed, "-cl-fast-relaxed-math -D SMALL_LOCAL_MEMORY"})
        for (const Int32 size : {9, 16391})
            Run(BuildFile("crc32c_task.cl", options), "CalculateCRC", {{1}}, table,
                CreateBuffer(std::vector<UChar>(static_cast<size_t>(size))), size,
                CreateBuffer(std::vector<UInt32>(1)));
    const cl_mem picture = CreateImage(RandomPlane(8, 8, 1));
    const cl_mem result = CreateImage(RandomPlane(8, 8, 2));
    Run(BuildFile("image_invert.cl", kRelaxed), "InvertImage", {{5, 4}, {}, {2, 3}}, picture, result);
    Run(BuildFile("image_gamma.cl", kRelaxed), "InvertImage", {{5, 4}, {}, {2, 3}}, picture, result, 2.2F);
    Run(BuildFile("image_stereo_sbs.cl", kRelaxed), "InvertImage", {{8, 8}}, picture, picture, result);
    Run(BuildFile("image_scale_nearest.cl", kRelaxed), "ScaleNearest", {{8, 8}}, picture, result,
        std::array<Int32, 4>{}, std::array<float, 2>{0.7F, 1});
}

PictureKernelsTest::Taps PictureKernelsTest::PrepareTaps(cl_program program, const Axis& axis,
                                                         Int32 multiple) {
    const float half = 2 * std::fabs(axis.scale);
    const Int32 needed = std::max(2 * static_cast<Int32>(std::ceil(half)) + 1, 4);
    Taps taps{nullptr, nullptr, (needed + multiple - 1) / multiple * multiple};
    const auto extent = static_cast<size_t>(axis.extent);
    const auto count = static_cast<size_t>(taps.count);
    taps.index = CreateBuffer(std::vector<Pair>(extent));
    taps.weights = CreateBuffer(std::vector<float>(extent * count));
    const bool isMirrored = axis.sourceExtent < 0;
    Run(program, isMirrored ? "PrepareBufferNegative" : "PrepareBufferPositive", {{extent}}, taps.index,
        taps.weights, axis.scale, 1 / std::fabs(axis.scale), static_cast<Int32>(axis.origin),
        static_cast<Int32>(axis.sourceExtent + (isMirrored ? 1 : -1)), taps.count, half);
    const auto spans = Read<Pair>(taps.index, extent);
    const auto weights = Read<float>(taps.weights, extent * count);
    for (size_t i = 0; i < extent; i++) {
        const std::vector<reference::Tap> expected = TapsOf(axis, static_cast<Int64>(i));
        EXPECT_EQ(spans[i][0], expected.front().position) << i;
        EXPECT_EQ(spans[i][1], expected.back().position) << i;
        for (size_t k = 0; k < expected.size(); k++)
            EXPECT_NEAR(weights[i * count + k], expected[k].weight, 2e-6) << i << ", tap " << k;
    }
    return taps;
}

TEST_F(PictureKernelsTest, BicubicIsTheDefinition) {
    const Plane source = RandomPlane(8, 8, 1);
    const cl_program program = BuildFile("image_scale_bicubic.cl", kRelaxed);
    // From a rectangle of 8 x 8 pixels to one of 12 x 10.
    const std::pair<Axis, Axis> cases[] = {
        {{0, 8, 0, 4}, {0, 8, 0, 2}},   {{0, 8, 1, 8}, {1, 6, 2, 8}},     {{5, 3, 0, 12}, {7, 1, 0, 10}},
        {{0, 8, 3, -4}, {0, 8, 9, -9}}, {{2, 5, 11, -12}, {3, 2, 9, -8}},
    };
    for (const auto& [x, y] : cases) {
        const cl_mem image = CreateImage(Plane(12, 10, -77));
        const Taps columns = PrepareTaps(program, x, 4);
        const Taps rows = PrepareTaps(program, y, 1);
        const Pair off = {static_cast<Int32>(x.destination), static_cast<Int32>(y.destination)};
        Run(program, "ScaleBicubic", {{static_cast<size_t>(x.extent), static_cast<size_t>(y.extent)}},
            CreateImage(source), image, columns.index, rows.index, columns.weights, rows.weights,
            columns.count / 4, rows.count, off);
        const Plane result = ReadImage(image, 12, 10);
        for (Int64 i = 0; i < 12 * 10; i++) {
            const Int64 column = i % 12;
            const Int64 row = i / 12;
            const auto [value, magnitude] = x.Has(column) && y.Has(row)
                                                ? BicubicAt(source, x, column, y, row, 1)
                                                : reference::Sample{-77, 0};
            ASSERT_NEAR(result.At(column, row, 1), value, 1e-5 * magnitude) << column << ", " << row;
        }
    }
    // Far from the origin, a position that is not rounded before it is used gives other weights.
    PrepareTaps(program, {0, 301, 0, 173}, 4);
}

}  // namespace

}  // namespace nuvra::test
