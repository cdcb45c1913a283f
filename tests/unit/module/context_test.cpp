#include "module_fixture.h"

namespace nuvra::test {
namespace {

using Flags = OpenCLMemoryFlags;

class ContextTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        MakeObjects();
    }
    static constexpr OpenCLImageFormat kFormat{OpenCLChannelOrder::BGRA, OpenCLChannelDataType::UNORM_INT8};
    std::byte bytes[64] = {};
};

TEST_F(ContextTest, AContextIsMadeOfThePlatformAndTheDevicesInOrder) {
    fake.AddDevice(*fake.platforms[0], "Second");
    const BaseArray<cl_device_id> devices = Devices();
    const auto swapped = MakeArray<cl_device_id>({devices[1], devices[0]});
    const OpenCLContextRef context = OpenCL::CreateContext(Platform(), swapped).GetValue();
    ASSERT_EQ(context.GetDevices().GetCount(), 2);
    EXPECT_EQ(context.GetDevices()[0], devices[1]);
    EXPECT_EQ(Outcome(OpenCL::CreateContext(Platform(), {})), "CL_INVALID_VALUE");
    EXPECT_EQ(Take("clCreateContext"), (Texts{"\"4228 platform1\", 2, [device2 device1], ptr, ptr, ptr",
                                              "\"4228 platform1\", 0, null, ptr, ptr, ptr"}));
    EXPECT_EQ(Outcome(context.CreateCommandQueue()), "OK");
    EXPECT_EQ(Take("clCreateCommandQueue"), (Texts{"context2, device2, 0, ptr"}));
}

TEST_F(ContextTest, OnlyTheHandleDecidesWhetherACreationSucceedsButForContexts) {
    fake.createdCode = CL_OUT_OF_RESOURCES;
    EXPECT_EQ(Outcome(cl.context.CreateBuffer(Flags::READ_WRITE, 8)), "OK");
    EXPECT_EQ(Outcome(cl.context.CreateCommandQueue()), "OK");
    EXPECT_EQ(Outcome(OpenCL::CreateContext(Platform(), Devices())), "CL_OUT_OF_RESOURCES");
}

TEST_F(ContextTest, OpenGLMemoryTakesOneAccessAndOneTarget) {
    constexpr UInt32 kTexture2D = 3553;
    constexpr UInt32 kCubeMap = 34067;
    for (const UInt32 access : {0U, 3U, 8U}) {
        EXPECT_EQ(Outcome(cl.context.CreateFromGLBuffer(access, 9)), "CL_INVALID_VALUE");
        EXPECT_EQ(Outcome(cl.context.CreateFromGLTexture2D(access, kTexture2D, 0, 9)), "CL_INVALID_VALUE");
    }
    EXPECT_EQ(Outcome(cl.context.CreateFromGLTexture2D(Flags::READ_ONLY, kCubeMap, 0, 9)),
              "CL_INVALID_VALUE");
    constexpr const char* kContext = "CL_INVALID_CONTEXT";  // which shares nothing
    EXPECT_EQ(Outcome(cl.context.CreateFromGLTexture2D(Flags::READ_ONLY, kTexture2D, 2, 9)), kContext);
    EXPECT_EQ(Outcome(cl.context.CreateFromGLBuffer(Flags::WRITE_ONLY, 9)), kContext);
    for (const Int count : {Int{0}, Int{1}}) {
        EXPECT_EQ(Outcome(cl.queue.EnqueueAcquireGLObjects(count, &cl.buffer)), kContext);
        EXPECT_EQ(Outcome(cl.queue.EnqueueReleaseGLObjects(count, &cl.buffer)), kContext);
    }
    EXPECT_EQ(fake.calls.size(), 0U);
}

TEST_F(ContextTest, AQueueNeedsADeviceWhoseVersionOfOpenCLCIsKnown) {
    fake::Info& info = fake.platforms[0]->devices[0]->info;
    info[CL_DEVICE_OPENCL_C_VERSION] = fake::TextBytes("OpenCL 1.2");
    EXPECT_EQ(Outcome(cl.context.CreateCommandQueue()), "UNSPECIFIED");
    info.erase(CL_DEVICE_OPENCL_C_VERSION);
    EXPECT_EQ(Outcome(cl.context.CreateCommandQueue()), "UNSPECIFIED");
    EXPECT_EQ(Take("clReleaseCommandQueue"), (Texts{"queue2", "queue3"}));
}

TEST_F(ContextTest, AContextWithoutDevicesHasNoQueueAndFewTasks) {
    fake.allowsNoDevices = true;
    const OpenCLContextRef context = OpenCL::CreateContext(Platform(), {}).GetValue();
    fake.calls.clear();
    EXPECT_EQ(Outcome(context.CreateCommandQueue()), "CL_DEVICE_NOT_FOUND");
    EXPECT_EQ(fake.calls.size(), 0U);
    for (const char* key : {"clearmem", "prefixsum"})
        EXPECT_EQ(Outcome(context.GetTask(MakeText(key))), "CL_DEVICE_NOT_FOUND");
}

