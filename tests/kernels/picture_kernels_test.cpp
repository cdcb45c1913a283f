#include <array>

#include "bare_device.h"

namespace nuvra::test {

namespace {

constexpr const char* kRelaxed = "-cl-fast-relaxed-math";
using Int32s = std::array<Int32, 4>;
using Pair = std::array<Int32, 2>;

class PictureKernelsTest : public BareDeviceTest {
protected:
    /// What `expect(x, y, channel)` says for each pixel of a picture of that size.
    template <class Expect>
    void CheckPicture(cl_mem image, Int64 width, Int64 height, const Expect& expect) {
        const Picture result = ReadImage(image, width, height);
        for (Int64 y = 0; y < height; y++) {
            for (Int64 x = 0; x < width; x++) {
                for (Int64 channel = 0; channel < 4; channel++) {
                    const Sample expected = expect(x, y, channel);
                    ASSERT_NEAR(result.At(x, y, channel), expected.value, expected.bound)
                        << x << ", " << y << ", channel " << channel;
                }
            }
        }
    }

    /// The taps of one axis, made on the device.
    struct Taps {
        cl_mem index;
        cl_mem weights;
        Int32 count;
    };
    Taps PrepareTaps(cl_program program, const Axis& axis, Int32 multiple);
};

Picture Poison(Int64 width, Int64 height) {
    Picture picture(width, height);
    std::fill(picture.values.begin(), picture.values.end(), -77.0f);
    return picture;
}

TEST_F(PictureKernelsTest, MemoryIsCleared) {
    const cl_program program = BuildFile("clearmem_task.cl", "");
    const std::vector<UChar> poison(64, 0x77);
    std::vector<UChar> expected = poison;
    const cl_mem buffer = CreateBuffer(poison);
    Run(program, "ClearMem16_0", {{2}}, buffer);
    std::fill_n(expected.begin(), 32, 0);
    Run(program, "ClearMem1_0", {{5}, {}, {32}}, buffer);
    std::fill_n(expected.begin() + 32, 5, 0);
    EXPECT_EQ(Read<UChar>(buffer, 64), expected);
    std::array<UChar, 16> lanes;
    lanes.fill(0xAB);
    Run(program, "ClearMem16_v", {{1}, {}, {2}}, buffer, lanes);
    std::fill_n(expected.begin() + 32, 16, 0xAB);
    Run(program, "ClearMem1_v", {{3}, {}, {61}}, buffer, UChar{0xCD});
    std::fill_n(expected.begin() + 61, 3, 0xCD);
    EXPECT_EQ(Read<UChar>(buffer, 64), expected);
}

TEST_F(PictureKernelsTest, TheChecksumIsTheDefinitionsByBytesAndByEights) {
    std::vector<UInt32> table;
    for (UInt32 byte = 0; byte < 256; byte++) {
        UInt32 value = byte;
        for (int bit = 0; bit < 8; bit++) value = (value >> 1) ^ ((value & 1) != 0 ? 0x82F63B78U : 0);
        table.push_back(value);
    }
    const cl_mem tableBuffer = CreateBuffer(table);
    for (const char* options : {kRelaxed, "-cl-fast-relaxed-math -D SMALL_LOCAL_MEMORY"}) {
        const cl_program program = BuildFile("crc32c_task.cl", options);
        for (const size_t size : {1U, 9U, 1000U, 16384U, 65413U}) {
            std::vector<UChar> bytes;
            for (size_t i = 0; i < size; i++) bytes.push_back(static_cast<UChar>(i * 167 + (i >> 8) * 31));
            const cl_mem crc = CreateBuffer(std::vector<UInt32>{0xFFFFFFFF});
            Run(program, "CalculateCRC", {{1}}, tableBuffer, CreateBuffer(bytes), static_cast<Int32>(size),
                crc);
            EXPECT_EQ(~Read<UInt32>(crc, 1)[0], Crc32c(bytes)) << size << ' ' << options;
        }
    }
}

/// llvmpipe ends the loops of one work-item after 65535 steps together, so that a checksum of a long piece is
/// wrong there, whatever the kernel.
TEST_F(PictureKernelsTest, ALongLoopRunsToItsEndOrIsKnownNotTo) {
    const cl_program program = Build(
        "__kernel void Count(__global uint* values, uint count) {\n"
        "    uint value = values[0];\n"
        "    for (uint i = 0; i < count; i++) value = value * 1664525u + 1013904223u;\n"
        "    values[0] = value;\n"
        "}\n",
        "");
    const auto valueAfter = [](UInt32 count) {
        UInt32 value = 0;
        for (UInt32 i = 0; i < count; i++) value = value * 1664525U + 1013904223U;
        return value;
    };
    constexpr UInt32 kKnownLimit = 65535;
    for (const UInt32 count : {kKnownLimit, UInt32{70000}}) {
        const cl_mem buffer = CreateBuffer(std::vector<UInt32>{0});
        Run(program, "Count", {{1}}, buffer, count);
        const UInt32 value = Read<UInt32>(buffer, 1)[0];
        if (value == valueAfter(kKnownLimit) && count > kKnownLimit)
            std::cout << "this runtime ends a loop of " << count << " steps after " << kKnownLimit << '\n';
        else
            EXPECT_EQ(value, valueAfter(count)) << count;
    }
}

TEST_F(PictureKernelsTest, ColoursAreInvertedAndRaisedInTheRectangle) {
    Picture source = RandomPicture(8, 8, 1);
    const cl_mem from = CreateImage(source);
    const Range range{{5, 4}, {}, {2, 3}};
    const auto isOutside = [](Int64 x, Int64 y) { return x < 2 || x >= 7 || y < 3 || y >= 7; };
    const cl_mem inverted = CreateImage(Poison(8, 8));
    Run(BuildFile("image_invert.cl", kRelaxed), "InvertImage", range, from, inverted);
    CheckPicture(inverted, 8, 8, [&](Int64 x, Int64 y, Int64 channel) {
        if (isOutside(x, y)) return Sample{-77, 0};
        const float value = source.At(x, y, channel);
        return Sample{channel == 3 ? value : 1.0f - value, 0};
    });
    for (float& value : source.values) value = std::fabs(value);
    const cl_program gamma = BuildFile("image_gamma.cl", kRelaxed);
    for (const float exponent : {2.2f, 0.45f, 0.0f}) {
        const cl_mem raised = CreateImage(Poison(8, 8));
        Run(gamma, "InvertImage", range, CreateImage(source), raised, exponent);
        CheckPicture(raised, 8, 8, [&](Int64 x, Int64 y, Int64 channel) {
            if (isOutside(x, y)) return Sample{-77, 0};
            const double value = source.At(x, y, channel);
            const double power = std::pow(value, double{exponent});
            return channel == 3 ? Sample{value, 0} : Sample{power, 1e-5 * power};
        });
    }
}

TEST_F(PictureKernelsTest, StereoHalvesAreTheMeansOfPairs) {
    const Picture pictures[] = {RandomPicture(8, 5, 1), RandomPicture(7, 5, 2)};
    const cl_mem result = CreateImage(Poison(9, 5));
    Run(BuildFile("image_stereo_sbs.cl", kRelaxed), "InvertImage", {{9, 5}}, CreateImage(pictures[0]),
        CreateImage(pictures[1]), result);
    CheckPicture(result, 9, 5, [&](Int64 x, Int64 y, Int64 channel) {
        const Picture& picture = pictures[x < 4 ? 0 : 1];
        const Int64 column = 2 * (x < 4 ? x : x - 4);
        const float sum = picture.At(column, y, channel) + picture.At(column + 1, y, channel);
        return Sample{channel == 3 ? sum : sum / 2, 0};
    });
}

/// From a rectangle of a picture of 8 x 8 pixels to one of 12 x 10.
struct Case {
    Axis x;
    Axis y;
};
const Case kCases[] = {
    {{0, 8, 0, 4}, {0, 8, 0, 2}},   {{0, 8, 1, 8}, {1, 6, 2, 8}},     {{5, 3, 0, 12}, {7, 1, 0, 10}},
    {{0, 8, 3, -4}, {0, 8, 9, -9}}, {{2, 5, 11, -12}, {3, 2, 9, -8}},
};

TEST_F(PictureKernelsTest, NearestTakesTheFormulasPixel) {
    const Picture source = RandomPicture(8, 8, 1);
    const cl_program program = BuildFile("image_scale_nearest.cl", kRelaxed);
    for (const auto& [x, y] : kCases) {
        const cl_mem result = CreateImage(Poison(12, 10));
        const Int32s off = {static_cast<Int32>(x.origin), static_cast<Int32>(y.origin),
                            static_cast<Int32>(x.destination), static_cast<Int32>(y.destination)};
        Run(program, "ScaleNearest", {{static_cast<size_t>(x.extent), static_cast<size_t>(y.extent)}},
            CreateImage(source), result, off, std::array<float, 2>{x.scale, y.scale});
        CheckPicture(result, 12, 10, [&, x = x, y = y](Int64 column, Int64 row, Int64 channel) {
            const Int64 i = column - x.destination;
            const Int64 j = row - y.destination;
            if (i < 0 || i >= x.extent || j < 0 || j >= y.extent) return Sample{-77, 0};
            return Sample{source.At(NearestTo(x, i), NearestTo(y, j), channel), 0};
        });
    }
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
        const std::vector<Tap> expected = TapsOf(axis, static_cast<Int64>(i));
        EXPECT_EQ(spans[i][0], expected.front().position) << i;
        EXPECT_EQ(spans[i][1], expected.back().position) << i;
        for (size_t k = 0; k < expected.size(); k++)
            EXPECT_NEAR(weights[i * count + k], expected[k].weight, 2e-6) << i << ", tap " << k;
    }
    return taps;
}

TEST_F(PictureKernelsTest, BicubicIsTheDefinition) {
    const Picture source = RandomPicture(8, 8, 1);
    const cl_program program = BuildFile("image_scale_bicubic.cl", kRelaxed);
    for (const auto& [x, y] : kCases) {
        const cl_mem result = CreateImage(Poison(12, 10));
        const Taps columns = PrepareTaps(program, x, 4);
        const Taps rows = PrepareTaps(program, y, 1);
        const Pair off = {static_cast<Int32>(x.destination), static_cast<Int32>(y.destination)};
        Run(program, "ScaleBicubic", {{static_cast<size_t>(x.extent), static_cast<size_t>(y.extent)}},
            CreateImage(source), result, columns.index, rows.index, columns.weights, rows.weights,
            columns.count / 4, rows.count, off);
        CheckPicture(result, 12, 10, [&, x = x, y = y](Int64 column, Int64 row, Int64 channel) {
            const Int64 i = column - x.destination;
            const Int64 j = row - y.destination;
            if (i < 0 || i >= x.extent || j < 0 || j >= y.extent) return Sample{-77, 0};
            return BicubicAt(source, x, i, y, j, channel);
        });
    }
    // Far from the origin, a position that is not rounded before it is used gives other weights.
    PrepareTaps(program, {0, 301, 0, 173}, 4);
}

}  // namespace

}  // namespace nuvra::test
