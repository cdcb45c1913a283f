#pragma once

#define CL_HPP_TARGET_OPENCL_VERSION 120
#define CL_HPP_MINIMUM_OPENCL_VERSION 110
#include <CL/opencl.hpp>
#include <array>
#include <boost/compute/core.hpp>
#include <boost/compute/utility/wait_list.hpp>

#include "framework.h"

/// The same calls made in four ways. Each operation returns whether it succeeded.
namespace nuvra::bench {

inline constexpr size_t kEventCount = 16;
inline constexpr size_t kOneItem = 1;
inline constexpr size_t kBufferSize = 4096;
inline constexpr const char* kSource =
    "__kernel void Touch(__global uint* memory, uint value) { memory[get_global_id(0)] = value; }";

/// Bare OpenCL calls. Owns what it makes; making throws `std::runtime_error`.
class Bare {
public:
    Bare();
    Bare(const Bare&) = delete;
    Bare& operator=(const Bare&) = delete;
    ~Bare();

    bool SetScalar() { return clSetKernelArg(kernel, 1, sizeof value, &value) == CL_SUCCESS; }
    bool SetMemory() { return clSetKernelArg(kernel, 0, sizeof buffer, &buffer) == CL_SUCCESS; }
    bool Finish() { return clFinish(queue) == CL_SUCCESS; }
    bool Launch(cl_uint waits = 0, const cl_event* waitList = nullptr, cl_event* event = nullptr) {
        return clEnqueueNDRangeKernel(queue, kernel, 1, nullptr, &kOneItem, nullptr, waits, waitList,
                                      event) == CL_SUCCESS;
    }
    bool LaunchAfterEvents() { return Launch(kEventCount, events.data()); }
    bool LaunchWithEvent() {
        cl_event event = nullptr;
        return Launch(0, nullptr, &event) && clReleaseEvent(event) == CL_SUCCESS;
    }
    bool Read() {
        return clEnqueueReadBuffer(queue, buffer, CL_TRUE, 0, sizeof value, &value, 0, nullptr, nullptr) ==
               CL_SUCCESS;
    }
    bool Write() {
        return clEnqueueWriteBuffer(queue, buffer, CL_TRUE, 0, sizeof value, &value, 0, nullptr, nullptr) ==
               CL_SUCCESS;
    }
    bool MakeBuffer() {
        cl_int code = CL_SUCCESS;
        const cl_mem made = clCreateBuffer(context, CL_MEM_READ_WRITE, kBufferSize, nullptr, &code);
        return code == CL_SUCCESS && clReleaseMemObject(made) == CL_SUCCESS;
    }

    cl_context context = nullptr;
    cl_command_queue queue = nullptr;
    cl_kernel kernel = nullptr;
    cl_mem buffer = nullptr;
    std::array<cl_event, kEventCount> events{};
    cl_uint value = 0;
};

/// The module, in a context of its own on the same runtime.
class Module {
public:
    Module();

    bool SetScalar() { return _kernel.SetArg(1, &_value, 1).IsOk(); }
    bool SetMemory() { return _kernel.SetArg(0, _buffer).IsOk(); }
    bool Finish() { return _queue.Finish().IsOk(); }
    bool Launch(Int waits = 0, const OpenCLEventRef* waitList = nullptr, OpenCLEventRef* event = nullptr) {
        return _queue.EnqueueNDRangeKernel(_kernel, 1, nullptr, &kOneItem, nullptr, waits, waitList, event)
            .IsOk();
    }
    bool LaunchAfterEvents() { return Launch(kEventCount, _events.data()); }
    bool LaunchWithEvent() {
        OpenCLEventRef event;
        return Launch(0, nullptr, &event);
    }
    bool Read() { return _queue.EnqueueReadBuffer(_buffer, true, 0, sizeof _value, &_value).IsOk(); }
    bool Write() { return _queue.EnqueueWriteBuffer(_buffer, true, 0, sizeof _value, &_value).IsOk(); }
    bool MakeBuffer() { return _context.CreateBuffer(OpenCLMemoryFlags::READ_WRITE, kBufferSize).IsOk(); }

private:
    OpenCLContextRef _context;
    OpenCLCommandQueueRef _queue;
    OpenCLMemoryObjectRef _buffer;
    OpenCLKernelRef _kernel;
    std::array<OpenCLEventRef, kEventCount> _events;
    UInt32 _value = 0;
};

/// OpenCL's own C++ header, on the bare side's objects.
class Header {
public:
    explicit Header(const Bare& bare)
        : _context(bare.context, true),
          _queue(bare.queue, true),
          _kernel(bare.kernel, true),
          _buffer(bare.buffer, true) {
        for (cl_event event : bare.events) _events.emplace_back(event, true);
    }

