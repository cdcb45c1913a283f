#include "clear.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace nuvra::bench {
namespace {

constexpr size_t kSize = size_t{256} << 20;
constexpr size_t kBlock = 16;  // bytes a work-item

void CheckCode(cl_int code) {
    if (code != CL_SUCCESS) throw std::runtime_error("OpenCL code " + std::to_string(code));
}

std::string ReadSource() {
    std::ifstream file(NUVRA_CLEAR_KERNELS);
    std::stringstream text;
    text << file.rdbuf();
    if (!file) throw std::runtime_error("cannot read " NUVRA_CLEAR_KERNELS);
    return text.str();
}

}  // namespace

Clear::Clear()
    : _taskContext(Framework::CreateContext()),
      _taskQueue(Check(_taskContext.CreateCommandQueue())),
      _taskBuffer(Check(_taskContext.CreateBuffer(OpenCLMemoryFlags::READ_WRITE, kSize))),
      _task(Check(_taskContext.GetTask(Check(String::FromCText("clearmem"))))),
      _memory(kSize) {
    // The module's own context would do, but its handle is not to be had; the device is the same.
    cl_device_id device = _taskContext.GetDevices()[0];
    cl_int code = CL_SUCCESS;
    _context = clCreateContext(nullptr, 1, &device, nullptr, nullptr, &code);
    CheckCode(code);
    _queue = clCreateCommandQueue(_context, device, 0, &code);
    CheckCode(code);
    const std::string text = ReadSource();
    const char* source = text.c_str();
    _program = clCreateProgramWithSource(_context, 1, &source, nullptr, &code);
    CheckCode(code);
    CheckCode(clBuildProgram(_program, 0, nullptr, nullptr, nullptr, nullptr));
    _zeroKernel = clCreateKernel(_program, "ClearMem16_0", &code);
    CheckCode(code);
    _valueKernel = clCreateKernel(_program, "ClearMem16_v", &code);
    CheckCode(code);
    _buffer = clCreateBuffer(_context, CL_MEM_READ_WRITE, kSize, nullptr, &code);
    CheckCode(code);

    size_t limits[3] = {};
    CheckCode(clGetDeviceInfo(device, CL_DEVICE_MAX_WORK_ITEM_SIZES, sizeof limits, limits, nullptr));
    _launch[0] = limits[0];
    _launch[1] = std::min(limits[1], kSize / kBlock / limits[0]);
    _launch[2] = kSize / kBlock / _launch[0] / _launch[1];
    if (_launch[0] * _launch[1] * _launch[2] * kBlock != kSize || _launch[2] > limits[2])
        throw std::runtime_error("the device needs more than one launch for 256 MiB");
}

Clear::~Clear() {
    clReleaseMemObject(_buffer);
    clReleaseKernel(_valueKernel);
    clReleaseKernel(_zeroKernel);
    clReleaseProgram(_program);
    clReleaseCommandQueue(_queue);
    clReleaseContext(_context);
}

void Clear::RunKernel(benchmark::State& state, unsigned char value) {
    cl_kernel kernel = value == 0 ? _zeroKernel : _valueKernel;
    cl_uint4 pattern;
    std::memset(&pattern, value, sizeof pattern);
    for (auto _ : state) {
        cl_int code = clSetKernelArg(kernel, 0, sizeof _buffer, &_buffer);
        if (value != 0) code |= clSetKernelArg(kernel, 1, sizeof pattern, &pattern);
        code |= clEnqueueNDRangeKernel(_queue, kernel, 3, nullptr, _launch, nullptr, 0, nullptr, nullptr);
        code |= clFinish(_queue);
        if (code != CL_SUCCESS) state.SkipWithError("the launch failed");
    }
}

void Clear::RunTask(benchmark::State& state, unsigned char value) {
    ClearMemParameters parameters;
    parameters.buffer = &_taskBuffer;
    parameters.size = kSize;
    parameters.value = value;
    for (auto _ : state) {
        Check(_task.Execute(_taskContext, _taskQueue, &parameters));
        Check(_taskQueue.Finish());
    }
}

void Clear::RunFill(benchmark::State& state, unsigned char value) {
    for (auto _ : state) {
        cl_int code = clEnqueueFillBuffer(_queue, _buffer, &value, 1, 0, kSize, 0, nullptr, nullptr);
        code |= clFinish(_queue);
        if (code != CL_SUCCESS) state.SkipWithError("the fill failed");
    }
}

void Clear::RunMemset(benchmark::State& state, unsigned char value) {
    for (auto _ : state) {
        std::memset(_memory.data(), value, kSize);
        benchmark::DoNotOptimize(_memory.data());
        benchmark::ClobberMemory();
    }
}

std::vector<Row> Clear::GetRows() {
    const auto way = [this](const char* name, void (Clear::*run)(benchmark::State&, unsigned char),
                            unsigned char value) {
        return Way{name, [this, run, value](benchmark::State& state) { (this->*run)(state, value); }};
    };
    std::vector<Row> rows;
    for (const unsigned char value : {0x00, 0xAB}) {
        rows.push_back(
            {value == 0 ? "with 0" : "with a value",
             0,
             {way("kernels", &Clear::RunKernel, value), way("task", &Clear::RunTask, value),
              way("kernels again", &Clear::RunKernel, value),
              way("clEnqueueFillBuffer", &Clear::RunFill, value), way("memset", &Clear::RunMemset, value)}});
    }
    return rows;
}

}  // namespace nuvra::bench
