#include <array>

#include "bare_device.h"

namespace nuvra::test {

namespace {

using reference::Axis;
using reference::RandomPlane;
using Pair = std::array<Int32, 2>;
constexpr const char* kRelaxed = "-cl-fast-relaxed-math";

using PictureKernelsTest = BareDeviceTest;

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

/// The taps are compared here; far from the origin, a position that is not rounded before it is used gives
/// others.
TEST_F(PictureKernelsTest, TheTapsOfBicubicAreTheDefinitionsAndItStaysWithinThem) {
    const cl_program program = BuildFile("image_scale_bicubic.cl", kRelaxed);
    // Of 8 pixels but for the last; all spans fit into twelve taps.
    for (const Axis& axis : {Axis(0, 8, 0, 4), Axis(5, 3, 0, 12), Axis(0, 8, 9, -9), Axis(2, 5, 11, -12),
                             Axis(0, 301, 0, 173)}) {
        constexpr Int32 kTaps = 12;
        const auto extent = static_cast<size_t>(axis.extent);
        const cl_mem index = CreateBuffer(std::vector<Pair>(extent));
        const cl_mem weights = CreateBuffer(std::vector<float>(extent * kTaps));
        const bool isMirrored = axis.sourceExtent < 0;
        Run(program, isMirrored ? "PrepareBufferNegative" : "PrepareBufferPositive", {{extent}}, index,
            weights, axis.scale, 1 / std::fabs(axis.scale), static_cast<Int32>(axis.origin),
            static_cast<Int32>(axis.sourceExtent + (isMirrored ? 1 : -1)), kTaps, 2 * std::fabs(axis.scale));
        const auto spans = Read<Pair>(index, extent);
        const auto values = Read<float>(weights, extent * kTaps);
        for (size_t i = 0; i < extent; i++) {
            const std::vector<reference::Tap> expected = TapsOf(axis, static_cast<Int64>(i));
            EXPECT_EQ(spans[i], (Pair{static_cast<Int32>(expected.front().position),
                                      static_cast<Int32>(expected.back().position)}))
                << i;
            for (size_t k = 0; k < expected.size(); k++)
                EXPECT_NEAR(values[i * kTaps + k], expected[k].weight, 2e-6) << i << ", tap " << k;
        }
        if (axis.extent > 12) continue;
        Run(program, "ScaleBicubic", {{extent, extent}}, CreateImage(RandomPlane(8, 8, 1)),
            CreateImage(Plane(12, 12)), index, index, weights, weights, kTaps / 4, kTaps, Pair{});
    }
}

}  // namespace

}  // namespace nuvra::test
