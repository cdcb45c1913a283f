#include <set>

#include "module_fixture.h"

namespace nuvra::test {
namespace {

/// Platforms, devices and image formats, as far as the log of calls does not show them.
class PlatformTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        platform = fake.platforms[0];
        device = platform->devices[0];
    }
    void TearDown() override {
        platforms.Reset();
        devices.Reset();
        ModuleTest::TearDown();
    }
    /// The outcome, and the number of items.
    template <class T>
    static std::string Listed(const Result<void>& listed, const BaseArray<T>& list) {
        return Outcome(listed) + ' ' + std::to_string(list.GetCount());
    }
    /// What a new object of the platform or the device answers, or the failure to make one.
    std::string Ask(const fake::Object* about, UInt32 which) {
        Result<Data> answer{Data()};
        if (about == platform) {
            const Result<void> listed = OpenCL::GetPlatforms(platforms);
            answer = listed.IsOk() ? platforms[0].GetInfo(which) : listed.GetError();
        } else {
            const auto made = OpenCL::GetDeviceFromId(reinterpret_cast<cl_device_id>(device));
            answer = made.IsOk() ? made.GetValue().GetInfo(which) : made.GetError();
        }
        return answer.IsOk() ? ToText(answer.GetValue()) : Outcome(answer);
    }

    fake::Object* platform = nullptr;
    fake::Object* device = nullptr;
    BaseArray<OpenCLPlatformRef> platforms;
    BaseArray<OpenCLDeviceRef> devices;
};

TEST_F(PlatformTest, AListIsReplacedAndEmptyWhereItsNumberChangesOrIsBeyondBelief) {
    MakeObjects();
    BaseArray<OpenCLImageFormat> formats;
    struct {
        const char* function;
        std::function<void(size_t)> resize;
        std::function<std::string()> list;
        const char* whenNone;
    } lists[] = {
        {"clGetSupportedImageFormats", [&](size_t count) { fake.imageFormats.resize(count); },
         [&] {
             const auto type = OpenCLImageType::IMAGE2D;
             return Listed(cl.context.GetSupportedImageFormats(1, type, formats), formats);
         },
         "OK 0"},
        {"clGetDeviceIDs", [&](size_t count) { platform->devices.resize(count, device); },
         [&] { return Listed(platforms[0].GetDevices(devices), devices); }, "CL_DEVICE_NOT_FOUND 0"},
        {"clGetPlatformIDs", [&](size_t count) { fake.platforms.resize(count, platform); },
         [&] { return Listed(OpenCL::GetPlatforms(platforms), platforms); }, "OK 0"},
    };
    ASSERT_EQ(lists[2].list(), "OK 1");
    for (const auto& one : lists) {
        for (const size_t later : {1U, 3U}) {
            one.resize(2);
            EXPECT_EQ(one.list(), "OK 2");
            int seen = 0;
            fake.intercept = [&](const fake::Call& call) {
                if (call.name == one.function && ++seen == 2) one.resize(later);
                return CL_SUCCESS;
            };
            EXPECT_EQ(one.list(), "UNSPECIFIED 0") << one.function;
            fake.intercept = nullptr;
        }
        one.resize(65537);
        EXPECT_EQ(one.list(), "UNSPECIFIED 0") << one.function;
        one.resize(0);
        EXPECT_EQ(one.list(), one.whenNone) << one.function;
        one.resize(1);
        EXPECT_EQ(one.list(), "OK 1") << one.function;
    }
}

TEST_F(PlatformTest, VersionsAreParsedAfterTheirWords) {
    using Info = OpenCLDeviceInfo;
    const std::tuple<fake::Object*, cl_uint, const char*, UInt32, const char*> cases[] = {
        {platform, CL_PLATFORM_VERSION, "OpenCL 2.1 vendor words", OpenCLPlatformInfo::VERSION_NUMBER, "210"},
        {platform, CL_PLATFORM_VERSION, "OpenCL C 1.2", OpenCLPlatformInfo::VERSION_NUMBER, "UNSPECIFIED"},
        {device, CL_DRIVER_VERSION, "3.1+debian", Info::DRIVER_VERSION_NUMBER, "310"},
        {device, CL_DRIVER_VERSION, "1.10", Info::DRIVER_VERSION_NUMBER, "200"},
        {device, CL_DRIVER_VERSION, "30000000.1", Info::DRIVER_VERSION_NUMBER, "3000000010"},
        {device, CL_DRIVER_VERSION, "12", Info::DRIVER_VERSION_NUMBER, "UNSPECIFIED"},
        {device, CL_DEVICE_VERSION, "OpenCL C 1.2", Info::VERSION_NUMBER, "UNSPECIFIED"},
        {device, CL_DEVICE_OPENCL_C_VERSION, "OpenCL 2.0", Info::OPENCL_C_VERSION_NUMBER, "UNSPECIFIED"},
    };
    for (const auto& [about, parameter, text, which, expected] : cases) {
        const fake::Info usual = about->info;
        about->info[parameter] = fake::TextBytes(text);
        EXPECT_EQ(Ask(about, which), expected) << text;
        about->info = usual;
    }
}

