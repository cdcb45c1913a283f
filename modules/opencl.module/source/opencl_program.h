#pragma once

#include "nuvra/open_cl_program.h"
#include "opencl_handle.h"

namespace nuvra {

class OpenCLProgramImpl : public ObjectHeader {
public:
    enum class Origin { SOURCE, BINARY };
    OpenCLProgramImpl(OwnedProgram program, Origin programOrigin)
        : handle(std::move(program)), origin(programOrigin), hasBinary(programOrigin == Origin::BINARY) {}

    OwnedProgram handle;
    Origin origin;
    bool hasBinary;  ///< of source: since a successful build
};

}  // namespace nuvra
