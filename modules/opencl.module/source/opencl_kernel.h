#pragma once

#include "nuvra/open_cl_kernel.h"
#include "opencl_handle.h"

namespace nuvra {

class OpenCLKernelImpl : public ObjectHeader {
public:
    explicit OpenCLKernelImpl(OwnedKernel kernel) : handle(std::move(kernel)) {}

    OwnedKernel handle;
};

}  // namespace nuvra
