#include <sstream>

#include "module_fixture.h"
#include "nuvra/open_cl_task.h"

namespace nuvra::test {
namespace {

constexpr cl_device_type kGpu = CL_DEVICE_TYPE_GPU;
constexpr cl_device_type kCpu = CL_DEVICE_TYPE_CPU;

/// The module with the sharing, on a fake runtime that can share and begins without platforms.
class GLSharingTest : public ModuleTest {
protected:
    void SetUp() override {
        isSharing = true;
        ModuleTest::SetUp();
        gl = MakeGLContext();
        Clear();
    }
    void TearDown() override {
        gl = nullptr;
        ModuleTest::TearDown();
    }

    void Clear() {
        fake.Reset();
        fake.platforms.clear();
        fake.sharingDevices.emplace();
    }
    /// A device of the last platform. It is offered for sharing, and with the extension it can share.
    fake::Object& AddDevice(cl_device_type type, bool canShare) {
        fake::Object& device = fake.AddDevice(*fake.platforms.back(), "Device");
        device.info[CL_DEVICE_TYPE] = fake::NumberBytes<cl_device_type>({type});
        if (canShare) device.info[CL_DEVICE_EXTENSIONS] = fake::TextBytes("cl_khr_gl_sharing cl_khr_fp64");
        fake.sharingDevices->push_back(&device);
        return device;
    }
    /// A platform of one device, which can share.
    void AddSharing(cl_device_type type = kGpu) {
        fake.AddPlatform("Platform");
        AddDevice(type, true);
    }
    std::string Create(cl_platform_id platform = nullptr) {
        return Outcome(OpenCL::CreateGLSharedContext(gl, platform));
    }
    /// Of the one context that was made: "platform2, 1, [device2]", the platform and the devices.
    void ExpectContext(const std::string& expected, const std::string& title = "") {
        const size_t platformEnd = expected.find(',');
        EXPECT_EQ(Take("clCreateContext"), Texts{"\"8200 17 8203 34 4228 " + expected.substr(0, platformEnd) +
                                                 '"' + expected.substr(platformEnd) + ", ptr, ptr, ptr"})
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
    // The runtime alone knows how large they are.
    const InvertImageParameters invert{1, &texture, &texture, 0, 0, 4, 5};
    EXPECT_EQ(Outcome(context.GetTask(MakeText("image.invert")).GetValue().Execute(context, queue, &invert)),
              "CL_INVALID_VALUE");
    const ClearMemParameters clear{1, &buffer, 65, 0};
    EXPECT_EQ(Outcome(context.GetTask(MakeText("clearmem")).GetValue().Execute(context, queue, &clear)),
              "CL_INVALID_BUFFER_SIZE");
    ASSERT_EQ(Outcome(buffer.Release()), "OK");
    for (const OpenCLMemoryObjectRef& memory : {buffer, OpenCLMemoryObjectRef()})
        EXPECT_EQ(Outcome(queue.EnqueueAcquireGLObjects(1, &memory)), "CL_INVALID_MEM_OBJECT");
    EXPECT_EQ(fake.TextsOf("clEnqueueAcquireGLObjects"), Texts());
}

TEST_F(GLSharingTest, ASearchPrefersPlainGpusThatCanShare) {
    const struct {
        const char* title;
        /// One text a platform, one word a device: "gpu", "default", "cpu", with "+" where it can share.
        std::vector<std::string> platforms;
        std::string found;  ///< the platform and the devices of the context, or the failure's code
    } cases[] = {
        {"a GPU behind a CPU of another platform", {"cpu+", "gpu+"}, "platform3, 1, [device3]"},
        {"a GPU behind another device", {"cpu+ gpu+", "gpu+"}, "platform2, 2, [device3 device4]"},
        {"GPUs that cannot share", {"gpu", "cpu gpu", "gpu+"}, "platform4, 3, [device2 device4 device5]"},
        {"a GPU that is also the default device", {"default+", "gpu+"}, "platform3, 1, [device3]"},
        {"only such a GPU", {"cpu", "default+"}, "platform3, 2, [device2 device3]"},
        {"no GPU", {"cpu", "cpu+"}, "platform3, 2, [device2 device3]"},
        {"nothing that can share", {"gpu", "cpu"}, "NO_MATCHING_PLATFORM"},
        {"a first platform without devices", {"", "gpu+"}, "CL_DEVICE_NOT_FOUND"},
        {"a platform without devices that is not reached", {"gpu+", ""}, "platform2, 1, [device2]"},
    };
    for (const auto& [title, platforms, found] : cases) {
        Clear();
        for (const std::string& devices : platforms) {
            fake.AddPlatform("Platform");
            std::istringstream words(devices);
            for (std::string word; words >> word;) {
                const cl_device_type type = word[0] == 'g' ? kGpu : word[0] == 'c' ? kCpu : kGpu | 1;
                AddDevice(type, word.back() == '+');
            }
        }
        if (const std::string outcome = Create(); outcome != "OK")
            EXPECT_EQ(outcome, found) << title;
        else
            ExpectContext(found, title);
    }
}

TEST_F(GLSharingTest, AGivenPlatformIsTakenWithoutASearch) {
    AddSharing();
    fake.sharingDevices->clear();
    fake.AddPlatform("Given");
    AddDevice(kGpu, false);
    const auto given = reinterpret_cast<cl_platform_id>(fake.platforms[1]);
    EXPECT_EQ(Create(given), "EXTENSION_NOT_SUPPORTED") << "none of its devices can share";
    EXPECT_EQ(fake.TextsOf("clGetExtensionFunctionAddress"), Texts());
    // A device that does not tell its type is no GPU.
    const fake::Object& silent = AddDevice(kGpu, true);
    bool isListed = false;
    fake.intercept = [&](const fake::Call& call) {
        isListed = isListed || call.name == "clGetGLContextInfoKHR";
        return isListed && call.values[0] == fake::Value(&silent) ? CL_OUT_OF_RESOURCES : CL_SUCCESS;
    };
    EXPECT_EQ(Create(given), "OK");
    EXPECT_EQ(fake.TextsOf("clGetPlatformIDs"), Texts());
    ExpectContext("platform3, 1, [device3]");
}

TEST_F(GLSharingTest, AHundredDevicesFitAndMoreAreTheRuntimesError) {
    AddSharing(kCpu);
    while (fake.sharingDevices->size() < 100) AddDevice(kCpu, true);
    EXPECT_EQ(OpenCL::CreateGLSharedContext(gl, Platform()).GetValue().GetDevices().GetCount(), 100);
    AddDevice(kCpu, true);
    EXPECT_EQ(Create(Platform()), "CL_INVALID_VALUE");
}

TEST_F(GLSharingTest, WhatTheRuntimeLacksHasItsCode) {
    EXPECT_EQ(Create(), "NO_MATCHING_PLATFORM");
    AddSharing();
    fake.createdCode = CL_OUT_OF_RESOURCES;
    EXPECT_EQ(Create(), "CL_OUT_OF_RESOURCES");
    EXPECT_EQ(fake.CountLive(), 0);
    fake.sharingDevices->clear();
    EXPECT_EQ(Create(), "NO_MATCHING_DEVICE");
    fake.sharingDevices.reset();
    EXPECT_EQ(Create(), "EXTENSION_NOT_SUPPORTED");
    fake.Fail("clGetPlatformIDs", CL_INVALID_VALUE, 2);
    EXPECT_EQ(Create(), "CL_INVALID_VALUE");
}

TEST_F(GLSharingTest, GivenDevicesArePassedInOrderWithTheFirstOnesPlatform) {
    AddSharing();
    AddSharing(kCpu);
    AddDevice(kCpu, false);
    BaseArray<OpenCLDeviceRef> devices;
    for (const int index : {1, 0}) {
        const auto id = reinterpret_cast<cl_device_id>(fake.platforms[1]->devices[index]);
        ASSERT_TRUE(IsOk(devices.Append(OpenCL::GetDeviceFromId(id).GetValue())));
    }
    fake.calls.clear();
    EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContextForDevices(gl, devices)), "OK");
    EXPECT_EQ(fake.calls.size(), 2U) << "nothing but the context is asked for, and released";
    ExpectContext("platform3, 2, [device4 device3]");

    EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContextForDevices({}, devices)), kNullPointer);
    EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContext({}, nullptr)), kNullPointer);
    EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContextForDevices(gl, {})), kNullPointer);
    devices[0] = nullptr;
    EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContextForDevices(gl, devices)), kNullPointer);
    EXPECT_EQ(fake.calls.size(), 0U);
    std::swap(devices[0], devices[1]);
    EXPECT_EQ(Outcome(OpenCL::CreateGLSharedContextForDevices(gl, devices)), "CL_INVALID_DEVICE");
    ExpectContext("platform3, 2, [device3 null]");
}

}  // namespace
}  // namespace nuvra::test
