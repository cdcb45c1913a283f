#include <limits>
#include <set>

#include "nuvra/opencl_interface_trace.h"
#include "tracing_fixture.h"

namespace nuvra::test {
namespace {

using DecodingTest = TracingTest;

TEST_F(DecodingTest, EveryFunctionsValuesAreInWords) {
    isSharing = true;
    StartTraced();
    MakeObjects();
    const OpenCLDeviceRef device = OpenCL::GetDeviceFromId(Devices()[0]).GetValue();
    const auto devices = Devices();
    const auto binaryIn = MakeArray<UChar>({1, 2});
    fake.binary = {1, 2};
    BaseArray<UChar> binary;
    OpenCLEventRef event;
    OpenCLEventRef second;
    const size_t local[] = {1, 2, 1};
    const size_t global[] = {8, 6, 1};
    size_t pitch = 0;
    size_t sizes[3] = {};
    const char* sources[] = {"kernel void Main() {}", "abc"};
    const size_t lengths[] = {0, 2};
    std::byte bytes[64] = {};
    const Int32 ints[] = {3, -4};
    const UInt32 uints[] = {3, 0xFFFFFFFF};
    const Float32 floats[] = {1.5F, std::numeric_limits<Float32>::quiet_NaN()};
    const Float64 doubles[] = {0.1, -std::numeric_limits<Float64>::infinity()};
    const OpenCLContextRef& context = cl.context;
    const OpenCLCommandQueueRef& queue = cl.queue;
    const OpenCLProgramRef& program = cl.program;
    const OpenCLKernelRef& kernel = cl.kernel;
    const OpenCLMemoryObjectRef& buffer = cl.buffer;
    OpenCLMemoryObjectRef image;

    struct Case {
        std::function<void()> operation;
        const char* line;  ///< the first
    };
#define CASE(operation, line)                       \
    {                                               \
        [&] { static_cast<void>(operation); }, line \
    }
    const Case cases[] = {
        CASE(OpenCL::IsAvailable(),
             "clGetPlatformIDs(num_entries=0, platforms=null, num_platforms=ptr) -> result=CL_SUCCESS, "
             "num_platforms=1, platforms=null"),
        CASE(OpenCL::CreateContext(Platform(), devices),
             "clCreateContext(properties={CL_CONTEXT_PLATFORM=platform#1 Fake platform}, num_devices=1, "
             "devices=[device#1 Fake device], pfn_notify=ptr, user_data=ptr, errcode_ret=ptr) -> "
             "result=CL_SUCCESS, context=context#2"),
        CASE(context.CreateCommandQueue(3),
             "clCreateCommandQueue(context=context#1, device=device#1 Fake device, "
             "properties=CL_QUEUE_OUT_OF_ORDER_EXEC_MODE_ENABLE|CL_QUEUE_PROFILING_ENABLE, errcode_ret=ptr) "
             "-> result=CL_SUCCESS, command_queue=queue#2"),
        CASE(context.CreateBuffer(33, 16, bytes),
             "clCreateBuffer(context=context#1, flags=CL_MEM_READ_WRITE|CL_MEM_COPY_HOST_PTR, size=16, "
             "host_ptr=ptr, errcode_ret=ptr) -> result=CL_SUCCESS, buffer=buffer#2"),
        CASE(image =
                 context
                     .CreateImage2D(1, {OpenCLChannelOrder::RGBA, OpenCLChannelDataType::UNORM_INT8}, 8, 4, 0)
                     .GetValue(),
             "clCreateImage2D(context=context#1, flags=CL_MEM_READ_WRITE, "
             "image_format=[CL_RGBA, CL_UNORM_INT8], image_width=8, image_height=4, image_row_pitch=0, "
             "host_ptr=null, errcode_ret=ptr) -> result=CL_SUCCESS, image=image#1"),
        CASE(context.CreateImage3D(1, {}, 8, 4, 2),
             "clCreateImage3D(context=context#1, flags=CL_MEM_READ_WRITE, "
             "image_format=[CL_RGBA, CL_SNORM_INT8], image_width=8, image_height=4, image_depth=2, "
             "image_row_pitch=0, image_slice_pitch=0, host_ptr=null, errcode_ret=ptr) -> result=CL_SUCCESS, "
             "image=image#2"),
        CASE(context.CreateFromGLTexture2D(1, 3553, 2, 9),
             "clCreateFromGLTexture2D(context=context#1, flags=CL_MEM_READ_WRITE, target=GL_TEXTURE_2D, "
             "miplevel=2, texture=9, errcode_ret=ptr) -> result=CL_SUCCESS, image=image#3"),
        CASE(context.CreateFromGLBuffer(1, 9),
             "clCreateFromGLBuffer(context=context#1, flags=CL_MEM_READ_WRITE, bufobj=9, errcode_ret=ptr) -> "
             "result=CL_SUCCESS, buffer=buffer#3"),
        CASE(context.CreateProgramWithSource(2, sources, lengths),
             "clCreateProgramWithSource(context=context#1, count=2, strings=[ptr, ptr], lengths=[0, 2], "
             "errcode_ret=ptr) -> result=CL_SUCCESS, program=program#2"),
        CASE(context.CreateProgramWithSource(1, sources),
             "clCreateProgramWithSource(context=context#1, count=1, strings=[ptr], lengths=null, "
             "errcode_ret=ptr) -> result=CL_SUCCESS, program=program#3"),
        CASE(context.CreateProgramWithBinary(device, binaryIn),
             "clCreateProgramWithBinary(context=context#1, num_devices=1, device_list=ptr, lengths=ptr, "
             "binaries=[ptr], errcode_ret=ptr) -> result=CL_SUCCESS, program=program#4"),
        CASE(program.Build(devices, "-w"),
             "clBuildProgram(program=program#1, num_devices=1, device_list=[device#1 Fake device], "
             "options=\"-w\", pfn_notify=null, user_data=null) -> result=CL_SUCCESS"),
        CASE(program.GetBuildLog(devices[0]),
             "clGetProgramBuildInfo(program=program#1, device=device#1 Fake device, "
             "param_name=CL_PROGRAM_BUILD_LOG, param_value_size=0, param_value=null, "
             "param_value_size_ret=ptr) -> result=CL_SUCCESS, param_value_size_ret=9"),
        CASE(program.GetBinary(binary),
             "clGetProgramInfo(program=program#1, param_name=CL_PROGRAM_BINARY_SIZES, param_value_size=8, "
             "param_value=ptr, param_value_size_ret=null) -> result=CL_SUCCESS, param_value=[2]"),
        CASE(program.CreateKernel("Tail"),
             "clCreateKernel(program=program#1, kernel_name=\"Tail\", errcode_ret=ptr) -> result=CL_SUCCESS, "
             "kernel=kernel#2 Tail"),
        CASE(queue.EnqueueNDRangeKernel(kernel, 2, nullptr, global, local, 0, nullptr, &event),
             "clEnqueueNDRangeKernel(command_queue=queue#1, kernel=kernel#1 Main, work_dim=2, "
             "global_work_offset=null, global_work_size=[8, 6], local_work_size=[1, 2], "
             "num_events_in_wait_list=0, event_wait_list=null, event=ptr) -> result=CL_SUCCESS, "
             "event=event#1"),
        CASE(queue.WaitForEvents(1, &event),
             "clWaitForEvents(num_events=1, event_list=[event#1]) -> result=CL_SUCCESS"),
        CASE(queue.Finish(), "clFinish(command_queue=queue#1) -> result=CL_SUCCESS"),
        CASE(queue.EnqueueMapBuffer(buffer, true, 3, 4, 8, 0, nullptr, &second),
             "clEnqueueMapBuffer(command_queue=queue#1, buffer=buffer#1, blocking_map=CL_TRUE, "
             "map_flags=CL_MAP_READ|CL_MAP_WRITE, offset=4, size=8, num_events_in_wait_list=0, "
             "event_wait_list=null, event=ptr) -> result=ptr, event=event#2"),
        CASE(queue.EnqueueMapImage(image, false, 2, local, global, &pitch, &pitch, 1, &event),
             "clEnqueueMapImage(command_queue=queue#1, image=image#1, blocking_map=CL_FALSE, "
             "origin=[1, 2, 1], region=[8, 6, 1], image_row_pitch=ptr, image_slice_pitch=ptr, "
             "num_events_in_wait_list=1, event_wait_list=[event#1], event=null) -> result=ptr, event=null"),
        CASE(queue.EnqueueUnmapMemObject(buffer, bytes, 1, &event),
             "clEnqueueUnmapMemObject(command_queue=queue#1, memobj=buffer#1, mapped_ptr=ptr, "
             "num_events_in_wait_list=1, event_wait_list=[event#1], event=null) -> result=CL_SUCCESS, "
             "event=null"),
        CASE(queue.EnqueueReadBuffer(buffer, true, 4, 8, bytes),
             "clEnqueueReadBuffer(command_queue=queue#1, buffer=buffer#1, blocking_read=CL_TRUE, offset=4, "
             "size=8, num_events_in_wait_list=0, event_wait_list=null, event=null) -> result=CL_SUCCESS, "
             "event=null"),
        CASE(queue.EnqueueWriteBuffer(buffer, true, 4, 8, bytes),
             "clEnqueueWriteBuffer(command_queue=queue#1, buffer=buffer#1, blocking_write=CL_TRUE, offset=4, "
             "size=8, ptr=ptr, num_events_in_wait_list=0, event_wait_list=null, event=null) -> "
             "result=CL_SUCCESS, event=null"),
        CASE(queue.EnqueueReadImage(image, true, local, global, 5, 6, bytes),
             "clEnqueueReadImage(command_queue=queue#1, image=image#1, blocking_read=CL_TRUE, "
             "origin=[1, 2, 1], region=[8, 6, 1], row_pitch=5, slice_pitch=6, ptr=ptr, "
             "num_events_in_wait_list=0, event_wait_list=null, event=null) -> result=CL_SUCCESS, event=null"),
        CASE(queue.EnqueueWriteImage(image, true, local, global, 5, 6, bytes),
             "clEnqueueWriteImage(command_queue=queue#1, image=image#1, blocking_write=CL_TRUE, "
             "origin=[1, 2, 1], region=[8, 6, 1], input_row_pitch=5, input_slice_pitch=6, ptr=ptr, "
             "num_events_in_wait_list=0, event_wait_list=null, event=null) -> result=CL_SUCCESS, event=null"),
        CASE(queue.EnqueueAcquireGLObjects(1, &buffer),
             "clEnqueueAcquireGLObjects(command_queue=queue#1, num_objects=1, mem_objects=[buffer#1], "
             "num_events_in_wait_list=0, event_wait_list=null, event=null) -> result=CL_SUCCESS, event=null"),
        CASE(queue.EnqueueReleaseGLObjects(0, nullptr, 1, &event),
             "clEnqueueReleaseGLObjects(command_queue=queue#1, num_objects=0, mem_objects=null, "
             "num_events_in_wait_list=1, event_wait_list=[event#1], event=null) -> result=CL_SUCCESS, "
             "event=null"),
        CASE(second = {}, "clReleaseEvent(event=event#2) -> result=CL_SUCCESS"),
        CASE(kernel.GetWorkGroupInfo(device, 0, 24, sizes),
             "clGetKernelWorkGroupInfo(kernel=kernel#1 Main, device=device#1 Fake device, "
             "param_name=CL_KERNEL_WORK_GROUP_SIZE, param_value_size=24, param_value=ptr, "
             "param_value_size_ret=null) -> result=CL_SUCCESS, param_value=256"),
        CASE(kernel.GetWorkGroupInfo(device, 1, 24, sizes),
             "clGetKernelWorkGroupInfo(kernel=kernel#1 Main, device=device#1 Fake device, "
             "param_name=CL_KERNEL_COMPILE_WORK_GROUP_SIZE, param_value_size=24, param_value=ptr, "
             "param_value_size_ret=null) -> result=CL_SUCCESS, param_value=[8, 4, 2]"),
        CASE(kernel.GetWorkGroupInfo(device, 2, 24, sizes),
             "clGetKernelWorkGroupInfo(kernel=kernel#1 Main, device=device#1 Fake device, "
             "param_name=CL_KERNEL_LOCAL_MEM_SIZE, param_value_size=24, param_value=ptr, "
             "param_value_size_ret=null) -> result=CL_SUCCESS, param_value=1024"),
        CASE(kernel.SetArg(0, buffer),
             "clSetKernelArg(kernel=kernel#1 Main, arg_index=0, arg_size=8, arg_type=cl_mem, "
             "arg_value=[buffer#1]) -> result=CL_SUCCESS"),
        CASE(kernel.SetArgLocalMemory(1, 64),
             "clSetKernelArg(kernel=kernel#1 Main, arg_index=1, arg_size=64, arg_type=cl_mem, "
             "arg_value=null) -> result=CL_SUCCESS"),
        CASE(kernel.SetArg(0, ints, 2),
             "clSetKernelArg(kernel=kernel#1 Main, arg_index=0, arg_size=8, arg_type=cl_int, "
             "arg_value=[3, -4]) -> result=CL_SUCCESS"),
        CASE(kernel.SetArg(0, uints, 2),
             "clSetKernelArg(kernel=kernel#1 Main, arg_index=0, arg_size=8, arg_type=cl_uint, "
             "arg_value=[3, 4294967295]) -> result=CL_SUCCESS"),
        CASE(kernel.SetArg(0, floats, 2),
             "clSetKernelArg(kernel=kernel#1 Main, arg_index=0, arg_size=8, arg_type=cl_float, "
             "arg_value=[1.5, nan]) -> result=CL_SUCCESS"),
        CASE(kernel.SetArg(0, doubles, 2),
             "clSetKernelArg(kernel=kernel#1 Main, arg_index=0, arg_size=16, arg_type=cl_double, "
             "arg_value=[0.1, -inf]) -> result=CL_SUCCESS"),
        CASE(kernel.Release(), "clReleaseKernel(kernel=kernel#1 Main) -> result=CL_SUCCESS"),
        CASE(cl.program.Release(), "clReleaseProgram(program=program#1) -> result=CL_SUCCESS"),
        CASE(cl.buffer.Release(), "clReleaseMemObject(memobj=buffer#1) -> result=CL_SUCCESS"),
        CASE(cl.queue.Release(), "clReleaseCommandQueue(command_queue=queue#1) -> result=CL_SUCCESS"),
        CASE(cl.context = {}, "clReleaseContext(context=context#1) -> result=CL_SUCCESS"),
    };
#undef CASE
    for (const Case& one : cases) {
        const Texts lines = LogOf(one.operation);
        ASSERT_GE(lines.size(), 1U) << one.line;
        EXPECT_EQ(lines[0], one.line);
    }
    BaseArray<OpenCLPlatformRef> platforms;
    BaseArray<OpenCLDeviceRef> found;
    const Texts queries = LogOf([&] {
        static_cast<void>(OpenCL::GetPlatforms(platforms));
        static_cast<void>(platforms[0].GetDevices(found));
    });
    for (const char* line :
         {"clGetPlatformIDs(num_entries=1, platforms=ptr, num_platforms=ptr) -> result=CL_SUCCESS, "
          "num_platforms=1, platforms=[platform#1 Fake platform]",
          "clGetPlatformInfo(platform=platform#1 Fake platform, param_name=CL_PLATFORM_NAME, "
          "param_value_size=14, param_value=ptr, param_value_size_ret=null) -> result=CL_SUCCESS, "
          "param_value=\"Fake platform\"",
          "clGetDeviceIDs(platform=platform#1 Fake platform, device_type=CL_DEVICE_TYPE_ALL, "
          "num_entries=1, devices=ptr, num_devices=ptr) -> result=CL_SUCCESS, num_devices=1, "
          "devices=[device#1 Fake device]",
          "clGetDeviceInfo(device=device#1 Fake device, param_name=CL_DEVICE_TYPE, param_value_size=8, "
          "param_value=ptr, param_value_size_ret=null) -> result=CL_SUCCESS, "
          "param_value=CL_DEVICE_TYPE_GPU",
          "clGetDeviceInfo(device=device#1 Fake device, param_name=CL_DEVICE_MAX_WORK_ITEM_SIZES, "
          "param_value_size=24, param_value=ptr, param_value_size_ret=null) -> result=CL_SUCCESS, "
          "param_value=[1024, 1024, 64]"})
        EXPECT_NE(std::ranges::find(queries, line), queries.end()) << line;
    for (const std::string& line : queries) EXPECT_EQ(line.find("param_name=0x"), line.npos) << line;

    // And so every function that is called on every system has been seen.
    Finish();
    std::set<std::string> seen;
    for (const Json& one : ReadTrace()) {
        const std::string name = one.at("name");
        seen.insert(name.substr(0, name.find_first_of(" :")));
    }
    const auto expectSeen = [&](const std::string& name, bool isTraced) {
        const bool isForWindows = name == "clGetExtensionFunctionAddress";
        EXPECT_EQ(seen.contains(name), isTraced && !isForWindows) << name;
    };
#define OPENCL_FUNCTION(presence, name, effect, before, after) \
    expectSeen(#name, !entry::name::kBefore.empty());
#include "nuvra/opencl_functions.def"
}

}  // namespace
}  // namespace nuvra::test
