#include "sides.h"

#include <stdexcept>

namespace nuvra::bench {
namespace {

void CheckCode(cl_int code) {
    if (code != CL_SUCCESS) throw std::runtime_error("OpenCL code " + std::to_string(code));
}

}  // namespace

Bare::Bare() {
    cl_platform_id platform = nullptr;
    cl_device_id device = nullptr;
    cl_int code = CL_SUCCESS;
    CheckCode(clGetPlatformIDs(1, &platform, nullptr));
    CheckCode(clGetDeviceIDs(platform, CL_DEVICE_TYPE_ALL, 1, &device, nullptr));
    context = clCreateContext(nullptr, 1, &device, nullptr, nullptr, &code);
    CheckCode(code);
    queue = clCreateCommandQueue(context, device, 0, &code);
    CheckCode(code);
    const char* source = kSource;
    cl_program program = clCreateProgramWithSource(context, 1, &source, nullptr, &code);
    CheckCode(code);
    CheckCode(clBuildProgram(program, 0, nullptr, nullptr, nullptr, nullptr));
    kernel = clCreateKernel(program, "Touch", &code);
    CheckCode(code);
    CheckCode(clReleaseProgram(program));
    buffer = clCreateBuffer(context, CL_MEM_READ_WRITE, kBufferSize, nullptr, &code);
    CheckCode(code);
    bool done = SetMemory() && SetScalar();
    for (cl_event& event : events) done = done && Launch(0, nullptr, &event);
    if (!done || !Finish()) throw std::runtime_error("the kernel cannot be launched");
}

Bare::~Bare() {
    for (cl_event event : events) clReleaseEvent(event);
    clReleaseMemObject(buffer);
    clReleaseKernel(kernel);
    clReleaseCommandQueue(queue);
    clReleaseContext(context);
}

Module::Module()
    : _context(Framework::CreateContext()),
      _queue(Check(_context.CreateCommandQueue())),
      _buffer(Check(_context.CreateBuffer(OpenCLMemoryFlags::READ_WRITE, kBufferSize))) {
    const char* source = kSource;
    const OpenCLProgramRef program = Check(_context.CreateProgramWithSource(1, &source));
    Check(program.Build(_context.GetDevices(), nullptr));
    _kernel = Check(program.CreateKernel("Touch"));
    bool done = SetMemory() && SetScalar();
    for (OpenCLEventRef& event : _events) done = done && Launch(0, nullptr, &event);
    if (!done || !Finish()) throw std::runtime_error("the kernel cannot be launched");
}

}  // namespace nuvra::bench
