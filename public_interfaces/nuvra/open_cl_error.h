#pragma once

#include "nuvra/registry.h"

namespace nuvra {

/// What an OpenCL error carries: a code of the OpenCL headers, unchanged, or one of the module's own.
enum class OpenCLErrorCode : Int32 {
#define OPENCL_OWN_ERROR(name, code, text) name = code,
#define OPENCL_ERROR(name, code) name = code,
#include "nuvra/opencl_errors.def"
};

NUVRA_CLASS_TAG(OpenCLErrorObject, "nuvra/open_cl_error.h");

/// What an error of the class "nuvra.OpenCLErrorObject" offers beyond every error's operations. Its message
/// is derived from the code: "CL_" and the code's name, a sentence for 1 to 3, else the empty text.
struct OpenCLErrorInterface {
    static constexpr Id kId{"nuvra.OpenCLErrorInterface#1"};

    struct Operations {
        void (*Reserved)(void* component);
        Int32 (*GetErrorCode)(void* component);
        void (*SetErrorCode)(void* component, Int32 code);
    };
};

class OpenCLErrorRef : public VirtualRef<OpenCLErrorInterface> {
public:
    using VirtualRef::VirtualRef;
    OpenCLErrorRef() = default;
    /// Empty when `error` is of another class.
    explicit OpenCLErrorRef(const ErrorRef& error) : VirtualRef(AnyRef(error.Get())) {}

    /// Any value that was set, 0 on an empty reference.
    Int32 GetErrorCode() const { return Invoke<&OpenCLErrorInterface::Operations::GetErrorCode>(); }
    void SetErrorCode(Int32 code) const { Invoke<&OpenCLErrorInterface::Operations::SetErrorCode>(code); }
};

}  // namespace nuvra
