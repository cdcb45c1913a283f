#pragma once

#include "nuvra/open_cl_kernel.h"

namespace nuvra {

class OpenCLProgramImpl;

struct OpenCLProgramInterface {
    static constexpr Id kId{"nuvra.OpenCLProgramInterface#1"};
    static constexpr const char* kHeader = "nuvra/open_cl_program.h";
    static constexpr bool kOptional = false;
    using Object = OpenCLProgramImpl;

    struct Operations {
        void (*Destroy)(OpenCLProgramImpl*);
        Result<void> (*Release)(OpenCLProgramImpl*);
        Result<void> (*Build)(OpenCLProgramImpl*, const BaseArray<cl_device_id>& devices,
                              const char* options);
        Result<String> (*GetBuildLog)(OpenCLProgramImpl*, cl_device_id device);
        Result<OpenCLKernelRef> (*CreateKernel)(OpenCLProgramImpl*, const char* name);
        Result<void> (*GetBinary)(OpenCLProgramImpl*, BaseArray<UChar>& binary);
    };
};

/// A program. Failures are the runtime's codes unless stated otherwise.
class OpenCLProgramRef : public ObjectRef<OpenCLProgramInterface> {
    using Operations = OpenCLProgramInterface::Operations;

public:
    using ObjectRef::ObjectRef;
    OpenCLProgramRef() = default;

    /// Releases the cl_program now; it is gone whatever the result. A second time: CL_INVALID_PROGRAM.
    Result<void> Release() const { return Invoke<&Operations::Release>(); }
    /// Compiles and links for the devices, all of the program's when the list is empty; `options` may be
    /// null. CL_INVALID_DEVICE for a null device. The error carries no log: see GetBuildLog.
    Result<void> Build(const BaseArray<cl_device_id>& devices, const char* options) const {
        return Invoke<&Operations::Build>(devices, options);
    }
    /// The compiler's words from the latest build for the device; empty when the runtime has none. Fails only
    /// on an empty reference.
    Result<String> GetBuildLog(cl_device_id device) const { return Invoke<&Operations::GetBuildLog>(device); }
    /// CL_INVALID_KERNEL_NAME when the source has no such kernel.
    Result<OpenCLKernelRef> CreateKernel(const char* name) const {
        return Invoke<&Operations::CreateKernel>(name);
    }
    /// Replaces `binary` by the device binary of a program built for exactly one device; for several the
    /// runtime answers CL_INVALID_VALUE. CL_INVALID_PROGRAM after Release, CL_INVALID_PROGRAM_EXECUTABLE for
    /// source whose latest build has not succeeded.
    Result<void> GetBinary(BaseArray<UChar>& binary) const { return Invoke<&Operations::GetBinary>(binary); }
};

}  // namespace nuvra
