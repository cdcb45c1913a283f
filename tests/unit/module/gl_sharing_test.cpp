#include <CL/cl_gl.h>

#include <sstream>

#include "gl_context.h"
#include "module_fixture.h"
#include "nuvra/open_cl_task.h"

namespace nuvra::test {
namespace {

constexpr cl_device_type kGpu = CL_DEVICE_TYPE_GPU;
constexpr cl_device_type kCpu = CL_DEVICE_TYPE_CPU;
constexpr cl_device_type kDefaultGpu = CL_DEVICE_TYPE_GPU | CL_DEVICE_TYPE_DEFAULT;

/// What an operation is given as a property list, with the platform at its end.
std::string Properties(const std::string& platform) {
    return "\"8200 17 8203 34 4228 " + platform + '"';
}

/// The module with the sharing, on a fake runtime that begins without platforms.
class GLSharingTest : public ModuleTest {
protected:
    void SetUp() override {
        isSharing = true;
        Restart(FakeLibrary());
        Clear();
    }
    void TearDown() override {
        gl = nullptr;
        ModuleTest::TearDown();
    }

    void Restart(const std::string& runtime) {
        gl = nullptr;
        Stop();
        Start(runtime);
        gl = MakeGLContext();
        fake.calls.clear();
    }
    /// Leaves a runtime without platforms, which can share.
    void Clear() {
        fake.Reset();
        fake.platforms.clear();
        fake.sharingDevices.emplace();
    }
    fake::Object& AddDevice(cl_device_type type, bool canShare) {
        fake::Object& device = fake.AddDevice(*fake.platforms.back(), "Device");
        device.info[CL_DEVICE_TYPE] = fake::NumberBytes<cl_device_type>({type});
        if (canShare) device.info[CL_DEVICE_EXTENSIONS] = fake::TextBytes("cl_khr_gl_sharing cl_khr_fp64");
        return device;
    }
    /// A platform of one device, which can share with any OpenGL context.
    fake::Object& AddSharing(cl_device_type type = kGpu) {
        fake.AddPlatform("Platform");
        fake.sharingDevices->push_back(&AddDevice(type, true));
        return *fake.sharingDevices->back();
    }
    std::string Create(cl_platform_id platform = nullptr) {
        return Outcome(OpenCL::CreateGLSharedContext(gl, platform));
    }
    BaseArray<OpenCLDeviceRef> GetDevices(Int platform) {
        BaseArray<OpenCLPlatformRef> platforms;
        BaseArray<OpenCLDeviceRef> devices;
        EXPECT_EQ(Outcome(OpenCL::GetPlatforms(platforms)), "OK");
        EXPECT_EQ(Outcome(platforms[platform].GetDevices(devices)), "OK");
        fake.calls.clear();
        return devices;
    }

    /// Of the one context that was made: "platform2, 1, [device2]", the platform and the devices.
    void ExpectContext(const std::string& expected, const char* title = "") {
        const size_t platformEnd = expected.find(',');
        EXPECT_EQ(fake.TextsOf("clCreateContext"), Texts{Properties(expected.substr(0, platformEnd)) +
                                                         expected.substr(platformEnd) + ", ptr, ptr, ptr"})
            << title;
    }

