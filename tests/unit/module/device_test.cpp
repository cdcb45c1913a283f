#include "module_fixture.h"

namespace nuvra::test {
namespace {

using Info = OpenCLDeviceInfo;

class DeviceTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        id = fake.platforms[0]->devices[0];
    }
    Result<OpenCLDeviceRef> Get() { return OpenCL::GetDeviceFromId(reinterpret_cast<cl_device_id>(id)); }
    /// What a new object of the device answers, or the failure to make one.
    std::string Ask(UInt32 which) {
        const Result<OpenCLDeviceRef> device = Get();
        if (!device.IsOk()) return Outcome(device);
        const Result<Data> value = device.GetValue().GetInfo(which);
        return value.IsOk() ? ToText(value.GetValue()) : Outcome(value);
    }
    void SetText(cl_uint which, const std::string& text) { id->info[which] = fake::TextBytes(text); }
    /// Makes the query for a parameter fail: the first, for its size, or the second, for its value.
    void FailQuery(UInt64 parameter, bool forSize) {
        fake.intercept = [=](const fake::Call& call) {
            if (call.name != "clGetDeviceInfo" || call.values[1] != fake::Value(parameter)) return CL_SUCCESS;
            return forSize == (call.values[2] == fake::Value(UInt64{0})) ? CL_OUT_OF_RESOURCES : CL_SUCCESS;
        };
    }

    fake::Object* id = nullptr;
};

TEST_F(DeviceTest, ADeviceAnswersFromItsCopies) {
    id->info[CL_DEVICE_QUEUE_PROPERTIES] = fake::NumberBytes<cl_ulong>({0xFF});
    id->info[CL_DEVICE_COMPILER_AVAILABLE] = fake::NumberBytes<cl_bool>({0});
    const OpenCLDeviceRef device = Get().GetValue();
    fake.calls.clear();
    const std::tuple<UInt32, std::string, const char*> cases[] = {
        {Info::ID, std::to_string(reinterpret_cast<Int64>(id)), "Int64"},
        {Info::NAME, "Fake device", "String"},
        {Info::DRIVER_VERSION, "352.86", "String"},
        {Info::DRIVER_VERSION_NUMBER, "36060", "Int64"},
        {Info::VERSION, "OpenCL 1.2 fake", "String"},
        {Info::VERSION_NUMBER, "120", "Int64"},
        {Info::OPENCL_C_VERSION, "OpenCL C 1.2 fake", "String"},
        {Info::OPENCL_C_VERSION_NUMBER, "120", "Int64"},
        {Info::VENDOR, "Fake vendor", "String"},
        {Info::EXTENSIONS, "[cl_khr_fp64][cl_fake_extension]", "StringArray"},
        {Info::TYPE, "4", "UInt64"},
        {Info::PLATFORM, std::to_string(reinterpret_cast<Int64>(Platform())), "Int64"},
        {Info::MAX_WORK_ITEM_SIZES, "[1024][1024][64]", "Int64Array"},
        {Info::MAX_WORK_ITEM_DIMENSIONS, "3", "Int64"},
        {Info::QUEUE_PROPERTIES, "3", "UInt64"},
        {Info::AVAILABLE, "true", "Bool"},
        {Info::COMPILER_AVAILABLE, "false", "Bool"},
        {Info::EXECUTION_CAPABILITIES, "1", "UInt64"},
    };
    for (const auto& [which, expected, type] : cases) {
        const Result<Data> value = device.GetInfo(which);
        ASSERT_EQ(Outcome(value), "OK");
        EXPECT_EQ(ToText(value.GetValue()), expected) << which;
        ASSERT_NE(value.GetValue().GetType(), nullptr);
        EXPECT_EQ(value.GetValue().GetType()->id, Id((std::string("nuvra.DataTypes:nuvra.") + type).c_str()));
    }
    EXPECT_EQ(Ask(18), "none");
    EXPECT_FALSE(device.HasExtension(MakeText("cl_khr_fp6")));
    EXPECT_TRUE(device.HasExtension(MakeText("cl_khr_fp64")));
}

