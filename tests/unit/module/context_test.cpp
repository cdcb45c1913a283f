#include "module_fixture.h"

namespace nuvra::test {
namespace {

using Flags = OpenCLMemoryFlags;
using Order = OpenCLChannelOrder;
using Type = OpenCLChannelDataType;

/// Contexts, and what they make: queues, memory, programs, kernels and tasks.
class ContextTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        MakeObjects();
    }
};

TEST_F(ContextTest, OnlyTheHandleDecidesWhetherACreationSucceedsButForContexts) {
    fake.createdCode = CL_OUT_OF_RESOURCES;
    EXPECT_EQ(Outcome(cl.context.CreateBuffer(Flags::READ_WRITE, 8)), "OK");
    EXPECT_EQ(Outcome(cl.context.CreateCommandQueue()), "OK");
    EXPECT_EQ(Outcome(OpenCL::CreateContext(Platform(), Devices())), "CL_OUT_OF_RESOURCES");
}

TEST_F(ContextTest, OpenGLMemoryTakesOneAccessAndOneTargetAndAContextThatShares) {
    constexpr UInt32 kTexture2D = 3553;
    constexpr UInt32 kCubeMap = 34067;
    for (const UInt32 access : {0U, 3U, 8U, 1U}) {
        const char* expected = access == 1 ? "CL_INVALID_CONTEXT" : "CL_INVALID_VALUE";
        EXPECT_EQ(Outcome(cl.context.CreateFromGLBuffer(access, 9)), expected);
        EXPECT_EQ(Outcome(cl.context.CreateFromGLTexture2D(access, kTexture2D, 0, 9)), expected);
    }
    EXPECT_EQ(Outcome(cl.context.CreateFromGLTexture2D(Flags::READ_ONLY, kCubeMap, 0, 9)),
              "CL_INVALID_VALUE");
    for (const Int count : {Int{0}, Int{1}}) {
        EXPECT_EQ(Outcome(cl.queue.EnqueueAcquireGLObjects(count, &cl.buffer)), "CL_INVALID_CONTEXT");
        EXPECT_EQ(Outcome(cl.queue.EnqueueReleaseGLObjects(count, &cl.buffer)), "CL_INVALID_CONTEXT");
    }
    EXPECT_EQ(fake.calls.size(), 0U);
}

TEST_F(ContextTest, AQueueNeedsADeviceWhoseVersionOfOpenCLCIsKnown) {
    fake::Info& info = fake.platforms[0]->devices[0]->info;
    info[CL_DEVICE_OPENCL_C_VERSION] = fake::TextBytes("OpenCL 1.2");
    EXPECT_EQ(Outcome(cl.context.CreateCommandQueue()), "UNSPECIFIED");
    fake.intercept = [](const fake::Call& call) {
        if (call.name != "clGetDeviceInfo") return CL_SUCCESS;
        std::strcpy(static_cast<char*>(const_cast<void*>(std::get<const void*>(call.values[3]))),
                    "OpenCL C 1.2");
        return CL_OUT_OF_RESOURCES;
    };
    EXPECT_EQ(Outcome(cl.context.CreateCommandQueue()), "UNSPECIFIED") << "what a failed query wrote";
    EXPECT_EQ(Take("clReleaseCommandQueue"), (Texts{"queue2", "queue3"}));

    fake.allowsNoDevices = true;
    const OpenCLContextRef none = OpenCL::CreateContext(Platform(), {}).GetValue();
    EXPECT_EQ(Outcome(none.CreateCommandQueue()), "CL_DEVICE_NOT_FOUND");
    EXPECT_EQ(Take("clCreateCommandQueue"), Texts());
    for (const char* key : {"clearmem", "prefixsum"})
        EXPECT_EQ(Outcome(none.GetTask(MakeText(key))), "CL_DEVICE_NOT_FOUND");
}