    OpenGLContextRef gl;
};

TEST_F(GLSharingTest, OpenGLsMemoryIsCheckedAsTheRuntimeDescribesIt) {
    AddSharing();
    const OpenCLContextRef context = OpenCL::CreateGLSharedContext(gl, nullptr).GetValue();
    const OpenCLCommandQueueRef queue = context.CreateCommandQueue().GetValue();
    const OpenCLMemoryObjectRef texture =
        context.CreateFromGLTexture2D(OpenCLMemoryFlags::READ_ONLY, 3553, 2, 9).GetValue();
    const OpenCLMemoryObjectRef buffer =
        context.CreateFromGLBuffer(OpenCLMemoryFlags::WRITE_ONLY, 9).GetValue();
    const OpenCLMemoryObjectRef empty;
    fake.calls.clear();
    EXPECT_EQ(Outcome(queue.EnqueueAcquireGLObjects(1, &empty)), "CL_INVALID_MEM_OBJECT");
    EXPECT_EQ(fake.calls.size(), 0U);

    // The runtime alone knows how large they are.
    const InvertImageParameters invert{1, &texture, &texture, 0, 0, 4, 5};
    EXPECT_EQ(Outcome(context.GetTask(MakeText("image.invert")).GetValue().Execute(context, queue, &invert)),
              "CL_INVALID_VALUE");
    const ClearMemParameters clear{1, &buffer, 65, 0};
    EXPECT_EQ(Outcome(context.GetTask(MakeText("clearmem")).GetValue().Execute(context, queue, &clear)),
              "CL_INVALID_BUFFER_SIZE");
    ASSERT_EQ(Outcome(buffer.Release()), "OK");
    EXPECT_EQ(Outcome(queue.EnqueueAcquireGLObjects(1, &buffer)), "CL_INVALID_MEM_OBJECT");
}

struct Search {
    const char* title;
    /// One text a platform, one word a device: "gpu", "default", "cpu", with "+" where it can share.
    std::vector<std::string> platforms;
    std::string found;  ///< the platform and the devices of the context, or the failure's code
};

TEST_F(GLSharingTest, ASearchPrefersPlainGpusThatCanShare) {
    const Search cases[] = {
        {"one GPU", {"gpu+"}, "platform2, 1, [device2]"},
        {"a GPU behind a CPU of another platform", {"cpu+", "gpu+"}, "platform3, 1, [device3]"},
        {"a GPU behind another device", {"cpu+ gpu+", "gpu+"}, "platform2, 2, [device3 device4]"},
        {"GPUs that cannot share", {"gpu", "cpu gpu", "gpu+"}, "platform4, 3, [device2 device4 device5]"},
        {"a GPU that is also the default device", {"default+", "gpu+"}, "platform3, 1, [device3]"},
        {"only such a GPU", {"cpu", "default+"}, "platform3, 2, [device2 device3]"},
        {"such a GPU beside a plain one", {"default+ gpu+"}, "platform2, 1, [device3]"},
        {"GPUs around a CPU", {"gpu+ cpu+ gpu+"}, "platform2, 2, [device2 device4]"},
        {"no GPU", {"cpu", "cpu", "cpu+", "cpu+"}, "platform4, 4, [device2 device3 device4 device5]"},
        {"nothing that can share", {"gpu", "cpu"}, "NO_MATCHING_PLATFORM"},
        {"no platform", {}, "NO_MATCHING_PLATFORM"},
        {"a first platform without devices", {"", "gpu+"}, "CL_DEVICE_NOT_FOUND"},
        {"a platform without devices that is not reached", {"gpu+", ""}, "platform2, 1, [device2]"},
        {"a platform without devices on the way to a CPU", {"cpu+", ""}, "CL_DEVICE_NOT_FOUND"},
    };
    for (const Search& search : cases) {
        Clear();
        for (const std::string& devices : search.platforms) {
            fake.AddPlatform("Platform");
            std::istringstream words(devices);
            for (std::string word; words >> word;) {
                const cl_device_type type = word[0] == 'g' ? kGpu : word[0] == 'c' ? kCpu : kDefaultGpu;
                fake.sharingDevices->push_back(&AddDevice(type, word.back() == '+'));
            }
        }
        if (const std::string outcome = Create(); outcome != "OK")
            EXPECT_EQ(outcome, search.found) << search.title;
        else
            ExpectContext(search.found, search.title);
    }
}

TEST_F(GLSharingTest, AGivenPlatformIsTakenWithoutASearch) {
    AddSharing();
    fake.AddPlatform("Given");
    AddDevice(kGpu, false);
    const auto given = reinterpret_cast<cl_platform_id>(fake.platforms[1]);
    EXPECT_EQ(Create(given), "EXTENSION_NOT_SUPPORTED") << "none of its devices can share";
    EXPECT_EQ(fake.TextsOf("clGetExtensionFunctionAddress"), Texts());
    AddDevice(kGpu, true);
    EXPECT_EQ(Create(given), "OK");
    EXPECT_EQ(fake.TextsOf("clGetPlatformIDs"), Texts());
    ExpectContext("platform3, 1, [device2]");
}

TEST_F(GLSharingTest, ADeviceThatDoesNotTellItsTypeIsNoGpu) {
    AddSharing();
    fake.sharingDevices->push_back(&AddDevice(kGpu, true));
    bool isListed = false;
    fake.intercept = [&](const fake::Call& call) {
        if (call.name == "clGetGLContextInfoKHR") isListed = true;
        return isListed && fake::ToText(call) == "clGetDeviceInfo(device2, 4096, 8, ptr, null)"
                   ? CL_OUT_OF_RESOURCES
                   : CL_SUCCESS;
    };
    EXPECT_EQ(Create(Platform()), "OK");
    ExpectContext("platform2, 1, [device3]");
}

TEST_F(GLSharingTest, AHundredDevicesFitAndMoreAreTheRuntimesError) {
    AddSharing(kCpu);
    while (fake.sharingDevices->size() < 100) fake.sharingDevices->push_back(&AddDevice(kCpu, true));
    {
        const OpenCLContextRef context = OpenCL::CreateGLSharedContext(gl, Platform()).GetValue();
        ASSERT_TRUE(context);
        EXPECT_EQ(context.GetDevices().GetCount(), 100);
    }
    fake.sharingDevices->push_back(&AddDevice(kCpu, true));
    EXPECT_EQ(Create(Platform()), "CL_INVALID_VALUE");
}

TEST_F(GLSharingTest, WhatTheRuntimeLacksHasItsCode) {
    AddSharing();
    fake.createdCode = CL_OUT_OF_RESOURCES;
    EXPECT_EQ(Create(), "CL_OUT_OF_RESOURCES");
    EXPECT_EQ(fake.CountLive(), 0);
    fake.sharingDevices->clear();
    EXPECT_EQ(Create(), "NO_MATCHING_DEVICE");
    fake.sharingDevices.reset();
    EXPECT_EQ(Create(), "EXTENSION_NOT_SUPPORTED");
    fake.Fail("clGetDeviceIDs", CL_INVALID_PLATFORM);
    EXPECT_EQ(Create(), "CL_INVALID_PLATFORM");
    fake.Fail("clGetPlatformIDs", CL_INVALID_VALUE, 2);
    EXPECT_EQ(Create(), "CL_INVALID_VALUE");
}

TEST_F(GLSharingTest, WithoutTheFunctionOrTheRuntimeNothingIsShared) {
    const std::pair<std::string, const char*> cases[] = {
        {FakeLibrary("_no_clGetExtensionFunctionAddress"), "EXTENSION_NOT_SUPPORTED"},
        {"/nowhere", "OPENCL_UNINITIALIZED"},
    };
    AddSharing();
    for (const auto& [runtime, outcome] : cases) {
        Restart(runtime);
        EXPECT_EQ(Create(Platform()), outcome);
        EXPECT_EQ(fake.TextsOf("clCreateContext"), Texts());
    }
    const BaseArray<OpenCLDeviceRef> devices;
    EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContextForDevices(gl, devices)), "OPENCL_UNINITIALIZED");
    EXPECT_EQ(Create(), "OPENCL_UNINITIALIZED");
}

