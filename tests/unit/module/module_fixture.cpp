#include "module_fixture.h"

#include "nuvra/host/error_names.h"

namespace nuvra {

class OpenGLContextImpl : public ObjectHeader {};

}  // namespace nuvra

namespace nuvra::test {

namespace {

constexpr OpenGLContextInterface::Operations kGLOperations{
    DeleteObject<OpenGLContextImpl>,
    [](const OpenGLContextImpl*) { return reinterpret_cast<void*>(17); },
    [](const OpenGLContextImpl*) { return reinterpret_cast<void*>(34); },
};
constinit InterfaceRecord g_record =
    ImplementInterface<OpenGLContextInterface>("net.nuvra.test.gl", "TestContext", kGLOperations);
SourceUnit g_unit{g_program, "gl_context", {&g_record}};

}  // namespace

OpenGLContextRef MakeGLContext() {
    return NewObject<OpenGLContextRef>();
}

std::string CodeName(Int32 code) {
    const std::string_view name = host::FindErrorName(code);
    return name.empty() ? "code " + std::to_string(code) : std::string(name);
}

std::string Describe(const ErrorRef& error) {
    if (!error) return "OK";
    const OpenCLErrorRef openCL(error);
    return openCL ? CodeName(openCL.GetErrorCode()) : error.GetClassId();
}

std::string ToText(const Data& data) {
    if (data.IsEmpty()) return "none";
    std::string items;
    if (const auto* texts = data.Find<BaseArray<String>>())
        for (const String& text : *texts) items += '[' + std::string(text.GetView()) + ']';
    else if (const auto* numbers = data.Find<BaseArray<Int64>>())
        for (const Int64 number : *numbers) items += '[' + std::to_string(number) + ']';
    else
        return std::string(data.ToText().GetValue().GetView());
    return items;
}

std::string FakeLibrary(const std::string& variant) {
    if (variant.empty()) return FAKE_RUNTIME_FILE;
    return FAKE_RUNTIME_FOLDER "/" FAKE_RUNTIME_PREFIX "fake_opencl" + variant + FAKE_RUNTIME_SUFFIX;
}

ModuleTest::ModuleTest() {
    fake.Reset();
}

void ModuleTest::SetUp() {
    Start(FakeLibrary());
    ASSERT_TRUE(OpenCL::IsAvailable());
    ASSERT_EQ(Take("clGetPlatformIDs").size(), 1U) << "this is another runtime";
}

void ModuleTest::Start(const std::string& runtime) {
    host.emplace(std::map<std::string, std::string>{{"libOpenCL.so.1", runtime}, {"opencl.dll", runtime}},
                 tracing);
    ASSERT_TRUE(IsOk(host->Start({isSharing ? GL_MODULE_FILE : OPENCL_MODULE_FILE})));
}

void ModuleTest::Stop() {
    if (!host) return;
    fake.intercept = nullptr;
    host->allocations.FailNone();
    cl = {};
    EXPECT_EQ(host->host.Shutdown(), Texts()) << "objects of these modules are left";
    host.reset();
    EXPECT_EQ(fake.CountLive(), expectedLive);
    EXPECT_EQ(fake.faults, Texts());
}

BaseArray<cl_device_id> ModuleTest::Devices() const {
    BaseArray<cl_device_id> devices;
    for (fake::Object* device : fake.platforms[0]->devices)
        EXPECT_EQ(Outcome(devices.Append(reinterpret_cast<cl_device_id>(device))), "OK");
    return devices;
}

cl_platform_id ModuleTest::Platform() const {
    return reinterpret_cast<cl_platform_id>(fake.platforms[0]);
}

void ModuleTest::MakeObjects() {
    if (isSharing) {
        BaseArray<OpenCLDeviceRef> devices;
        ASSERT_TRUE(devices.Append(OpenCL::GetDeviceFromId(Devices()[0]).GetValue()).IsOk());
        cl.context = OpenCL::CreateGLSharedContextForDevices(MakeGLContext(), devices).GetValue();
    } else {
        cl.context = OpenCL::CreateContext(Platform(), Devices()).GetValue();
    }
    cl.queue = cl.context.CreateCommandQueue().GetValue();
    const char* source = "kernel void Main() {} kernel void Tail() {}";
    cl.program = cl.context.CreateProgramWithSource(1, &source).GetValue();
    ASSERT_EQ(Outcome(cl.program.Build(Devices(), nullptr)), "OK");
    cl.kernel = cl.program.CreateKernel("Main").GetValue();
    cl.buffer = cl.context.CreateBuffer(OpenCLMemoryFlags::READ_WRITE, bufferSize).GetValue();
    ASSERT_TRUE(cl.queue && cl.kernel && cl.buffer);
    fake.calls.clear();
}

Texts ModuleTest::Take(const std::string& name) {
    Texts texts = fake.TextsOf(name);
    fake.calls.clear();
    return texts;
}

Texts ModuleTest::TakeNames() {
    Texts names;
    for (const fake::Call& call : fake.calls) names.push_back(call.name);
    fake.calls.clear();
    return names;
}

}  // namespace nuvra::test
