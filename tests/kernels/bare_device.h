#pragma once

#include <CL/cl.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "references.h"

namespace nuvra::test {

using reference::Plane;

/// Local memory as a kernel's argument.
struct Local {
    size_t size;  ///< bytes
};

/// How a kernel is launched; an empty local size leaves it to the runtime.
struct Range {
    std::vector<size_t> global;
    std::vector<size_t> local = {};
    std::vector<size_t> offset = {};
};

/// The first device of the system's runtimes through plain OpenCL calls. A call that fails ends the test;
/// what it made is released at its end.
class BareDeviceTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// Builds one of the module's kernel files.
    cl_program BuildFile(const std::string& name, const std::string& options);
    cl_program Build(const std::string& source, const std::string& options);
    template <class T>
    cl_mem CreateBuffer(const std::vector<T>& values) {
        return Keep(_memory, clCreateBuffer, CL_MEM_READ_WRITE | CL_MEM_COPY_HOST_PTR,
                    values.size() * sizeof(T), const_cast<T*>(values.data()));
    }
    template <class T>
    std::vector<T> Read(cl_mem buffer, size_t count) {
        std::vector<T> values(count);
        Check(clEnqueueReadBuffer(_queue, buffer, CL_TRUE, 0, count * sizeof(T), values.data(), 0, nullptr,
                                  nullptr));
        return values;
    }
    cl_mem CreateImage(const Plane& picture);

    /// Runs a kernel of the program to its end.
    template <class... A>
    void Run(cl_program program, const char* name, const Range& range, const A&... arguments) {
        cl_int code = CL_SUCCESS;
        const cl_kernel kernel = _kernels.emplace_back(clCreateKernel(program, name, &code));
        Check(code);
        cl_uint index = 0;
        (SetArgument(kernel, index++, arguments), ...);
        Launch(kernel, range);
    }
    size_t GetMaxGroupSize() const;

private:
    /// What a function of the context makes.
    template <class T, class Create, class... A>
    T Keep(std::vector<T>& list, Create create, const A&... arguments) {
        cl_int code = CL_SUCCESS;
        list.push_back(create(_context, arguments..., &code));
        Check(code);
        return list.back();
    }
    template <class A>
    static void SetArgument(cl_kernel kernel, cl_uint index, const A& argument) {
        if constexpr (std::is_same_v<A, Local>)
            Check(clSetKernelArg(kernel, index, argument.size, nullptr));
        else
            Check(clSetKernelArg(kernel, index, sizeof(argument), &argument));
    }
    void Launch(cl_kernel kernel, const Range& range);
    static void Check(cl_int code) {
        if (code != CL_SUCCESS) throw std::runtime_error("an OpenCL call gave code " + std::to_string(code));
    }

    cl_device_id _device = nullptr;
    cl_context _context = nullptr;
    cl_command_queue _queue = nullptr;
    std::vector<cl_program> _programs;
    std::vector<cl_kernel> _kernels;
    std::vector<cl_mem> _memory;
};

}  // namespace nuvra::test