TEST_F(DeviceTest, VersionsAreParsedAfterTheirWords) {
    const struct {
        cl_uint parameter;
        const char* text;
        UInt32 which;
        const char* expected;
    } cases[] = {
        {CL_DRIVER_VERSION, "3.1+debian", Info::DRIVER_VERSION_NUMBER, "310"},
        {CL_DRIVER_VERSION, "1.10", Info::DRIVER_VERSION_NUMBER, "200"},
        {CL_DRIVER_VERSION, "30000000.1", Info::DRIVER_VERSION_NUMBER, "3000000010"},
        {CL_DRIVER_VERSION, "Oclgrind 21.10", Info::DRIVER_VERSION_NUMBER, "UNSPECIFIED"},
        {CL_DRIVER_VERSION, "12", Info::DRIVER_VERSION_NUMBER, "UNSPECIFIED"},
        {CL_DEVICE_VERSION, "OpenCL 2.0 words", Info::VERSION_NUMBER, "200"},
        {CL_DEVICE_VERSION, "OpenCL C 1.2", Info::VERSION_NUMBER, "UNSPECIFIED"},
        {CL_DEVICE_OPENCL_C_VERSION, "OpenCL C 2.0", Info::OPENCL_C_VERSION_NUMBER, "200"},
        {CL_DEVICE_OPENCL_C_VERSION, "OpenCL 2.0", Info::OPENCL_C_VERSION_NUMBER, "UNSPECIFIED"},
    };
    for (const auto& one : cases) {
        const fake::Info usual = id->info;
        SetText(one.parameter, one.text);
        EXPECT_EQ(Ask(one.which), one.expected) << one.text;
        id->info = usual;
    }
}

TEST_F(DeviceTest, AVersionWhoseSizeIsUnknownIsParsedFromTheTextBefore) {
    SetText(CL_DEVICE_VENDOR, "12.5 vendor");
    FailQuery(CL_DRIVER_VERSION, true);
    EXPECT_EQ(Ask(Info::DRIVER_VERSION_NUMBER), "1250");
    EXPECT_EQ(Ask(Info::DRIVER_VERSION), "");
    FailQuery(CL_DRIVER_VERSION, false);  // the buffer is already cleared for the new text
    EXPECT_EQ(Ask(Info::DRIVER_VERSION_NUMBER), "UNSPECIFIED");
}

TEST_F(DeviceTest, TextsEndWithTheirBytesAlsoWithoutANul) {
    id->info[CL_DEVICE_NAME] = {'a', 'b'};
    SetText(CL_DEVICE_VENDOR, "much longer than the name");
    id->info[CL_DRIVER_VERSION] = {'1', '.', '2'};
    EXPECT_EQ(Ask(Info::NAME), "ab");
    EXPECT_EQ(Ask(Info::DRIVER_VERSION), "1.2");
    SetText(CL_DEVICE_EXTENSIONS, "");
    EXPECT_EQ(Ask(Info::EXTENSIONS), "");
}

TEST_F(DeviceTest, NumbersThatCannotBeReadStayZero) {
    id->info.erase(CL_DEVICE_TYPE);
    id->info.erase(CL_DEVICE_AVAILABLE);
    id->info.erase(CL_DEVICE_QUEUE_PROPERTIES);
    EXPECT_EQ(Ask(Info::TYPE), "0");
    EXPECT_EQ(Ask(Info::AVAILABLE), "false");
    EXPECT_EQ(Ask(Info::QUEUE_PROPERTIES), "0");
}

TEST_F(DeviceTest, ThereAreAsManyWorkItemSizesAsDimensions) {
    id->info[CL_DEVICE_MAX_WORK_ITEM_DIMENSIONS] = fake::NumberBytes<cl_uint>({2});
    id->info[CL_DEVICE_MAX_WORK_ITEM_SIZES] = fake::NumberBytes<size_t>({7, 5});
    EXPECT_EQ(Ask(Info::MAX_WORK_ITEM_SIZES), "[7][5]");
    bool isWithoutSizes = false;
    for (Int distance = 0; !isWithoutSizes && distance < 50; distance++) {
        host->allocations.FailFrom(distance);
        isWithoutSizes = Ask(Info::MAX_WORK_ITEM_DIMENSIONS) == "0";
    }
    EXPECT_TRUE(isWithoutSizes) << "without memory for its sizes a device has no dimensions";
}

TEST_F(DeviceTest, WhatCannotBeHeldOrBelievedIsAnError) {
    SetText(CL_DEVICE_EXTENSIONS, std::string(500, 'x'));
    for (Int distance = 0; distance < 40; distance++) {
        host->allocations.FailFrom(distance);
        EXPECT_NE(Ask(Info::EXTENSIONS), "") << "of allocation " << distance;
    }
    host->allocations.FailNone();
    id->info[CL_DEVICE_MAX_WORK_ITEM_DIMENSIONS] = fake::NumberBytes<cl_uint>({65537});
    EXPECT_EQ(Ask(Info::NAME), "UNSPECIFIED");
}

TEST_F(DeviceTest, AnIdWithoutAPlatformMakesNoDevice) {
    id->info.erase(CL_DEVICE_PLATFORM);
    EXPECT_EQ(Ask(Info::NAME), "CL_INVALID_VALUE");
    EXPECT_EQ(Outcome(OpenCL::GetDeviceFromId(nullptr)), "CL_INVALID_DEVICE");
    EXPECT_EQ(fake.TextsOf("clGetDeviceInfo"),
              (Texts{"device1, 4145, 8, ptr, null", "null, 4145, 8, ptr, null"}));
}

}  // namespace
}  // namespace nuvra::test
