#include <fstream>
#include <thread>

#include "module_fixture.h"

namespace nuvra::test {
namespace {

std::string MessageOf(const ErrorRef& error) {
    return std::string(error.GetMessage().GetView());
}

TEST_F(ModuleTest, AnErrorsMessageIsItsCodesNameUnlessItWasSetByHandSince) {
    const ErrorRef error = NewError<OpenCLErrorObject>();
    const OpenCLErrorRef openCL(error);
    ASSERT_TRUE(openCL);
    EXPECT_EQ(openCL.GetErrorCode(), 0);
    EXPECT_EQ(MessageOf(error), "") << "no code was set yet";
    const std::pair<Int32, const char*> cases[] = {{0, "CL_SUCCESS"},
                                                   {-68, "CL_INVALID_DEVICE_PARTITION_COUNT"},
                                                   {1, "Version number is too small."},
                                                   {2, "The OpenCL library was not loaded correctly."},
                                                   {3, "Unspecified error."},
                                                   {-25, ""}};
    for (const auto& [code, message] : cases) {
        openCL.SetErrorCode(-5);
        EXPECT_EQ(MessageOf(error), "CL_OUT_OF_RESOURCES");
        openCL.SetErrorCode(code);
        EXPECT_EQ(openCL.GetErrorCode(), code);
        EXPECT_EQ(MessageOf(error), message) << code;
        error.SetMessage(MakeText("by hand"));
        EXPECT_EQ(MessageOf(error), "by hand");
    }
}

TEST_F(ModuleTest, AThreadThatAsksAnErrorWhileAnotherDoesGetsTheTextEvenWhereItFoundNoMemoryBefore) {
    Stop();
    std::function<bool()> allocation;  // done once, in the next one
    host::Options options;
    options.redirects = {{"libOpenCL.so.1", FakeLibrary()}, {"opencl.dll", FakeLibrary()}};
    options.allow = [&](Int) { return !allocation || std::exchange(allocation, nullptr)(); };
    host::Host own(options);
    ASSERT_EQ(Outcome(own.LoadModules(OPENCL_MODULE_FILE)), "OK");
    ASSERT_EQ(Outcome(own.Start()), "OK");
    const ErrorRef error = NewError<OpenCLErrorObject>();
    OpenCLErrorRef(error).SetErrorCode(CL_INVALID_VALUE);
    allocation = [] { return false; };
    EXPECT_EQ(MessageOf(error), "");
    allocation = [&] {
        std::jthread([&] { EXPECT_EQ(MessageOf(error), "CL_INVALID_VALUE"); });
        return true;
    };
    EXPECT_EQ(MessageOf(error), "CL_INVALID_VALUE");
}

TEST_F(ModuleTest, AnErrorCarriesThePlaceThatRaisedIt) {
    MakeObjects();
    fake.Fail("clFinish", CL_OUT_OF_RESOURCES);
    const std::tuple<Result<void>, const char*, const char*> cases[] = {
        {cl.queue.Finish(), "opencl_commandqueue.cpp", "clFinish"},
        {cl.kernel.SetArg(0, OpenCLMemoryObjectRef()), "opencl_kernel.cpp", "CL_INVALID_MEM_OBJECT"},
        {cl.program.CreateKernel("Nobody").GetError(), "opencl_program.cpp", "OpenCLKernelRef"},
    };
    for (const auto& [raised, file, statement] : cases) {
        const SourceLocation location = raised.GetError().GetLocation();
        EXPECT_TRUE(std::string_view(location.file).ends_with(file)) << location.file;
        std::ifstream source(std::string(MODULE_SOURCES "/") + file);
        std::string line;
        for (int i = 0; i < location.line; i++) ASSERT_TRUE(std::getline(source, line)) << location.line;
        EXPECT_NE(line.find(statement), std::string::npos) << line;
    }
}

TEST_F(ModuleTest, ACopiedErrorHasTheCodeAloneAndDerivesTheMessageItself) {
    const ErrorRef error = NewError<OpenCLErrorObject>();
    OpenCLErrorRef(error).SetErrorCode(CL_INVALID_KERNEL);
    const Result<AnyRef> copy = AnyRef(error.Get()).Copy();
    ASSERT_EQ(Outcome(copy), "OK");
    const ErrorRef copied(copy.GetValue().Get());
    OpenCLErrorRef(error).SetErrorCode(CL_INVALID_DEVICE);
    EXPECT_EQ(OpenCLErrorRef(copied).GetErrorCode(), CL_INVALID_KERNEL);
    EXPECT_EQ(MessageOf(copied), "CL_INVALID_KERNEL");
    BaseArray<MemberDescription> members;
    ASSERT_EQ(Outcome(Table<ObjectInterface>()->DescribeMembers(error.Get()->objectClass, members)), "OK");
    ASSERT_EQ(members.GetCount(), 1);
    EXPECT_STREQ(members[0].name.GetText(), "_errorCode");
    EXPECT_STREQ(members[0].dataType.GetText(), "nuvra.DataTypes:nuvra.UInt32");
    EXPECT_EQ(members[0].offset, 0);
}

}  // namespace
}  // namespace nuvra::test