TEST_F(PlatformTest, ATextThatCannotBeReadIsEmptyAndAVersionWhoseSizeIsUnknownIsTheTextBefore) {
    platform->info.erase(CL_PLATFORM_VENDOR);
    platform->info.erase(CL_PLATFORM_EXTENSIONS);
    device->info[CL_DEVICE_VENDOR] = fake::TextBytes("12.5 vendor");
    bool isForSize = true;
    fake.intercept = [&](const fake::Call& call) {
        const bool isDriver = call.name == "clGetDeviceInfo" && call.values[1] == fake::Value(0x102DUL);
        return isDriver && isForSize == (call.values[2] == fake::Value(0UL)) ? CL_OUT_OF_RESOURCES
                                                                             : CL_SUCCESS;
    };
    EXPECT_EQ(Ask(device, OpenCLDeviceInfo::DRIVER_VERSION_NUMBER), "1250");
    EXPECT_EQ(Ask(device, OpenCLDeviceInfo::DRIVER_VERSION), "");
    EXPECT_EQ(Ask(platform, OpenCLPlatformInfo::VENDOR), "");
    EXPECT_EQ(Ask(platform, OpenCLPlatformInfo::EXTENSIONS), "");
    isForSize = false;  // the buffer is already cleared for the new text
    EXPECT_EQ(Ask(device, OpenCLDeviceInfo::DRIVER_VERSION_NUMBER), "UNSPECIFIED");
}

TEST_F(PlatformTest, TextsEndWithTheirBytesAlsoWithoutANulAndExtensionsAreWholeNames) {
    device->info[CL_DEVICE_NAME] = {'a', 'b'};
    device->info[CL_DEVICE_VENDOR] = fake::TextBytes("much longer than the name");
    device->info[CL_DRIVER_VERSION] = {'1', '.', '2'};
    EXPECT_EQ(Ask(device, OpenCLDeviceInfo::NAME), "ab");
    EXPECT_EQ(Ask(device, OpenCLDeviceInfo::DRIVER_VERSION), "1.2");
    EXPECT_EQ(Ask(platform, OpenCLPlatformInfo::VERSION_NUMBER), "120");
    ASSERT_EQ(Outcome(platforms[0].GetDevices(devices)), "OK");
    EXPECT_FALSE(platforms[0].HasExtension(MakeText("cl_khr")) || devices[0].HasExtension(String()));
    EXPECT_TRUE(platforms[0].HasExtension(MakeText("cl_khr_icd")));
    EXPECT_TRUE(devices[0].HasExtension(MakeText("cl_khr_fp64")));
}

TEST_F(PlatformTest, ADeviceHasAllItsExtensionsAndAsManySizesAsDimensionsWhereMemoryRunsOut) {
    device->info[CL_DEVICE_MAX_WORK_ITEM_DIMENSIONS] = fake::NumberBytes<cl_uint>({2});
    device->info[CL_DEVICE_MAX_WORK_ITEM_SIZES] = fake::NumberBytes<size_t>({7, 5});
    std::set<std::string> seen;
    for (Int distance = 0; distance < 50; distance++) {
        host->allocations.FailFrom(distance);
        const auto made = OpenCL::GetDeviceFromId(reinterpret_cast<cl_device_id>(device));
        host->allocations.FailNone();
        std::string answers = made.IsOk() ? "" : Outcome(made);
        for (const UInt32 which : {OpenCLDeviceInfo::EXTENSIONS, OpenCLDeviceInfo::MAX_WORK_ITEM_SIZES,
                                   OpenCLDeviceInfo::MAX_WORK_ITEM_DIMENSIONS})
            if (made.IsOk()) answers += ToText(made.GetValue().GetInfo(which).GetValue());
        seen.insert(answers);
    }
    EXPECT_EQ(seen, (std::set<std::string>{kOutOfMemory, "UNSPECIFIED", "[cl_khr_fp64][cl_fake_extension]0",
                                           "[cl_khr_fp64][cl_fake_extension][7][5]2"}));
    device->info[CL_DEVICE_MAX_WORK_ITEM_DIMENSIONS] = fake::NumberBytes<cl_uint>({65537});
    EXPECT_EQ(Ask(device, OpenCLDeviceInfo::NAME), "UNSPECIFIED");
}

TEST_F(PlatformTest, ArraysAreEqualWhereAllTheirElementsAre) {
    const DataTypeRecord* type = GetDataType<BaseArray<Int64>>();
    BaseArray<Int64> first, same, other, shorter;
    for (const Int64 value : {7, 5, 3}) {
        ASSERT_TRUE(first.Append(value).IsOk() && same.Append(value).IsOk());
        ASSERT_TRUE(other.Append(value + (value == 3)).IsOk() &&
                    (value == 3 || shorter.Append(value).IsOk()));
    }
    EXPECT_TRUE(type->equal(&first, &same) && type->hash(&first) == type->hash(&same));
    EXPECT_FALSE(type->equal(&first, &other) || type->equal(&first, &shorter));
}

}  // namespace
}  // namespace nuvra::test
