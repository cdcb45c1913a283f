#pragma once

#include "nuvra/open_cl_program.h"
#include "opencl_handle.h"

namespace nuvra {

class OpenCLProgramImpl : public ObjectHeader {
public:
    enum class Origin { SOURCE, BINARY };
    OpenCLProgramImpl(OwnedProgram handle, Origin origin)
        : _handle(std::move(handle)), _origin(origin), _hasBinary(origin == Origin::BINARY) {}

    Result<void> Release() { return _handle.Release(); }
    Result<void> Build(const BaseArray<cl_device_id>& devices, const char* options);
    Result<String> GetBuildLog(cl_device_id device);
    Result<OpenCLKernelRef> CreateKernel(const char* name);
    Result<void> GetBinary(BaseArray<UChar>& binary);

private:
    OwnedProgram _handle;
    Origin _origin;
    bool _hasBinary;
};

}  // namespace nuvra
