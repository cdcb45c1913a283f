#include "opencl_program.h"

#include "module_records.h"
#include "opencl_kernel.h"
#include "opencl_text.h"

namespace nuvra {

Result<void> OpenCLProgramImpl::Build(const BaseArray<cl_device_id>& devices, const char* options) {
    // A runtime may die of a null device.
    for (const cl_device_id device : devices)
        if (device == nullptr) return OpenCLError(CL_INVALID_DEVICE);
    const cl_int code = Call<entry::clBuildProgram>(
        ResultCode(), _handle.Get(), static_cast<cl_uint>(devices.GetCount()),
        devices.IsEmpty() ? nullptr : devices.GetFirst(), options, nullptr, nullptr);
    _hasBinary = code == CL_SUCCESS || _origin == Origin::BINARY;
    return CheckCode(code);
}

Result<String> OpenCLProgramImpl::GetBuildLog(cl_device_id device) {
    TextReader reader;
    const Result<const char*> log = reader.ReadBytes([&](size_t size, char* value, size_t* written) {
        return Call<entry::clGetProgramBuildInfo>(TextRead{value, written}, _handle.Get(), device,
                                                  CL_PROGRAM_BUILD_LOG, size, value, written);
    });
    return String::FromCText(log.IsOk() ? log.GetValue() : "OutOfMemoryError").GetValue();
}

Result<OpenCLKernelRef> OpenCLProgramImpl::CreateKernel(const char* name) {
    cl_int error = CL_SUCCESS;
    OwnedKernel kernel(Call<entry::clCreateKernel>(Created{&error}, _handle.Get(), name, &error));
    return Wrap<OpenCLKernelRef>(std::move(kernel), error);
}

Result<void> OpenCLProgramImpl::GetBinary(BaseArray<UChar>& binary) {
    if (!_handle) return OpenCLError(CL_INVALID_PROGRAM);
    // A runtime may end the process for want of a binary.
    if (!_hasBinary) return OpenCLError(CL_INVALID_PROGRAM_EXECUTABLE);
    const auto query = [&](cl_program_info which, void* value) {
        return CheckCode(Call<entry::clGetProgramInfo>(TextRead{nullptr, nullptr}, _handle.Get(), which,
                                                       sizeof(void*), value, nullptr));
    };
    size_t size = 0;
    NUVRA_RETURN_IF_ERROR(query(CL_PROGRAM_BINARY_SIZES, &size));
    binary.Reset();
    if (size > PTRDIFF_MAX) return OutOfMemoryError();
    NUVRA_RETURN_IF_ERROR(binary.Resize(static_cast<Int>(size)));
    UChar* bytes = binary.GetFirst();
    return query(CL_PROGRAM_BINARIES, &bytes);
}

namespace {

constexpr OpenCLProgramInterface::Operations kOperations{
    DeleteObject<OpenCLProgramImpl>,
    kOperation<&OpenCLProgramImpl::Release>,
    kOperation<&OpenCLProgramImpl::Build>,
    kOperation<&OpenCLProgramImpl::GetBuildLog>,
    kOperation<&OpenCLProgramImpl::CreateKernel>,
    kOperation<&OpenCLProgramImpl::GetBinary>,
};
constinit InterfaceRecord g_implementation = ImplementInterface<OpenCLProgramInterface>(
    "nuvra.OpenCLProgramInterface", "OpenCLProgramImpl", kOperations);
SourceUnit g_unit{g_openCLModule, "opencl_program", {&g_implementation}};

}  // namespace

}  // namespace nuvra
