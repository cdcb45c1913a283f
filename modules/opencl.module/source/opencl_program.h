#pragma once

#include "nuvra/open_cl_program.h"
#include "opencl_handle.h"

namespace nuvra {

class OpenCLProgramImpl : public ObjectHeader {
public:
    explicit OpenCLProgramImpl(OwnedProgram handle) : _handle(std::move(handle)) {}

    Result<void> Release() { return _handle.Release(); }
    Result<void> Build(const BaseArray<cl_device_id>& devices, const char* options);
    Result<String> GetBuildLog(cl_device_id device);
    Result<OpenCLKernelRef> CreateKernel(const char* name);
    Result<void> GetBinary(BaseArray<UChar>& binary);

private:
    OwnedProgram _handle;
};

}  // namespace nuvra
