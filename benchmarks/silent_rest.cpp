// The functions that the C++ wrappers call beside those of the silent runtime. They are called when the
// objects are made, never while a row is measured.

#include <CL/cl.h>

extern "C" {

cl_int clRetainContext(cl_context) {
    return CL_SUCCESS;
}
cl_int clRetainCommandQueue(cl_command_queue) {
    return CL_SUCCESS;
}
cl_int clRetainKernel(cl_kernel) {
    return CL_SUCCESS;
}
cl_int clRetainMemObject(cl_mem) {
    return CL_SUCCESS;
}
cl_int clRetainEvent(cl_event) {
    return CL_SUCCESS;
}

cl_int clReleaseDevice(cl_device_id) {
    return CL_SUCCESS;
}

}  // extern "C"
