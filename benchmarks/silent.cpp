// A runtime whose functions return at once, for measuring what a caller adds. There is one platform with one
// device; every handle is the same address, and nothing is checked.

#include "entries.h"

#include <cstring>

namespace {

char g_object;

template <class H>
H Make(cl_int* code) {
    *code = CL_SUCCESS;
    return reinterpret_cast<H>(&g_object);
}

template <class H>
cl_int List(cl_uint room, H* handles, cl_uint* count) {
    if (room > 0) handles[0] = reinterpret_cast<H>(&g_object);
    if (count != nullptr) *count = 1;
    return CL_SUCCESS;
}

cl_int Answer(const void* bytes, size_t length, size_t size, void* value, size_t* sizeOut) {
    if (value != nullptr) std::memcpy(value, bytes, length < size ? length : size);
    if (sizeOut != nullptr) *sizeOut = length;
    return CL_SUCCESS;
}

cl_int AnswerText(const char* text, size_t size, void* value, size_t* sizeOut) {
    return Answer(text, std::strlen(text) + 1, size, value, sizeOut);
}

cl_int Enqueue(cl_event* event) {
    if (event != nullptr) *event = reinterpret_cast<cl_event>(&g_object);
    return CL_SUCCESS;
}

}  // namespace

extern "C" {

cl_int clGetPlatformIDs(cl_uint room, cl_platform_id* platforms, cl_uint* count) {
    return List(room, platforms, count);
}
cl_int clGetPlatformInfo(cl_platform_id, cl_platform_info, size_t size, void* value, size_t* sizeOut) {
    return AnswerText("OpenCL 1.2 silent", size, value, sizeOut);
}
cl_int clGetDeviceIDs(cl_platform_id, cl_device_type, cl_uint room, cl_device_id* devices, cl_uint* count) {
    return List(room, devices, count);
}
cl_int clGetDeviceInfo(cl_device_id, cl_device_info which, size_t size, void* value, size_t* sizeOut) {
    static constexpr size_t kSizes[3] = {1024, 1024, 64};
    static constexpr cl_uint kDimensions = 3;
    void* object = &g_object;
    switch (which) {
        case CL_DRIVER_VERSION:
            return AnswerText("1.2", size, value, sizeOut);
        case CL_DEVICE_OPENCL_C_VERSION:
            return AnswerText("OpenCL C 1.2", size, value, sizeOut);
        case CL_DEVICE_PLATFORM:
            return Answer(&object, sizeof(object), size, value, sizeOut);
        case CL_DEVICE_MAX_WORK_ITEM_DIMENSIONS:
            return Answer(&kDimensions, sizeof(kDimensions), size, value, sizeOut);
        case CL_DEVICE_MAX_WORK_ITEM_SIZES:
            return Answer(kSizes, sizeof(kSizes), size, value, sizeOut);
        default:
            return AnswerText("OpenCL 1.2 silent", size, value, sizeOut);
    }
}
cl_context clCreateContext(const cl_context_properties*, cl_uint, const cl_device_id*,
                           void(CL_CALLBACK*)(const char*, const void*, size_t, void*), void*, cl_int* code) {
    return Make<cl_context>(code);
}
cl_int clReleaseContext(cl_context) {
    return CL_SUCCESS;
}
cl_int clGetContextInfo(cl_context, cl_context_info, size_t, void*, size_t*) {
    return CL_SUCCESS;
}
cl_command_queue clCreateCommandQueue(cl_context, cl_device_id, cl_command_queue_properties, cl_int* code) {
    return Make<cl_command_queue>(code);
}
cl_int clReleaseCommandQueue(cl_command_queue) {
    return CL_SUCCESS;
}
cl_int clEnqueueNDRangeKernel(cl_command_queue, cl_kernel, cl_uint, const size_t*, const size_t*,
                              const size_t*, cl_uint, const cl_event*, cl_event* event) {
    return Enqueue(event);
}
cl_int clFinish(cl_command_queue) {
    return CL_SUCCESS;
}
cl_mem clCreateFromGLTexture2D(cl_context, cl_mem_flags, cl_GLenum, cl_GLint, cl_GLuint, cl_int* code) {
    return Make<cl_mem>(code);
}
cl_mem clCreateFromGLTexture3D(cl_context, cl_mem_flags, cl_GLenum, cl_GLint, cl_GLuint, cl_int* code) {
    return Make<cl_mem>(code);
}
void* clGetExtensionFunctionAddress(const char*) {
    return nullptr;
}
cl_mem clCreateFromGLBuffer(cl_context, cl_mem_flags, cl_GLuint, cl_int* code) {
    return Make<cl_mem>(code);
}
cl_mem clCreateBuffer(cl_context, cl_mem_flags, size_t, void*, cl_int* code) {
    return Make<cl_mem>(code);
}
cl_mem clCreateImage2D(cl_context, cl_mem_flags, const cl_image_format*, size_t, size_t, size_t, void*,
                       cl_int* code) {
    return Make<cl_mem>(code);
}
cl_mem clCreateImage3D(cl_context, cl_mem_flags, const cl_image_format*, size_t, size_t, size_t, size_t,
                       size_t, void*, cl_int* code) {
    return Make<cl_mem>(code);
}
cl_int clGetSupportedImageFormats(cl_context, cl_mem_flags, cl_mem_object_type, cl_uint, cl_image_format*,
                                  cl_uint* count) {
    if (count != nullptr) *count = 0;
    return CL_SUCCESS;
}
cl_int clGetImageInfo(cl_mem, cl_image_info, size_t size, void* value, size_t* sizeOut) {
    static constexpr size_t kNumber = 1024;
    return Answer(&kNumber, sizeof(kNumber), size, value, sizeOut);
}
cl_int clReleaseMemObject(cl_mem) {
    return CL_SUCCESS;
}
cl_int clEnqueueAcquireGLObjects(cl_command_queue, cl_uint, const cl_mem*, cl_uint, const cl_event*,
                                 cl_event* event) {
    return Enqueue(event);
}
cl_int clEnqueueReleaseGLObjects(cl_command_queue, cl_uint, const cl_mem*, cl_uint, const cl_event*,
                                 cl_event* event) {
    return Enqueue(event);
}
void* clEnqueueMapBuffer(cl_command_queue, cl_mem, cl_bool, cl_map_flags, size_t, size_t, cl_uint,
                         const cl_event*, cl_event* event, cl_int* code) {
    *code = Enqueue(event);
    return &g_object;
}
void* clEnqueueMapImage(cl_command_queue, cl_mem, cl_bool, cl_map_flags, const size_t*, const size_t*,
                        size_t*, size_t*, cl_uint, const cl_event*, cl_event* event, cl_int* code) {
    *code = Enqueue(event);
    return &g_object;
}
cl_int clEnqueueUnmapMemObject(cl_command_queue, cl_mem, void*, cl_uint, const cl_event*, cl_event* event) {
    return Enqueue(event);
}
cl_int clEnqueueReadBuffer(cl_command_queue, cl_mem, cl_bool, size_t, size_t, void*, cl_uint, const cl_event*,
                           cl_event* event) {
    return Enqueue(event);
}
cl_int clEnqueueWriteBuffer(cl_command_queue, cl_mem, cl_bool, size_t, size_t, const void*, cl_uint,
                            const cl_event*, cl_event* event) {
    return Enqueue(event);
}
cl_int clEnqueueReadImage(cl_command_queue, cl_mem, cl_bool, const size_t*, const size_t*, size_t, size_t,
                          void*, cl_uint, const cl_event*, cl_event* event) {
    return Enqueue(event);
}
cl_int clEnqueueWriteImage(cl_command_queue, cl_mem, cl_bool, const size_t*, const size_t*, size_t, size_t,
                           const void*, cl_uint, const cl_event*, cl_event* event) {
    return Enqueue(event);
}
cl_program clCreateProgramWithSource(cl_context, cl_uint, const char**, const size_t*, cl_int* code) {
    return Make<cl_program>(code);
}
cl_program clCreateProgramWithBinary(cl_context, cl_uint, const cl_device_id*, const size_t*,
                                     const unsigned char**, cl_int*, cl_int* code) {
    return Make<cl_program>(code);
}
cl_int clReleaseProgram(cl_program) {
    return CL_SUCCESS;
}
cl_int clBuildProgram(cl_program, cl_uint, const cl_device_id*, const char*,
                      void(CL_CALLBACK*)(cl_program, void*), void*) {
    return CL_SUCCESS;
}
cl_int clGetProgramBuildInfo(cl_program, cl_device_id, cl_program_build_info, size_t size, void* value,
                             size_t* sizeOut) {
    return AnswerText("", size, value, sizeOut);
}
cl_int clGetProgramInfo(cl_program, cl_program_info, size_t, void*, size_t*) {
    return CL_INVALID_VALUE;
}
cl_kernel clCreateKernel(cl_program, const char*, cl_int* code) {
    return Make<cl_kernel>(code);
}
cl_int clReleaseKernel(cl_kernel) {
    return CL_SUCCESS;
}
cl_int clSetKernelArg(cl_kernel, cl_uint, size_t, const void*) {
    return CL_SUCCESS;
}
cl_int clWaitForEvents(cl_uint, const cl_event*) {
    return CL_SUCCESS;
}
cl_int clGetMemObjectInfo(cl_mem, cl_mem_info, size_t, void*, size_t*) {
    return CL_INVALID_VALUE;
}
cl_int clGetKernelWorkGroupInfo(cl_kernel, cl_device_id, cl_kernel_work_group_info, size_t size, void* value,
                                size_t* sizeOut) {
    static constexpr size_t kNumber = 64;
    return Answer(&kNumber, sizeof(kNumber), size, value, sizeOut);
}
cl_int clReleaseEvent(cl_event) {
    return CL_SUCCESS;
}

}  // extern "C"
