#include "module_fixture.h"

namespace nuvra::test {
namespace {

using Order = OpenCLChannelOrder;
using Type = OpenCLChannelDataType;

/// Memory objects with image formats, programs and kernels.
class ObjectsTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        MakeObjects();
        device = OpenCL::GetDeviceFromId(Devices()[0]).GetValue();
        fake.calls.clear();
    }
    void TearDown() override {
        device = nullptr;
        ModuleTest::TearDown();
    }
    /// The format as the runtime got it, and as the image then has it.
    std::pair<std::string, OpenCLImageFormat> RoundTrip(OpenCLImageFormat format) {
        fake.calls.clear();
        const OpenCLMemoryObjectRef image = cl.context.CreateImage2D(1, format, 2, 2).GetValue();
        const auto& passed = std::get<fake::Numbers>(fake.calls[0].values[2]);
        return {std::to_string(passed[0]) + ' ' + std::to_string(passed[1]),
                *image.GetImageInfo(OpenCLImageInfo::FORMAT).Find<OpenCLImageFormat>()};
    }

    OpenCLDeviceRef device;
};

TEST_F(ObjectsTest, ImageFormatsAreConvertedBothWays) {
    const cl_uint orders[] = {CL_R,  CL_A,   CL_INTENSITY, CL_LUMINANCE, CL_RG,
                              CL_RA, CL_RGB, CL_RGBA,      CL_ARGB,      CL_BGRA};
    const cl_uint types[] = {
        CL_SNORM_INT8,      CL_SNORM_INT16,      CL_UNORM_INT8,     CL_UNORM_INT16,  CL_UNORM_SHORT_565,
        CL_UNORM_SHORT_555, CL_UNORM_INT_101010, CL_SIGNED_INT8,    CL_SIGNED_INT16, CL_SIGNED_INT32,
        CL_UNSIGNED_INT8,   CL_UNSIGNED_INT16,   CL_UNSIGNED_INT32, CL_HALF_FLOAT,   CL_FLOAT};
    for (UInt32 i = 0; i < std::max(std::size(orders), std::size(types)); i++) {
        const UInt32 order = i % std::size(orders);
        const OpenCLImageFormat format{Order{order}, Type{i}};
        const auto [passed, got] = RoundTrip(format);
        EXPECT_EQ(passed, std::to_string(orders[order]) + ' ' + std::to_string(types[i]));
        EXPECT_EQ(got, format);
    }
    const OpenCLImageFormat fallback{Order::RED, Type::SNORM_INT8};
    EXPECT_EQ(RoundTrip({Order{12}, Type{20}}).second, fallback);
    fake.imageFormats = {{CL_RGx, 0}, {CL_R, CL_SNORM_INT8}};
    BaseArray<OpenCLImageFormat> formats;
    ASSERT_EQ(Outcome(cl.context.GetSupportedImageFormats(1, OpenCLImageType::IMAGE2D, formats)), "OK");
    ASSERT_EQ(formats.GetCount(), 2);
    for (const OpenCLImageFormat& format : formats) EXPECT_EQ(format, fallback);
}

TEST_F(ObjectsTest, AFormatIsADataTypeWithHashAndText) {
    const DataTypeRecord* type = GetDataType<OpenCLImageFormat>();
    ASSERT_NE(type, nullptr);
    EXPECT_EQ(type->size, 8);
    EXPECT_EQ(type->alignment, 4);
    const std::tuple<OpenCLImageFormat, UInt64, std::string> cases[] = {
        {{}, 217, "Channel order: RGBA Data type: SNORM_INT8"},
        {{Order::BGRA, Type::UNORM_INT8}, 281, "Channel order: BGRA Data type: UNORM_INT8"},
        {{Order{12}, Type{20}}, 393, "Channel order: Unknown Data type: unknown"},
    };
    const auto text = [&](const void* value) {
        return std::string(type->toText(value).GetValue().GetView());
    };
    for (const auto& [format, hash, expected] : cases) {
        EXPECT_EQ(text(&format), expected);
        EXPECT_EQ(type->hash(&format), hash);
        EXPECT_TRUE(type->equal(&format, &format));
    }
    const OpenCLImageFormat one;
    const OpenCLImageFormat other{Order::RGBA, Type::FLOAT};
    EXPECT_FALSE(type->equal(&one, &other));
    EXPECT_EQ(text(nullptr), "nullptr");
    EXPECT_EQ(*Data::Of(other).GetValue().Find<OpenCLImageFormat>(), other);
}