    bool SetScalar() { return _kernel.setArg(1, _value) == CL_SUCCESS; }
    bool SetMemory() { return _kernel.setArg(0, _buffer) == CL_SUCCESS; }
    bool Finish() { return _queue.finish() == CL_SUCCESS; }
    bool Launch(const std::vector<cl::Event>* waitList = nullptr, cl::Event* event = nullptr) {
        return _queue.enqueueNDRangeKernel(_kernel, cl::NullRange, cl::NDRange(kOneItem), cl::NullRange,
                                           waitList, event) == CL_SUCCESS;
    }
    bool LaunchAfterEvents() { return Launch(&_events); }
    bool LaunchWithEvent() {
        cl::Event event;
        return Launch(nullptr, &event);
    }
    bool Read() {
        return _queue.enqueueReadBuffer(_buffer, CL_TRUE, 0, sizeof _value, &_value) == CL_SUCCESS;
    }
    bool Write() {
        return _queue.enqueueWriteBuffer(_buffer, CL_TRUE, 0, sizeof _value, &_value) == CL_SUCCESS;
    }
    bool MakeBuffer() {
        cl_int code = CL_SUCCESS;
        const cl::Buffer made(_context, CL_MEM_READ_WRITE, kBufferSize, nullptr, &code);
        return code == CL_SUCCESS;
    }

private:
    cl::Context _context;
    cl::CommandQueue _queue;
    cl::Kernel _kernel;
    cl::Buffer _buffer;
    std::vector<cl::Event> _events;
    cl_uint _value = 0;
};

/// Boost.Compute, on the bare side's objects. It throws on failure.
class Boost {
public:
    explicit Boost(const Bare& bare)
        : _context(bare.context), _queue(bare.queue), _kernel(bare.kernel), _buffer(bare.buffer) {
        for (cl_event event : bare.events) _events.insert(boost::compute::event(event));
    }

    bool SetScalar() {
        _kernel.set_arg(1, _value);
        return true;
    }
    bool SetMemory() {
        _kernel.set_arg(0, _buffer);
        return true;
    }
    bool Finish() {
        _queue.finish();
        return true;
    }
    bool Launch() { return LaunchAfter(boost::compute::wait_list()); }
    bool LaunchAfterEvents() { return LaunchAfter(_events); }
    bool LaunchWithEvent() { return Launch(); }
    bool Read() {
        _queue.enqueue_read_buffer(_buffer, 0, sizeof _value, &_value);
        return true;
    }
    bool Write() {
        _queue.enqueue_write_buffer(_buffer, 0, sizeof _value, &_value);
        return true;
    }
    bool MakeBuffer() {
        const boost::compute::buffer made(_context, kBufferSize, CL_MEM_READ_WRITE);
        return true;
    }

private:
    bool LaunchAfter(const boost::compute::wait_list& waitList) {
        _queue.enqueue_nd_range_kernel(_kernel, 1, nullptr, &kOneItem, nullptr, waitList);
        return true;
    }

    boost::compute::context _context;
    boost::compute::command_queue _queue;
    boost::compute::kernel _kernel;
    boost::compute::buffer _buffer;
    boost::compute::wait_list _events;
    cl_uint _value = 0;
};

}  // namespace nuvra::bench