TEST_F(ContextTest, ImageFormatsAreConvertedBothWaysAndThoseWithoutANameAreTheFirst) {
    const cl_uint orders[] = {CL_R,  CL_A,   CL_INTENSITY, CL_LUMINANCE, CL_RG,
                              CL_RA, CL_RGB, CL_RGBA,      CL_ARGB,      CL_BGRA};
    const cl_uint types[] = {
        CL_SNORM_INT8,      CL_SNORM_INT16,      CL_UNORM_INT8,     CL_UNORM_INT16,  CL_UNORM_SHORT_565,
        CL_UNORM_SHORT_555, CL_UNORM_INT_101010, CL_SIGNED_INT8,    CL_SIGNED_INT16, CL_SIGNED_INT32,
        CL_UNSIGNED_INT8,   CL_UNSIGNED_INT16,   CL_UNSIGNED_INT32, CL_HALF_FLOAT,   CL_FLOAT};
    fake.imageFormats.clear();
    for (UInt32 i = 0; i < 15; i++) fake.imageFormats.push_back({orders[i % 10], types[i]});
    fake.imageFormats.push_back({CL_RGx, 0});
    BaseArray<OpenCLImageFormat> formats;
    const auto list = [&](UInt32 type) {
        return Outcome(
            cl.context.GetSupportedImageFormats(0xFF, static_cast<OpenCLImageType>(type), formats));
    };
    for (UInt32 type = 0; type < 7; type++) EXPECT_EQ(list(type), type < 6 ? "OK" : "CL_INVALID_VALUE");
    std::vector<fake::Value> asked;
    for (size_t i = 0; i < fake.calls.size(); i += 2) asked.push_back(fake.calls[i].values[2]);
    const fake::Numbers objectTypes = {0x10F4, 0x10F6, 0x10F1, 0x10F2, 0x10F5, 0x10F3, 0};
    EXPECT_EQ(asked, std::vector<fake::Value>(objectTypes.begin(), objectTypes.end()));
    EXPECT_EQ(fake.calls[0].values[1], fake::Value(UInt64{63}));

    ASSERT_EQ(list(0), "OK");
    ASSERT_EQ(formats.GetCount(), 16);
    for (UInt32 i = 0; i < 16; i++) {
        const UInt32 named = i % 15;
        EXPECT_EQ(formats[i], (OpenCLImageFormat{Order{named % 10}, Type{named}}));
        fake.calls.clear();
        const OpenCLImageFormat none{Order{12}, Type{20}};
        ASSERT_EQ(Outcome(cl.context.CreateImage2D(1, i < 15 ? formats[i] : none, 2, 2)), "OK");
        EXPECT_EQ(fake.calls[0].values[2], fake::Value(fake::Numbers{orders[named % 10], types[named]}));
    }
}

TEST_F(ContextTest, AFormatIsADataTypeWithHashAndText) {
    const DataTypeRecord* type = GetDataType<OpenCLImageFormat>();
    ASSERT_NE(type, nullptr);
    const std::tuple<OpenCLImageFormat, UInt64, std::string> cases[] = {
        {{Order::BGRA, Type::UNORM_INT8}, 281, "Channel order: BGRA Data type: UNORM_INT8"},
        {{Order{12}, Type{20}}, 393, "Channel order: Unknown Data type: unknown"},
    };
    const OpenCLImageFormat other;
    for (const auto& [format, hash, expected] : cases) {
        EXPECT_EQ(type->toText(&format).GetValue().GetView(), expected);
        EXPECT_EQ(type->hash(&format), hash);
        EXPECT_TRUE(type->equal(&format, &format));
        EXPECT_FALSE(type->equal(&format, &other));
    }
    EXPECT_EQ(type->toText(nullptr).GetValue().GetView(), "nullptr");
}

TEST_F(ContextTest, TheBuildLogIsATextWhateverHappens) {
    const auto log = [&] {
        const Result<String> text = cl.program.GetBuildLog(Devices()[0]);
        EXPECT_EQ(Outcome(text), "OK");
        return std::string(text.GetValue().GetView());
    };
    fake.buildLog = std::string(1234, 'x');
    host->allocations.FailFrom(1);  // behind that of the devices
    EXPECT_EQ(log(), "OutOfMemoryError");
    EXPECT_EQ(log(), fake.buildLog);
    for (const int failing : {1, 2}) {
        fake.Fail("clGetProgramBuildInfo", CL_OUT_OF_RESOURCES, failing);
        EXPECT_EQ(log(), "");
    }
}

