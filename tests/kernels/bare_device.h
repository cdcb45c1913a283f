#pragma once

#include <CL/cl.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "references.h"

namespace nuvra::test {

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
    cl_mem CreateBuffer(size_t size, const void* bytes);
    template <class T>
    cl_mem CreateBuffer(const std::vector<T>& values) {
        return CreateBuffer(values.size() * sizeof(T), values.data());
    }
    template <class T>
    std::vector<T> Read(cl_mem buffer, size_t count) {
        std::vector<T> values(count);
        ReadBuffer(buffer, count * sizeof(T), values.data());
        return values;
    }
    cl_mem CreateImage(const Picture& picture);
    Picture ReadImage(cl_mem image, Int64 width, Int64 height);

    /// Runs a kernel of the program to its end.
    template <class... A>
    void Run(cl_program program, const char* name, const Range& range, const A&... arguments) {
        const cl_kernel kernel = CreateKernel(program, name);
        cl_uint index = 0;
        (SetArgument(kernel, index++, arguments), ...);
        Launch(kernel, range);
    }
    size_t GetMaxGroupSize() const;

private:
    cl_kernel CreateKernel(cl_program program, const char* name);
    template <class A>
    static void SetArgument(cl_kernel kernel, cl_uint index, const A& argument) {
        if constexpr (std::is_same_v<A, Local>)
            Check(clSetKernelArg(kernel, index, argument.size, nullptr), "clSetKernelArg");
        else
            Check(clSetKernelArg(kernel, index, sizeof(argument), &argument), "clSetKernelArg");
    }
    void Launch(cl_kernel kernel, const Range& range);
    void ReadBuffer(cl_mem buffer, size_t size, void* bytes);
    static void Check(cl_int code, const char* call) {
        if (code != CL_SUCCESS)
            throw std::runtime_error(std::string(call) + " gave code " + std::to_string(code));
    }

    cl_device_id _device = nullptr;
    cl_context _context = nullptr;
    cl_command_queue _queue = nullptr;
    std::vector<cl_program> _programs;
    std::vector<cl_kernel> _kernels;
    std::vector<cl_mem> _memory;
};

}  // namespace nuvra::test
