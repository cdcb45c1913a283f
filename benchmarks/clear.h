#pragma once

#include <CL/cl.h>

#include "framework.h"
#include "table.h"

namespace nuvra::bench {

/// Filling 256 MiB: the same kernels launched by bare calls, the task, OpenCL's own fill, and the C library.
class Clear {
public:
    /// Throws `std::runtime_error`.
    Clear();
    Clear(const Clear&) = delete;
    Clear& operator=(const Clear&) = delete;
    ~Clear();

    /// The rows use this object.
    std::vector<Row> GetRows();

private:
    void RunKernel(benchmark::State& state, unsigned char value);
    void RunTask(benchmark::State& state, unsigned char value);
    void RunFill(benchmark::State& state, unsigned char value);
    void RunMemset(benchmark::State& state, unsigned char value);

    cl_context _context = nullptr;
    cl_command_queue _queue = nullptr;
    cl_program _program = nullptr;
    cl_kernel _zeroKernel = nullptr;
    cl_kernel _valueKernel = nullptr;
    cl_mem _buffer = nullptr;
    size_t _launch[3] = {};

    OpenCLContextRef _taskContext;
    OpenCLCommandQueueRef _taskQueue;
    OpenCLMemoryObjectRef _taskBuffer;
    OpenCLTaskRef _task;

    std::vector<unsigned char> _memory;
};

}  // namespace nuvra::bench