TEST_F(ContextTest, TheBinaryOfOneDeviceReplacesTheArray) {
    BaseArray<UChar> binary;
    ASSERT_TRUE(binary.Resize(100).IsOk());
    EXPECT_EQ(Outcome(cl.program.GetBinary(binary)), "OK");
    EXPECT_EQ(fake::Bytes(binary.begin(), binary.end()), fake.binary);

    fake.AddDevice(*fake.platforms[0], "Second");
    const OpenCLContextRef two = OpenCL::CreateContext(Platform(), Devices()).GetValue();
    const char* source = "";
    const OpenCLProgramRef program = two.CreateProgramWithSource(1, &source).GetValue();
    EXPECT_EQ(Outcome(program.GetBinary(binary)), "CL_INVALID_PROGRAM_EXECUTABLE") << "not built";
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

TEST_F(ContextTest, ArgumentsOfEveryTypeHaveTheirBytesAndNoneIsMemoryThatIsNotThere) {
    const OpenCLKernelRef& kernel = cl.kernel;
    const Char chars[] = {-1, 2};
    const UChar bytes[] = {0xAB};
    const Int16 shorts[] = {-2, 3};
    const UInt16 words[] = {0x1234};
    for (const Result<void>& result : {kernel.SetArg(2, chars, 2), kernel.SetArg(3, bytes, 1),
                                       kernel.SetArg(4, shorts, 2), kernel.SetArg(5, words, 1)})
        EXPECT_EQ(Outcome(result), "OK");
    EXPECT_EQ(Take("clSetKernelArg"), (Texts{"kernel1, 2, 2, ff02", "kernel1, 3, 1, ab",
                                             "kernel1, 4, 4, feff0300", "kernel1, 5, 2, 3412"}));
    const std::vector<Vector32> vectors(6, Vector32{1, 2, 3});
    for (const Int count : {5, 6}) {
        const Int before = host->allocations.GetCount();
        EXPECT_EQ(Outcome(kernel.SetArg(0, vectors.data(), count)), "OK");
        EXPECT_EQ(host->allocations.GetCount() - before, count - 5) << "five vectors need no memory";
    }
    size_t written = 0;
    const OpenCLDeviceRef device = OpenCL::GetDeviceFromId(Devices()[0]).GetValue();
    EXPECT_EQ(Outcome(kernel.GetWorkGroupInfo(device, 0, 8, &written, &written)), "OK");
    EXPECT_EQ(written, 8U);
    ASSERT_EQ(Outcome(cl.buffer.Release()), "OK");
    fake.calls.clear();
    EXPECT_EQ(Outcome(kernel.GetWorkGroupInfo({}, 0, 8, &written)), kNullPointer);
    const Float64 doubles[] = {1.0};
    for (const Int count : {Int{-1}, INT64_MIN, INT64_MAX})
        EXPECT_EQ(Outcome(kernel.SetArg(0, doubles, count)), "CL_INVALID_ARG_SIZE") << count;
    for (const Int count : {Int{-1}, Int{1} << 59, Int{1} << 60, INT64_MAX, INT64_MIN})
        EXPECT_EQ(Outcome(kernel.SetArg(0, vectors.data(), count)), kOutOfMemory) << count;
    EXPECT_EQ(Outcome(kernel.SetArg(0, static_cast<const Vector32*>(nullptr), 1)), "CL_INVALID_ARG_VALUE");
    for (const OpenCLMemoryObjectRef& memory : {cl.buffer, OpenCLMemoryObjectRef()})
        EXPECT_EQ(Outcome(kernel.SetArg(0, memory)), "CL_INVALID_MEM_OBJECT");
    EXPECT_TRUE(OpenCLMemoryObjectRef().GetImageInfo(OpenCLImageInfo::WIDTH).IsEmpty());
    EXPECT_EQ(fake.calls.size(), 0U);
}

TEST_F(ContextTest, ATaskIsInitialisedOnceUnlessItFails) {
    const OpenCLTaskRef task = cl.context.GetTask(MakeText("clearmem")).GetValue();
    ASSERT_TRUE(task);
    fake.calls.clear();
    EXPECT_TRUE(cl.context.GetTask(MakeText("clearmem")).GetValue() == task);
    EXPECT_EQ(fake.calls.size(), 0U);
    EXPECT_FALSE(cl.context.GetTask(MakeText("image.invert")).GetValue() == task);
    fake.Fail("clCreateKernel", CL_OUT_OF_RESOURCES, 1);
    EXPECT_EQ(Outcome(cl.context.GetTask(MakeText("crc32c"))), "CL_OUT_OF_RESOURCES");
    EXPECT_EQ(Outcome(cl.context.GetTask(MakeText("crc32c"))), "OK");
    for (const char* name : {"nobody's", "nobody's", ""})
        EXPECT_EQ(Outcome(cl.context.GetTask(MakeText(name))), kNullPointer);
}

TEST_F(ContextTest, ADyingContextFreesItsTasksFirstAndCannotBeBroughtBack) {
    const OpenCLTaskRef task = cl.context.GetTask(MakeText("clearmem")).GetValue();
    ASSERT_EQ(Outcome(cl.context.GetTask(MakeText("image.invert"))), "OK");
    const WeakRef<OpenCLMemoryObjectRef> dead(cl.buffer);
    cl.buffer = nullptr;
    cl.buffer = cl.context.CreateBuffer(1, 64).GetValue();
    EXPECT_FALSE(dead.Lock()) << "though the next object may have its place";
    const WeakRef<OpenCLContextRef> weak(cl.context);
    ASSERT_TRUE(weak.Lock());
    int locked = 0;
    fake.intercept = [&](const fake::Call&) {
        locked += weak.Lock() ? 1 : 0;
        return CL_SUCCESS;
    };
    fake.calls.clear();
    cl.context = nullptr;
    EXPECT_EQ(locked, 0);
    EXPECT_EQ(fake.TextsOf("clReleaseKernel").size(), 5U);
    EXPECT_EQ(fake.TextsOf("clReleaseProgram").size(), 2U);
    EXPECT_EQ(TakeNames().back(), "clReleaseContext");
    const ClearMemParameters parameters{1, &cl.buffer, 4, 0};
    EXPECT_NE(Outcome(task.Execute({}, cl.queue, &parameters)), "OK") << "its kernels are gone";
}

}  // namespace
}  // namespace nuvra::test
