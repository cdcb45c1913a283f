#pragma once

#include "nuvra/open_cl_device.h"

namespace nuvra {

/// The device properties that are numbers, as OpenCL gives them.
struct OpenCLDeviceNumbers {
    cl_device_type type = 0;
    cl_uint vendorId = 0;
    cl_uint maxComputeUnits = 0;
    cl_uint maxWorkItemDimensions = 0;
    size_t maxWorkGroupSize = 0;
    cl_uint preferredVectorWidths[7] = {};  ///< char, short, int, long, float, double, half
    cl_uint nativeVectorWidths[7] = {};
    cl_uint maxClockFrequency = 0;
    cl_uint addressBits = 0;
    cl_ulong maxMemoryAllocationSize = 0;
    cl_bool imageSupport = 0;
    cl_uint maxReadImageArgs = 0;
    cl_uint maxWriteImageArgs = 0;
    size_t image2DMaxSize[2] = {};
    size_t image3DMaxSize[3] = {};
    cl_uint maxSamplers = 0;
    size_t maxParameterSize = 0;
    cl_uint memoryBaseAddressAlignment = 0;
    cl_uint minDataTypeAlignment = 0;
    cl_device_fp_config singleFloatConfiguration = 0;
    cl_uint globalMemoryCacheType = 0;
    cl_uint globalMemoryCacheLineSize = 0;
    cl_ulong globalMemoryCacheSize = 0;
    cl_ulong globalMemorySize = 0;
    cl_ulong maxConstantBufferSize = 0;
    cl_uint maxConstantArgs = 0;
    cl_uint localMemoryType = 0;
    cl_ulong localMemorySize = 0;
    cl_bool errorCorrectionSupport = 0;
    cl_bool hostUnifiedMemory = 0;
    size_t profilingTimerResolution = 0;
    cl_bool endianLittle = 0;
    cl_bool available = 0;
    cl_bool compilerAvailable = 0;
    cl_device_exec_capabilities executionCapabilities = 0;
    cl_command_queue_properties queueProperties = 0;
};

class OpenCLDeviceImpl : public ObjectHeader {
public:
    /// Reads everything. UNSPECIFIED when one of the three versions does not parse.
    Result<void> Init(cl_device_id device, cl_platform_id devicePlatform);

    cl_device_id id = nullptr;
    cl_platform_id platform = nullptr;
    String name;
    String vendor;
    String driverVersion;
    String version;
    String openCLCVersion;
    Int64 driverVersionNumber = 0;
    Int64 versionNumber = 0;
    Int64 openCLCVersionNumber = 0;
    BaseArray<String> extensions;
    OpenCLDeviceNumbers numbers;
    BaseArray<Int64> maxWorkItemSizes;  ///< one entry a dimension

private:
    Result<void> ReadTexts();
    void ReadWorkItemSizes();
};

/// A traced query; the tracer sees the values of texts and of the device's type.
cl_int GetDeviceInfo(cl_device_id device, cl_device_info which, size_t size, void* value, size_t* written);

/// The device's cl_device_id through its interface; null when it gives no integer.
Result<cl_device_id> GetDeviceId(const OpenCLDeviceRef& device);

}  // namespace nuvra