TEST_F(GLSharingTest, GivenDevicesArePassedInOrderWithTheFirstOnesPlatform) {
    AddSharing();
    AddSharing(kCpu);
    AddDevice(kCpu, false);
    BaseArray<OpenCLDeviceRef> devices = GetDevices(1);
    std::swap(devices[0], devices[1]);
    {
        const OpenCLContextRef context = OpenCL::CreateGLSharedContextForDevices(gl, devices).GetValue();
        ASSERT_EQ(context.GetDevices().GetCount(), 2);
        EXPECT_EQ(context.GetDevices()[0], reinterpret_cast<cl_device_id>(fake.platforms[1]->devices[1]));
    }
    ExpectContext("platform3, 2, [device4 device3]");
    EXPECT_EQ(TakeNames(), (Texts{"clCreateContext", "clReleaseContext"})) << "nothing else is asked";
}

TEST_F(GLSharingTest, EmptyReferencesFailBeforeTheRuntimeIsAsked) {
    BaseArray<OpenCLDeviceRef> devices;
    EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContextForDevices(gl, devices)), kNullPointer);
    ASSERT_TRUE(devices.Resize(2).IsOk());
    EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContextForDevices(gl, devices)), kNullPointer);
    EXPECT_EQ(fake.calls.size(), 0U);
    AddSharing();
    BaseArray<OpenCLDeviceRef> halfEmpty = GetDevices(0);
    EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContext({}, nullptr)), kNullPointer);
    EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContextForDevices({}, halfEmpty)), kNullPointer);
    EXPECT_EQ(fake.calls.size(), 0U);
    ASSERT_TRUE(halfEmpty.Resize(2).IsOk());
    EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContextForDevices(gl, halfEmpty)), "CL_INVALID_DEVICE");
    ExpectContext("platform2, 2, [device2 null]");
}

}  // namespace
}  // namespace nuvra::test
