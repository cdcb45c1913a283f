#include "bare_device.h"

#include <fstream>
#include <iterator>

namespace nuvra::test {

void BareDeviceTest::SetUp() {
    cl_uint platformCount = 0;
    Check(clGetPlatformIDs(0, nullptr, &platformCount));
    std::vector<cl_platform_id> platforms(platformCount);
    Check(clGetPlatformIDs(platformCount, platforms.data(), nullptr));
    for (const cl_platform_id platform : platforms) {
        // A platform may have no devices, which is an error code and leaves none.
        if (_device == nullptr) clGetDeviceIDs(platform, CL_DEVICE_TYPE_ALL, 1, &_device, nullptr);
    }
    ASSERT_NE(_device, nullptr) << "no platform of this system has a device";
    cl_int code = CL_SUCCESS;
    _context = clCreateContext(nullptr, 1, &_device, nullptr, nullptr, &code);
    Check(code);
    _queue = clCreateCommandQueue(_context, _device, 0, &code);
    Check(code);
}

void BareDeviceTest::TearDown() {
    for (const cl_kernel kernel : _kernels) clReleaseKernel(kernel);
    for (const cl_program program : _programs) clReleaseProgram(program);
    for (const cl_mem memory : _memory) clReleaseMemObject(memory);
    if (_queue != nullptr) clReleaseCommandQueue(_queue);
    if (_context != nullptr) clReleaseContext(_context);
}

cl_program BareDeviceTest::BuildFile(const std::string& name, const std::string& options) {
    std::ifstream file(KERNEL_FOLDER "/" + name);
    if (!file) throw std::runtime_error("cannot read " + name);
    return Build({std::istreambuf_iterator<char>(file), {}}, options);
}

cl_program BareDeviceTest::Build(const std::string& source, const std::string& options) {
    const char* text = source.c_str();
    const cl_program program = Keep(_programs, clCreateProgramWithSource, 1U, &text, nullptr);
    const cl_int code = clBuildProgram(program, 1, &_device, options.c_str(), nullptr, nullptr);
    if (code != CL_SUCCESS) {
        std::vector<char> log(65536);
        clGetProgramBuildInfo(program, _device, CL_PROGRAM_BUILD_LOG, log.size() - 1, log.data(), nullptr);
        throw std::runtime_error("clBuildProgram: " + std::string(log.data()));
    }
    return program;
}

cl_mem BareDeviceTest::CreateImage(const Plane& picture) {
    const cl_image_format format{CL_RGBA, CL_FLOAT};
    cl_image_desc description{};
    description.image_type = CL_MEM_OBJECT_IMAGE2D;
    description.image_width = static_cast<size_t>(picture.width);
    description.image_height = static_cast<size_t>(picture.height);
    return Keep(_memory, clCreateImage, CL_MEM_READ_WRITE | CL_MEM_COPY_HOST_PTR, &format, &description,
                const_cast<float*>(picture.values.data()));
}

size_t BareDeviceTest::GetMaxGroupSize() const {
    size_t size = 0;
    Check(clGetDeviceInfo(_device, CL_DEVICE_MAX_WORK_GROUP_SIZE, sizeof(size), &size, nullptr));
    return size;
}

void BareDeviceTest::Launch(cl_kernel kernel, const Range& range) {
    const auto orNull = [](const std::vector<size_t>& sizes) {
        return sizes.empty() ? nullptr : sizes.data();
    };
    Check(clEnqueueNDRangeKernel(_queue, kernel, static_cast<cl_uint>(range.global.size()),
                                 orNull(range.offset), range.global.data(), orNull(range.local), 0, nullptr,
                                 nullptr));
    Check(clFinish(_queue));
}

}  // namespace nuvra::test
