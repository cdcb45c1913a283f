#include "task_fixture.h"

namespace nuvra::test {
namespace {

/// The gamma, stereo and scaling tasks.
class PictureTaskTest : public ImageTaskFixture {
protected:
    std::string Scale(std::array<Int64, 4> from, std::array<Int64, 4> to) {
        const ScaleParameters record{1,       &source, &destination, from[0], from[1], from[2],
                                     from[3], to[0],   to[1],        to[2],   to[3]};
        return Execute(&record);
    }
    /// The sizes of the buffers that the latest call made.
    Texts MadeBuffers() const {
        Texts sizes;
        for (const fake::Call& call : fake.calls)
            if (call.name == "clCreateBuffer")
                sizes.push_back(std::to_string(std::get<std::uint64_t>(call.values[2])));
        return sizes;
    }
};

TEST_F(PictureTaskTest, GammaIsPassedInSinglePrecision) {
    Get("image.gamma");
    const GammaImageParameters record{1, &source, &destination, 10, 20, 5, 4, 2.2};
    EXPECT_EQ(Execute(&record), "OK");
    EXPECT_EQ(fake.LaunchTexts(),
              Texts{"InvertImage [10 20] [5 4] null (memory2, memory3, " + Hex({2.2f}) + ")"});
    EXPECT_EQ(FailEachCall(&record), 3 + 1);
}

TEST_F(PictureTaskTest, StereoLaunchesOverTheOutput) {
    Get("image.stereo.sbs");
    const StereoSbsParameters record{1, &source, &source, &destination, 2, 3, 30, 21};
    EXPECT_EQ(Execute(&record), "OK");
    EXPECT_EQ(fake.LaunchTexts(), Texts{"InvertImage [2 3] [30 21] null (memory2, memory2, memory3)"});
    EXPECT_EQ(FailEachCall(&record), 3 + 1);
}

TEST_F(PictureTaskTest, NearestPassesOffsetsAndScale) {
    const struct {
        std::array<Int64, 4> from;
        std::array<Int64, 4> to;
        std::string range;
        std::array<Int32, 4> offsets;
        std::array<Float32, 2> scale;
    } cases[] = {
        {{0, 0, 40, 30}, {0, 0, 20, 15}, "[20 15]", {0, 0, 0, 0}, {2, 2}},
        {{5, 6, 10, 9}, {1, 2, 30, 3}, "[30 3]", {5, 6, 1, 2}, {10.0f / 30, 3}},
        {{5, 6, 10, 9}, {30, 20, -20, -18}, "[20 18]", {14, 14, 11, 3}, {-0.5f, -0.5f}},
        {{0, 0, 40, 30}, {31, 0, -32, 24}, "[32 24]", {39, 0, 0, 0}, {-40.0f / 32, 30.0f / 24}},
    };
    Get("image.scalenearest");
    for (const auto& [from, to, range, offsets, scale] : cases) {
        EXPECT_EQ(Scale(from, to), "OK");
        EXPECT_EQ(fake.LaunchTexts(), Texts{"ScaleNearest [0 0] " + range + " null (memory2, memory3, " +
                                            Hex({offsets[0], offsets[1], offsets[2], offsets[3]}) + ", " +
                                            Hex({scale[0], scale[1]}) + ")"});
    }
}

TEST_F(PictureTaskTest, LargeDestinationsAreCutIntoTilesRowByRow) {
    destination = MakeImage(2500, 1034);
    for (const char* name : {"image.scalenearest", "image.scalebicubic"}) {
        Get(name);
        EXPECT_EQ(Scale({0, 0, 25, 10}, {0, 0, 2500, 1034}), "OK");
        Texts tiles;
        for (const fake::Launch& launch : fake.launches)
            if (launch.kernel.starts_with("Scale"))
                tiles.push_back(fake::ToText(fake::Call{"", {launch.ranges[0], launch.ranges[1]}}));
        EXPECT_EQ(tiles,
                  (Texts{"([0 0], [1024 1024])", "([1024 0], [1024 1024])", "([2048 0], [452 1024])",
                         "([0 1024], [1024 10])", "([1024 1024], [1024 10])", "([2048 1024], [452 10])"}));
        EXPECT_EQ(Scale({0, 0, 25, 10}, {0, 0, 1024, 1024}), "OK");
        EXPECT_EQ(fake.TextsOf("clEnqueueNDRangeKernel").size(), name[11] == 'n' ? 1U : 3U);
    }
}

/// "PrepareBufferPositive null [100] null (memory5, memory4, ...)"
std::string Preparation(const char* direction, int extent, const std::string& buffers, Float32 scale,
                        Float32 inverse, Int32 offset, Int32 size, Int32 taps, Float32 half) {
    return std::string("PrepareBuffer") + direction + " null [" + std::to_string(extent) + "] null (" +
           buffers + ", " + Hex({scale}) + ", " + Hex({inverse}) + ", " + Hex({offset}) + ", " + Hex({size}) +
           ", " + Hex({taps}) + ", " + Hex({half}) + ")";
}

TEST_F(PictureTaskTest, BicubicPreparesColumnsAndRowsBeforeItScales) {
    source = MakeImage(200, 100);
    destination = MakeImage(100, 200);
    Get("image.scalebicubic");
    // memory6, memory7: weights and spans of the columns, memory8, memory9: of the rows
    const std::string scale = "(memory4, memory5, memory7, memory9, memory6, memory8, ";
    EXPECT_EQ(Scale({0, 0, 200, 100}, {0, 0, 100, 200}), "OK");
    EXPECT_EQ(MadeBuffers(), (Texts{"4800", "800", "3200", "1600"}));
    EXPECT_EQ(fake.LaunchTexts(),
              (Texts{Preparation("Positive", 100, "memory7, memory6", 2, 0.5f, 0, 199, 12, 4),
                     Preparation("Positive", 200, "memory9, memory8", 0.5f, 2, 0, 99, 4, 1),
                     "ScaleBicubic [0 0] [100 200] null " + scale + Hex({3}) + ", " + Hex({4}) + ", " +
                         Hex({0, 0}) + ")"}));
    // Of equal size there are five taps, of one that grows always four; mirrored, an axis runs backwards.
    EXPECT_EQ(Scale({7, 8, 64, 2}, {70, 180, -64, -128}), "OK");
    EXPECT_EQ(MadeBuffers(), Texts());
    EXPECT_EQ(fake.LaunchTexts(),
              (Texts{Preparation("Negative", 64, "memory7, memory6", -1, 1, 70, -63, 8, 2),
                     Preparation("Negative", 128, "memory9, memory8", -2 / 128.0f, 64, 9, -1, 4, 4 / 128.0f),
                     "ScaleBicubic [0 0] [64 128] null " + scale + Hex({2}) + ", " + Hex({4}) + ", " +
                         Hex({7, 53}) + ")"}));
}

TEST_F(PictureTaskTest, BicubicBuffersAreReplacedWheneverACallNeedsMore) {
    Get("image.scalebicubic");
    // 2 columns of 84 taps and a row of 5, 32 columns and 24 rows of 4 taps, 3 columns of 56 and a row of 121
    EXPECT_EQ(Scale({0, 0, 40, 1}, {0, 0, 2, 1}), "OK");
    EXPECT_EQ(MadeBuffers(), (Texts{"672", "16", "20", "8"}));
    EXPECT_EQ(Scale({0, 0, 8, 8}, {0, 0, 32, 24}), "OK");
    EXPECT_EQ(MadeBuffers(), (Texts{"256", "384", "192"}));
    EXPECT_EQ(fake.TextsOf("clReleaseMemObject").size(), 3U);
    EXPECT_EQ(Scale({0, 0, 40, 30}, {0, 0, 3, 1}), "OK");
    EXPECT_EQ(MadeBuffers(), Texts{"484"});
    EXPECT_EQ(Scale({0, 0, 40, 1}, {0, 0, 2, 1}), "OK");
    EXPECT_EQ(MadeBuffers(), Texts());
    fake.calls.clear();
    EXPECT_EQ(Outcome(task.FreeResources(cl.context)), "OK");
    const Texts names = TakeNames();
    EXPECT_EQ(std::count(names.begin(), names.end(), "clReleaseMemObject"), 4);
    EXPECT_EQ(names.size(), 4U + 3U + 1U);
}

TEST_F(PictureTaskTest, EachFailureEndsAScaling) {
    const ScaleParameters record{1, &source, &destination, 0, 0, 8, 8, 0, 0, 16, 16};
    Get("image.scalenearest");
    EXPECT_EQ(FailEachCall(&record), 4 + 1);
    Get("image.scalebicubic");
    EXPECT_EQ(FailEachCall(&record), 2 * (8 + 1) + 9 + 1);
    fake.Fail("clCreateBuffer", CL_MEM_OBJECT_ALLOCATION_FAILURE);
    EXPECT_EQ(Scale({0, 0, 8, 8}, {0, 0, 32, 16}), "CL_MEM_OBJECT_ALLOCATION_FAILURE");
    EXPECT_EQ(fake.launches.size(), 0U);
}

TEST_F(PictureTaskTest, BicubicTakesTurnsOnItsQueues) {
    Get("image.scalebicubic");
    const ScaleParameters record{1, &source, &destination, 0, 0, 8, 8, 0, 0, 16, 16};
    const OpenCLCommandQueueRef outOfOrder =
        cl.context.CreateCommandQueue(OpenCLQueueFlags::OUT_OF_ORDER_EXEC_MODE).GetValue();
    EXPECT_EQ(Execute(&record), "OK");
    EXPECT_EQ(fake.TextsOf("clFinish"), Texts());
    EXPECT_EQ(Execute(&record, outOfOrder), "OK");
    const auto isArgument = [](const fake::Call& call) { return call.name == "clSetKernelArg"; };
    EXPECT_EQ((std::find_if(fake.calls.begin(), fake.calls.end(), isArgument) - 1)->name, "clFinish");
    // The preparations do not need each other, the scaling needs both.
    EXPECT_EQ(fake.TextsOf("clFinish"), (Texts{"queue1", "queue2"}));
    EXPECT_EQ(fake.calls[fake.calls.size() - 2 - 9].name, "clFinish");
    EXPECT_EQ(Execute(&record), "OK");
    EXPECT_EQ(fake.TextsOf("clFinish"), Texts{"queue2"});
}

TEST_F(PictureTaskTest, BadPictureRecordsAreRefusedBeforeAnyCall) {
    constexpr const char* kValue = "CL_INVALID_VALUE";
    const auto expectAll = [&](const char* name, const auto& cases) {
        Get(name);
        for (size_t i = 0; i < std::size(cases); i++) {
            EXPECT_EQ(Execute(&cases[i]), kValue) << name << ", case " << i;
            EXPECT_EQ(fake.calls.size(), 0U);
        }
    };
    const GammaImageParameters gamma[] = {
        {1, &source, &destination, 0, 0, 0, 1},
        {1, &source, &destination, 0, 0, 1, 0},
        {1, &source, &destination, 28, 0, 5, 1},
    };
    expectAll("image.gamma", gamma);
    const StereoSbsParameters stereo[] = {
        {1, &source, &source, &destination, 0, 0, 0, 1},
        {1, &source, &source, &destination, 0, 0, 1, 0},
        {1, &source, &source, &destination, 0, 0, 33, 1},
        {1, &source, &source, &source, 0, 0, 1, 1},
        {1, &destination, &source, &destination, 0, 0, 1, 1},
        {1, &source, &destination, &destination, 0, 0, 1, 1},
    };
    expectAll("image.stereo.sbs", stereo);
    constexpr Int64 kBeyond = Int64{1} << 31;
    const ScaleParameters scale[] = {
        {1, &source, &source, 0, 0, 1, 1, 0, 0, 1, 1},
        {1, &source, &destination, 0, 0, 0, 1, 0, 0, 1, 1},
        {1, &source, &destination, 0, 0, 1, 0, 0, 0, 1, 1},
        {1, &source, &destination, 9, 0, -1, 1, 0, 0, 1, 1},
        {1, &source, &destination, 0, 9, 1, -1, 0, 0, 1, 1},
        {1, &source, &destination, 0, 0, 1, 1, 0, 0, 0, 1},
        {1, &source, &destination, 0, 0, 1, 1, 0, 0, 1, 0},
        {1, &source, &destination, 0, 0, 1, 1, 30, 0, 3, 1},
        {1, &source, &destination, 0, 0, 1, 1, 1, 0, -3, 1},
        {1, &source, &destination, 0, 0, 1, 1, 0, 24, 1, -26},
        {1, &source, &destination, kBeyond, 0, 1, 1, 0, 0, 1, 1},
        {1, &source, &destination, 0, 0, kBeyond, 1, 0, 0, 1, 1},
        {1, &source, &destination, 0, kBeyond - 9, 1, 99, 0, 0, 1, 1},
        {1, &source, &destination, 0, 0, 1, 1, 0, 0, -kBeyond, 1},
    };
    expectAll("image.scalenearest", scale);
    expectAll("image.scalebicubic", scale);
    const std::pair<ScaleParameters, const char*> taps[] = {
        {{1, &source, &destination, 0, 0, 1 << 30, 1, 0, 0, 2, 1}, kValue},
        {{1, &source, &destination, 0, 0, 1, 1 << 30, 0, 0, 1, -2}, kValue},
    };
    expectAll("image.scalebicubic", taps);
    EXPECT_EQ(MadeBuffers(), Texts());
}

}  // namespace
}  // namespace nuvra::test