TEST_F(ObjectsTest, AnImageTellsItsLayoutAndABufferNothing) {
    const OpenCLMemoryObjectRef image =
        cl.context.CreateImage2D(1, {Order::RGBA, Type::FLOAT}, 5, 3).GetValue();
    fake.calls.clear();
    const Texts expected = {"Channel order: RGBA Data type: FLOAT", "16", "80", "0", "5", "3", "0", "none"};
    for (UInt32 which = 0; which < expected.size(); which++)
        EXPECT_EQ(ToText(image.GetImageInfo(which)), expected[which]) << which;
    EXPECT_EQ(Take("clGetImageInfo").size(), 7U);
    for (UInt32 which = 0; which < expected.size(); which++)
        EXPECT_TRUE(cl.buffer.GetImageInfo(which).IsEmpty()) << which;
    EXPECT_TRUE(OpenCLMemoryObjectRef().GetImageInfo(OpenCLImageInfo::WIDTH).IsEmpty());
}

TEST_F(ObjectsTest, TheBuildLogIsATextWhateverHappens) {
    const cl_device_id id = Devices()[0];
    const auto log = [&] {
        const Result<String> text = cl.program.GetBuildLog(id);
        EXPECT_EQ(Outcome(text), "OK");
        return std::string(text.GetValue().GetView());
    };
    EXPECT_EQ(log(), "fake log");
    fake.buildLog = std::string(1234, 'x');
    host->allocations.FailFrom(0);
    EXPECT_EQ(log(), "OutOfMemoryError");
    EXPECT_EQ(log(), fake.buildLog);
    for (const int failing : {1, 2}) {
        fake.Fail("clGetProgramBuildInfo", CL_OUT_OF_RESOURCES, failing);
        EXPECT_EQ(log(), "");
    }
    ASSERT_EQ(Outcome(cl.program.Release()), "OK");
    EXPECT_EQ(log(), "");
}

TEST_F(ObjectsTest, AKernelIsMadeByNameOfABuiltProgram) {
    EXPECT_EQ(Outcome(cl.program.CreateKernel("Tail")), "OK");
    EXPECT_EQ(Outcome(cl.program.CreateKernel("Missing")), "CL_INVALID_KERNEL_NAME");
    const char* source = "kernel void Main() {}";
    const OpenCLProgramRef unbuilt = cl.context.CreateProgramWithSource(1, &source).GetValue();
    EXPECT_EQ(Outcome(unbuilt.CreateKernel("Main")), "CL_INVALID_PROGRAM_EXECUTABLE");
    ASSERT_EQ(Outcome(cl.program.Release()), "OK");
    EXPECT_EQ(Outcome(cl.program.Release()), "CL_INVALID_PROGRAM");
    EXPECT_EQ(Outcome(cl.program.CreateKernel("Main")), "CL_INVALID_PROGRAM");
    EXPECT_EQ(Outcome(cl.program.Build({}, nullptr)), "CL_INVALID_PROGRAM");
}

TEST_F(ObjectsTest, TheBinaryOfOneDeviceReplacesTheArray) {
    BaseArray<UChar> binary;
    ASSERT_TRUE(binary.Resize(100).IsOk());
    EXPECT_EQ(Outcome(cl.program.GetBinary(binary)), "OK");
    EXPECT_EQ(fake::Bytes(binary.begin(), binary.end()), fake.binary);
    fake.binary.clear();
    EXPECT_EQ(Outcome(cl.program.GetBinary(binary)), "OK");
    EXPECT_EQ(binary.GetCount(), 0);

    fake.AddDevice(*fake.platforms[0], "Second");
    const OpenCLContextRef two = OpenCL::CreateContext(Platform(), Devices()).GetValue();
    const char* source = "";
    const OpenCLProgramRef program = two.CreateProgramWithSource(1, &source).GetValue();
    EXPECT_EQ(Outcome(program.GetBinary(binary)), "CL_INVALID_PROGRAM_EXECUTABLE") << "not built";
    EXPECT_EQ(fake.TextsOf("clGetProgramInfo").size(), 4U);
    ASSERT_EQ(Outcome(program.Build({}, nullptr)), "OK");
    EXPECT_EQ(Outcome(program.GetBinary(binary)), "CL_INVALID_VALUE");
    fake.Fail("clBuildProgram", CL_BUILD_PROGRAM_FAILURE, 1);
    EXPECT_NE(Outcome(program.Build({}, nullptr)), "OK");
    EXPECT_EQ(Outcome(program.GetBinary(binary)), "CL_INVALID_PROGRAM_EXECUTABLE");
    ASSERT_EQ(Outcome(program.Release()), "OK");
    fake.calls.clear();
    EXPECT_EQ(Outcome(program.GetBinary(binary)), "CL_INVALID_PROGRAM");
    EXPECT_EQ(fake.calls.size(), 0U);
}

