#include "opencl_program.h"

#include "module_records.h"
#include "opencl_kernel.h"
#include "opencl_text.h"

namespace nuvra {

namespace {

using Program = OpenCLProgramImpl;

Result<void> Build(Program* program, const BaseArray<cl_device_id>& devices, const char* options) noexcept {
    // Runtimes may crash on a null device.
    for (const cl_device_id device : devices)
        if (device == nullptr) return OpenCLError(CL_INVALID_DEVICE);
    const cl_int code = Call<entry::clBuildProgram>(
        ResultCode(), program->handle.Get(), static_cast<cl_uint>(devices.GetCount()),
        devices.IsEmpty() ? nullptr : devices.GetFirst(), options, nullptr, nullptr);
    program->hasBinary = code == CL_SUCCESS || program->origin == Program::Origin::BINARY;
    return CheckCode(code);
}

Result<String> GetBuildLog(Program* program, cl_device_id device) noexcept {
    TextReader reader;
    const Result<const char*> log = reader.ReadBytes([&](size_t size, char* value, size_t* written) {
        return Call<entry::clGetProgramBuildInfo>(TextRead{value, written}, program->handle.Get(), device,
                                                  CL_PROGRAM_BUILD_LOG, size, value, written);
    });
    return String::FromCText(log.IsOk() ? log.GetValue() : "OutOfMemoryError").GetValue();
}

Result<OpenCLKernelRef> CreateKernel(Program* program, const char* name) noexcept {
    cl_int error = CL_SUCCESS;
    OwnedKernel kernel(Call<entry::clCreateKernel>(Created{&error}, program->handle.Get(), name, &error));
    return Wrap<OpenCLKernelRef>(std::move(kernel), error);
}

Result<void> GetBinary(Program* program, BaseArray<UChar>& binary) noexcept {
    if (!program->handle) return OpenCLError(CL_INVALID_PROGRAM);
    // A runtime may end the process when there is no binary.
    if (!program->hasBinary) return OpenCLError(CL_INVALID_PROGRAM_EXECUTABLE);
    const auto query = [&](cl_program_info which, void* value) {
        return CheckCode(Call<entry::clGetProgramInfo>(TextRead{nullptr, nullptr}, program->handle.Get(),
                                                       which, sizeof(void*), value, nullptr));
    };
    size_t size = 0;
    NUVRA_RETURN_IF_ERROR(query(CL_PROGRAM_BINARY_SIZES, &size));
    binary.Reset();
    if (size > PTRDIFF_MAX) return OutOfMemoryError();
    NUVRA_RETURN_IF_ERROR(binary.Resize(static_cast<Int>(size)));
    UChar* bytes = binary.GetFirst();
    return query(CL_PROGRAM_BINARIES, &bytes);
}

constexpr OpenCLProgramInterface::Operations kOperations{
    .Destroy = DeleteObject<Program>,
    .Release = ReleaseHandle<Program>,
    .Build = Build,
    .GetBuildLog = GetBuildLog,
    .CreateKernel = CreateKernel,
    .GetBinary = GetBinary,
};
constinit InterfaceRecord g_implementation = ImplementInterface<OpenCLProgramInterface>(
    "nuvra.OpenCLProgramInterface", "OpenCLProgramImpl", kOperations);
SourceUnit g_unit{g_openCLModule, "opencl_program", {&g_implementation}};

}  // namespace

}  // namespace nuvra
