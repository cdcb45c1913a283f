#include "module_fixture.h"

namespace nuvra::test {
namespace {

using Info = OpenCLPlatformInfo;

class PlatformTest : public ModuleTest {
protected:
    std::string GetPlatforms() { return Outcome(OpenCL::GetPlatforms(platforms)); }
    std::string GetDevices() { return Outcome(platforms[0].GetDevices(devices)); }
    void TearDown() override {
        platforms.Reset();
        devices.Reset();
        ModuleTest::TearDown();
    }
    void SetInfo(cl_uint which, const std::string& text) {
        fake.platforms[0]->info[which] = fake::TextBytes(text);
    }

    BaseArray<OpenCLPlatformRef> platforms;
    BaseArray<OpenCLDeviceRef> devices;
};

TEST_F(PlatformTest, APlatformAnswersFromItsCopies) {
    ASSERT_EQ(GetPlatforms(), "OK");
    ASSERT_EQ(platforms.GetCount(), 1);
    fake.calls.clear();
    const std::pair<UInt32, std::string> cases[] = {
        {Info::ID, std::to_string(reinterpret_cast<Int64>(Platform()))},
        {Info::NAME, "Fake platform"},
        {Info::PROFILE, "FULL_PROFILE"},
        {Info::VERSION, "OpenCL 1.2 fake"},
        {Info::VENDOR, "Fake vendor"},
        {Info::EXTENSIONS, "[cl_khr_icd][cl_fake_extension]"},
        {Info::VERSION_NUMBER, "120"},
        {6, "none"},
        {99, "none"},
        {101, "none"},
    };
    for (const auto& [which, expected] : cases) {
        const Result<Data> value = platforms[0].GetInfo(which);
        EXPECT_EQ(Outcome(value), "OK");
        EXPECT_EQ(ToText(value.GetValue()), expected) << which;
    }
    EXPECT_NE(platforms[0].GetInfo(Info::ID).GetValue().Find<Int64>(), nullptr);
    EXPECT_NE(platforms[0].GetInfo(Info::VERSION_NUMBER).GetValue().Find<Int64>(), nullptr);
    EXPECT_EQ(fake.calls.size(), 0U);
}

TEST_F(PlatformTest, AnExtensionIsFoundByItsWholeName) {
    SetInfo(CL_PLATFORM_EXTENSIONS, " cl_khr_gl_sharing_more  cl_khr_icd ");
    ASSERT_EQ(GetPlatforms(), "OK");
    EXPECT_FALSE(platforms[0].HasExtension(MakeText("cl_khr_gl_sharing")));
    EXPECT_TRUE(platforms[0].HasExtension(MakeText("cl_khr_gl_sharing_more")));
    EXPECT_TRUE(platforms[0].HasExtension(MakeText("cl_khr_icd")));
    EXPECT_FALSE(platforms[0].HasExtension(String()));
}

TEST_F(PlatformTest, TheVersionIsParsedAfterItsWord) {
    const std::pair<const char*, const char*> cases[] = {
        {"OpenCL 1.2 vendor words", "120"},
        {"OpenCL 2.1", "210"},
        {"OpenCL 1.10", "200"},
        {"OpenCL C 1.2", ""},
        {"OpenCL 1", ""},
        {"1.2", ""},
        {"", ""},
    };
    for (const auto& [text, number] : cases) {
        SetInfo(CL_PLATFORM_VERSION, text);
        const bool parses = *number != '\0';
        EXPECT_EQ(GetPlatforms(), parses ? "OK" : "UNSPECIFIED") << text;
        ASSERT_EQ(platforms.GetCount(), parses ? 1 : 0);
        if (parses) {
            EXPECT_EQ(ToText(platforms[0].GetInfo(Info::VERSION_NUMBER).GetValue()), number);
        }
    }
}

TEST_F(PlatformTest, TextsThatCannotBeReadAreEmpty) {
    fake.platforms[0]->info.erase(CL_PLATFORM_VENDOR);
    fake.platforms[0]->info.erase(CL_PLATFORM_EXTENSIONS);
    fake.intercept = [](const fake::Call& call) {  // the size of the name is known, the name is not given
        const bool isName = call.name == "clGetPlatformInfo" && call.values[1] == fake::Value(0x0902UL);
        return isName && call.values[2] != fake::Value(0UL) ? CL_OUT_OF_RESOURCES : CL_SUCCESS;
    };
    ASSERT_EQ(GetPlatforms(), "OK");
    for (const UInt32 which : {Info::NAME, Info::VENDOR, Info::EXTENSIONS})
        EXPECT_EQ(ToText(platforms[0].GetInfo(which).GetValue()), "") << which;
    EXPECT_EQ(ToText(platforms[0].GetInfo(Info::PROFILE).GetValue()), "FULL_PROFILE");
}

TEST_F(PlatformTest, ListingReplacesWhatTheArrayHeld) {
    ASSERT_EQ(GetPlatforms(), "OK");
    const OpenCLPlatformRef first = platforms[0];
    fake.AddPlatform("Second");
    ASSERT_EQ(GetPlatforms(), "OK");
    ASSERT_EQ(platforms.GetCount(), 2);
    EXPECT_FALSE(platforms[0] == first) << "each listing makes new objects";
    EXPECT_EQ(ToText(platforms[1].GetInfo(Info::NAME).GetValue()), "Second");

    fake.Fail("clGetPlatformIDs", -1001, 1);
    EXPECT_EQ(GetPlatforms(), "CL_PLATFORM_NOT_FOUND_KHR");
    EXPECT_EQ(platforms.GetCount(), 0);
    fake.platforms.resize(65537, fake.platforms[0]);
    EXPECT_EQ(GetPlatforms(), "UNSPECIFIED") << "a number beyond belief";
    fake.platforms.clear();
    EXPECT_EQ(GetPlatforms(), "OK") << "a runtime without platforms";
    EXPECT_EQ(platforms.GetCount(), 0);
}

TEST_F(PlatformTest, ANumberThatChangesBetweenTheTwoQueriesIsUnspecified) {
    int seen = 0;
    fake.intercept = [&](const fake::Call& call) {
        if (call.name == "clGetPlatformIDs" && ++seen == 2) fake.AddPlatform("Late");
        return CL_SUCCESS;
    };
    EXPECT_EQ(GetPlatforms(), "UNSPECIFIED");
    fake.intercept = nullptr;
    ASSERT_EQ(GetPlatforms(), "OK");
    fake::Object& platform = *fake.platforms[0];
    const auto devicesOnce = platform.devices;
    platform.devices.resize(65537, devicesOnce[0]);
    EXPECT_EQ(GetDevices(), "UNSPECIFIED") << "a number beyond belief";
    platform.devices = devicesOnce;
    for (const int difference : {1, -1}) {
        seen = 0;
        fake.intercept = [&](const fake::Call& call) {
            if (call.name != "clGetDeviceIDs" || ++seen != 2) return CL_SUCCESS;
            platform.devices.resize(platform.devices.size() + difference, devicesOnce[0]);
            return CL_SUCCESS;
        };
        EXPECT_EQ(GetDevices(), "UNSPECIFIED");
        EXPECT_EQ(devices.GetCount(), 0);
    }
}

TEST_F(PlatformTest, DevicesAreListedAnewEachTime) {
    fake.AddDevice(*fake.platforms[0], "Second");
    ASSERT_EQ(GetPlatforms(), "OK");
    ASSERT_EQ(GetDevices(), "OK");
    ASSERT_EQ(devices.GetCount(), 2);
    const OpenCLDeviceRef first = devices[0];
    ASSERT_EQ(GetDevices(), "OK");
    EXPECT_FALSE(devices[0] == first);
    EXPECT_EQ(ToText(devices[1].GetInfo(OpenCLDeviceInfo::NAME).GetValue()), "Second");
}

TEST_F(PlatformTest, DevicesThatCannotBeListedLeaveAnEmptyArray) {
    fake::Object& bad = fake.AddDevice(*fake.platforms[0], "Unparsable");
    bad.info[CL_DEVICE_VERSION] = fake::TextBytes("version one");
    ASSERT_EQ(GetPlatforms(), "OK");
    ASSERT_TRUE(devices.Resize(3).IsOk());
    EXPECT_EQ(GetDevices(), "UNSPECIFIED");
    EXPECT_EQ(devices.GetCount(), 0);
    fake.platforms[0]->devices.clear();
    ASSERT_TRUE(devices.Resize(3).IsOk());
    EXPECT_EQ(GetDevices(), "CL_DEVICE_NOT_FOUND");
    EXPECT_EQ(devices.GetCount(), 0);
}

}  // namespace
}  // namespace nuvra::test