TEST_F(ObjectsTest, ArgumentsOfEveryTypeHaveTheirBytes) {
    const OpenCLKernelRef& kernel = cl.kernel;
    const Char chars[] = {-1, 2};
    const UChar bytes[] = {0xAB};
    const Int16 shorts[] = {-2, 3};
    const UInt16 words[] = {0x1234};
    const Float64 doubles[] = {1.0};
    for (const Result<void>& result : {kernel.SetArg(2, chars, 2), kernel.SetArg(3, bytes, 1),
                                       kernel.SetArg(4, shorts, 2), kernel.SetArg(5, words, 1)})
        EXPECT_EQ(Outcome(result), "OK");
    EXPECT_EQ(Take("clSetKernelArg"), (Texts{"kernel1, 2, 2, ff02", "kernel1, 3, 1, ab",
                                             "kernel1, 4, 4, feff0300", "kernel1, 5, 2, 3412"}));
    EXPECT_EQ(Outcome(kernel.SetArg(0, doubles, 0)), "CL_INVALID_ARG_SIZE") << "the runtime's answer";
    size_t value = 0;
    size_t written = 0;
    EXPECT_EQ(Outcome(kernel.GetWorkGroupInfo(device, 0, 8, &value, &written)), "OK");
    EXPECT_EQ(written, 8U);
    EXPECT_EQ(Outcome(kernel.GetWorkGroupInfo({}, 0, 8, &value)), kNullPointer);
    fake.calls.clear();
    for (const Int count : {Int{-1}, INT64_MIN, INT64_MAX})
        EXPECT_EQ(Outcome(kernel.SetArg(0, doubles, count)), "CL_INVALID_ARG_SIZE") << count;
    EXPECT_EQ(fake.calls.size(), 0U);
}

TEST_F(ObjectsTest, VectorsAreWidenedUpToFiveWithoutAllocating) {
    const std::vector<Vector32> vectors(6, Vector32{1, 2, 3});
    const Int before = host->allocations.GetCount();
    EXPECT_EQ(Outcome(cl.kernel.SetArg(0, vectors.data(), 5)), "OK");
    EXPECT_EQ(host->allocations.GetCount(), before);
    EXPECT_EQ(Outcome(cl.kernel.SetArg(0, vectors.data(), 6)), "OK");
    EXPECT_EQ(host->allocations.GetCount(), before + 1);
    fake.calls.clear();
    for (const Int count : {Int{-1}, Int{1} << 59, Int{1} << 60, INT64_MAX, INT64_MIN})
        EXPECT_EQ(Outcome(cl.kernel.SetArg(0, vectors.data(), count)), kOutOfMemory) << count;
    EXPECT_EQ(fake.calls.size(), 0U);
}

TEST_F(ObjectsTest, NoKernelGetsMemoryThatIsNotThere) {
    ASSERT_EQ(Outcome(cl.buffer.Release()), "OK");
    fake.calls.clear();
    EXPECT_EQ(Outcome(cl.kernel.SetArg(0, cl.buffer)), "CL_INVALID_MEM_OBJECT");
    EXPECT_EQ(Outcome(cl.kernel.SetArg(0, OpenCLMemoryObjectRef())), "CL_INVALID_MEM_OBJECT");
    EXPECT_EQ(fake.calls.size(), 0U);
    ASSERT_EQ(Outcome(cl.kernel.Release()), "OK");
    EXPECT_EQ(Outcome(cl.kernel.SetArgLocalMemory(0, 8)), "CL_INVALID_KERNEL");
}

}  // namespace
}  // namespace nuvra::test