TEST_F(ContextTest, SupportedFormatsReplaceTheArray) {
    BaseArray<OpenCLImageFormat> formats;
    ASSERT_TRUE(formats.Resize(7).IsOk());
    const auto get = [&](UInt32 type) {
        return Outcome(
            cl.context.GetSupportedImageFormats(0xFF, static_cast<OpenCLImageType>(type), formats));
    };
    EXPECT_EQ(get(2), "OK");
    ASSERT_EQ(formats.GetCount(), 3);
    EXPECT_EQ(formats[1], kFormat);
    EXPECT_EQ(formats[2], (OpenCLImageFormat{OpenCLChannelOrder::RED, OpenCLChannelDataType::FLOAT}));
    for (UInt32 type : {0, 1, 3, 4, 5}) EXPECT_EQ(get(type), "OK");
    EXPECT_EQ(get(6), "CL_INVALID_VALUE");
    EXPECT_EQ(formats.GetCount(), 0);
    std::vector<UInt64> types;
    for (const fake::Call& call : fake.calls)
        if (call.values[3] == fake::Value(UInt64{0})) types.push_back(std::get<UInt64>(call.values[2]));
    EXPECT_EQ(types, (std::vector<UInt64>{0x10F1, 0x10F4, 0x10F6, 0x10F2, 0x10F5, 0x10F3, 0}));
    EXPECT_EQ(fake.calls[0].values[1], fake::Value(UInt64{63}));

    fake.imageFormats.clear();
    EXPECT_EQ(get(2), "OK");
    EXPECT_EQ(formats.GetCount(), 0);
}

TEST_F(ContextTest, FormatsWhoseNumberChangesOrIsBeyondBeliefAreUnspecified) {
    fake.imageFormats.resize(65537);
    BaseArray<OpenCLImageFormat> none;
    EXPECT_EQ(Outcome(cl.context.GetSupportedImageFormats(1, OpenCLImageType::IMAGE2D, none)), "UNSPECIFIED");
    for (const size_t later : {2U, 4U}) {
        fake.imageFormats.resize(3);
        int seen = 0;
        fake.intercept = [&](const fake::Call&) {
            if (++seen == 2) fake.imageFormats.resize(later);
            return CL_SUCCESS;
        };
        BaseArray<OpenCLImageFormat> formats;
        EXPECT_EQ(Outcome(cl.context.GetSupportedImageFormats(1, OpenCLImageType::IMAGE2D, formats)),
                  "UNSPECIFIED");
        EXPECT_EQ(formats.GetCount(), 0);
    }
}

TEST_F(ContextTest, ProgramsAreMadeOfTextsOrABinary) {
    const char* sources[] = {"first second", "third"};
    const size_t lengths[] = {6, 0};
    EXPECT_EQ(Outcome(cl.context.CreateProgramWithSource(2, sources, lengths)), "OK");
    EXPECT_EQ(Take("clCreateProgramWithSource"), (Texts{"context1, 2, \"first third\", [6 0], ptr"}));
    EXPECT_EQ(Outcome(cl.context.CreateProgramWithSource(2, nullptr)), "CL_INVALID_VALUE");
    EXPECT_EQ(fake.calls.size(), 0U);
    EXPECT_EQ(Outcome(cl.context.CreateProgramWithSource(0, nullptr)), "CL_INVALID_VALUE") << "the runtime's";

    const OpenCLDeviceRef device = OpenCL::GetDeviceFromId(Devices()[0]).GetValue();
    fake.calls.clear();
    const auto binary = MakeArray<UChar>({1, 0xAB, 3});
    fake.binary = {1, 0xAB, 3};
    EXPECT_EQ(Outcome(cl.context.CreateProgramWithBinary(device, binary)), "OK");
    EXPECT_EQ(Outcome(cl.context.CreateProgramWithBinary(device, {})), "CL_INVALID_VALUE");
    EXPECT_EQ(Outcome(cl.context.CreateProgramWithBinary({}, binary)), kNullPointer);
    EXPECT_EQ(Take("clCreateProgramWithBinary"), (Texts{"context1, 1, [device1], [3], 01ab03, ptr, ptr",
                                                        "context1, 1, [device1], [0], null, ptr, ptr"}));
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
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(Outcome(cl.context.GetTask(MakeText("nobody's"))), kNullPointer);
        EXPECT_EQ(Outcome(cl.context.GetTask(String())), kNullPointer);
    }
}

TEST_F(ContextTest, ADyingContextFreesItsTasksFirstAndCannotBeBroughtBack) {
    const OpenCLTaskRef task = cl.context.GetTask(MakeText("clearmem")).GetValue();
    ASSERT_EQ(Outcome(cl.context.GetTask(MakeText("image.invert"))), "OK");
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
    Texts names = TakeNames();
    ASSERT_FALSE(names.empty());
    EXPECT_EQ(names.back(), "clReleaseContext");
    EXPECT_EQ(std::count(names.begin(), names.end(), "clReleaseKernel"), 5);
    EXPECT_EQ(std::count(names.begin(), names.end(), "clReleaseProgram"), 2);
    ClearMemParameters parameters;
    parameters.buffer = &cl.buffer;
    parameters.size = 4;
    EXPECT_NE(Outcome(task.Execute({}, cl.queue, &parameters)), "OK") << "its kernels are gone";
}

}  // namespace
}  // namespace nuvra::test
