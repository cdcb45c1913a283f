#include "opencl_device.h"

#include <cstring>

#include "module_records.h"
#include "nuvra/open_cl_context.h"
#include "opencl_error.h"
#include "opencl_text.h"

namespace nuvra {

namespace {

using Numbers = OpenCLDeviceNumbers;

struct NumberQuery {
    cl_device_info which;
    size_t offset;
    size_t size;
};

template <size_t kIndex, class T, size_t kCount>
constexpr size_t GetElementOffset(const T (&)[kCount]) {
    static_assert(kIndex < kCount);
    return kIndex * sizeof(T);
}

#define NUMBER(which, field) \
    { which, offsetof(Numbers, field), sizeof(Numbers::field) }
#define ELEMENT(which, field, index) \
    { which, offsetof(Numbers, field) + GetElementOffset<index>(Numbers{}.field), sizeof(Numbers{}.field[0]) }

constexpr NumberQuery kNumbersBeforeSizes[] = {
    NUMBER(CL_DEVICE_TYPE, type),
    NUMBER(CL_DEVICE_VENDOR_ID, vendorId),
    NUMBER(CL_DEVICE_MAX_COMPUTE_UNITS, maxComputeUnits),
    NUMBER(CL_DEVICE_MAX_WORK_ITEM_DIMENSIONS, maxWorkItemDimensions),
};
constexpr NumberQuery kNumbersAfterSizes[] = {
    NUMBER(CL_DEVICE_MAX_WORK_GROUP_SIZE, maxWorkGroupSize),
    ELEMENT(CL_DEVICE_PREFERRED_VECTOR_WIDTH_CHAR, preferredVectorWidths, 0),
    ELEMENT(CL_DEVICE_PREFERRED_VECTOR_WIDTH_SHORT, preferredVectorWidths, 1),
    ELEMENT(CL_DEVICE_PREFERRED_VECTOR_WIDTH_INT, preferredVectorWidths, 2),
    ELEMENT(CL_DEVICE_PREFERRED_VECTOR_WIDTH_LONG, preferredVectorWidths, 3),
    ELEMENT(CL_DEVICE_PREFERRED_VECTOR_WIDTH_FLOAT, preferredVectorWidths, 4),
    ELEMENT(CL_DEVICE_PREFERRED_VECTOR_WIDTH_DOUBLE, preferredVectorWidths, 5),
    ELEMENT(CL_DEVICE_PREFERRED_VECTOR_WIDTH_HALF, preferredVectorWidths, 6),
    ELEMENT(CL_DEVICE_NATIVE_VECTOR_WIDTH_CHAR, nativeVectorWidths, 0),
    ELEMENT(CL_DEVICE_NATIVE_VECTOR_WIDTH_SHORT, nativeVectorWidths, 1),
    ELEMENT(CL_DEVICE_NATIVE_VECTOR_WIDTH_INT, nativeVectorWidths, 2),
    ELEMENT(CL_DEVICE_NATIVE_VECTOR_WIDTH_LONG, nativeVectorWidths, 3),
    ELEMENT(CL_DEVICE_NATIVE_VECTOR_WIDTH_FLOAT, nativeVectorWidths, 4),
    ELEMENT(CL_DEVICE_NATIVE_VECTOR_WIDTH_DOUBLE, nativeVectorWidths, 5),
    ELEMENT(CL_DEVICE_NATIVE_VECTOR_WIDTH_HALF, nativeVectorWidths, 6),
    NUMBER(CL_DEVICE_MAX_CLOCK_FREQUENCY, maxClockFrequency),
    NUMBER(CL_DEVICE_ADDRESS_BITS, addressBits),
    NUMBER(CL_DEVICE_MAX_MEM_ALLOC_SIZE, maxMemoryAllocationSize),
    NUMBER(CL_DEVICE_IMAGE_SUPPORT, imageSupport),
    NUMBER(CL_DEVICE_MAX_READ_IMAGE_ARGS, maxReadImageArgs),
    NUMBER(CL_DEVICE_MAX_WRITE_IMAGE_ARGS, maxWriteImageArgs),
    ELEMENT(CL_DEVICE_IMAGE2D_MAX_WIDTH, image2DMaxSize, 0),
    ELEMENT(CL_DEVICE_IMAGE2D_MAX_HEIGHT, image2DMaxSize, 1),
    ELEMENT(CL_DEVICE_IMAGE3D_MAX_WIDTH, image3DMaxSize, 0),
    ELEMENT(CL_DEVICE_IMAGE3D_MAX_HEIGHT, image3DMaxSize, 1),
    ELEMENT(CL_DEVICE_IMAGE3D_MAX_DEPTH, image3DMaxSize, 2),
    NUMBER(CL_DEVICE_MAX_SAMPLERS, maxSamplers),
    NUMBER(CL_DEVICE_MAX_PARAMETER_SIZE, maxParameterSize),
    NUMBER(CL_DEVICE_MEM_BASE_ADDR_ALIGN, memoryBaseAddressAlignment),
    NUMBER(CL_DEVICE_MIN_DATA_TYPE_ALIGN_SIZE, minDataTypeAlignment),
    NUMBER(CL_DEVICE_SINGLE_FP_CONFIG, singleFloatConfiguration),
    NUMBER(CL_DEVICE_GLOBAL_MEM_CACHE_TYPE, globalMemoryCacheType),
    NUMBER(CL_DEVICE_GLOBAL_MEM_CACHELINE_SIZE, globalMemoryCacheLineSize),
    NUMBER(CL_DEVICE_GLOBAL_MEM_CACHE_SIZE, globalMemoryCacheSize),
    NUMBER(CL_DEVICE_GLOBAL_MEM_SIZE, globalMemorySize),
    NUMBER(CL_DEVICE_MAX_CONSTANT_BUFFER_SIZE, maxConstantBufferSize),
    NUMBER(CL_DEVICE_MAX_CONSTANT_ARGS, maxConstantArgs),
    NUMBER(CL_DEVICE_LOCAL_MEM_TYPE, localMemoryType),
    NUMBER(CL_DEVICE_LOCAL_MEM_SIZE, localMemorySize),
    NUMBER(CL_DEVICE_ERROR_CORRECTION_SUPPORT, errorCorrectionSupport),
    NUMBER(CL_DEVICE_HOST_UNIFIED_MEMORY, hostUnifiedMemory),
    NUMBER(CL_DEVICE_PROFILING_TIMER_RESOLUTION, profilingTimerResolution),
    NUMBER(CL_DEVICE_ENDIAN_LITTLE, endianLittle),
    NUMBER(CL_DEVICE_AVAILABLE, available),
    NUMBER(CL_DEVICE_COMPILER_AVAILABLE, compilerAvailable),
    NUMBER(CL_DEVICE_EXECUTION_CAPABILITIES, executionCapabilities),
    NUMBER(CL_DEVICE_QUEUE_PROPERTIES, queueProperties),
};

#undef NUMBER
#undef ELEMENT

/// After values of the one number that is traced with its value.
struct TypeRead {
    static constexpr std::string_view kCode = "iNs";
    const cl_device_type* type;
    auto operator()(cl_int code) const {
        return std::tuple(code, code == CL_SUCCESS ? *type : cl_device_type{0}, size_t{0});
    }
};

}  // namespace

cl_int GetDeviceInfo(cl_device_id device, cl_device_info which, size_t size, void* value, size_t* written) {
    const auto query = [&](const auto& after) {
        return Call<entry::clGetDeviceInfo>(after, device, which, size, value, written);
    };
    if (value == nullptr) return query(ResultCode());
    switch (which) {
        case CL_DEVICE_NAME:
        case CL_DEVICE_VENDOR:
        case CL_DRIVER_VERSION:
        case CL_DEVICE_EXTENSIONS:
            return query(TextRead{static_cast<const char*>(value), written});
        case CL_DEVICE_TYPE:
            return query(TypeRead{static_cast<const cl_device_type*>(value)});
        default:
            return query(ResultCode());
    }
}

namespace {

template <size_t N>
void ReadInto(cl_device_id device, const NumberQuery (&queries)[N], Numbers& numbers) {
    for (const NumberQuery& query : queries) {
        cl_ulong value = 0;
        if (GetDeviceInfo(device, query.which, query.size, &value, nullptr) == CL_SUCCESS)
            std::memcpy(reinterpret_cast<char*>(&numbers) + query.offset, &value, query.size);
    }
}

}  // namespace

Result<void> OpenCLDeviceImpl::Init(cl_device_id device, cl_platform_id devicePlatform) {
    id = device;
    platform = devicePlatform;
    NUVRA_RETURN_IF_ERROR(ReadTexts());
    ReadInto(id, kNumbersBeforeSizes, numbers);
    NUVRA_RETURN_IF_ERROR(CheckCount(numbers.maxWorkItemDimensions));
    ReadWorkItemSizes();
    ReadInto(id, kNumbersAfterSizes, numbers);
    return {};
}

Result<void> OpenCLDeviceImpl::ReadTexts() {
    TextReader reader;
    const auto readBytes = [&](cl_device_info which) {
        return reader.ReadBytes([&](size_t size, char* value, size_t* written) {
            return GetDeviceInfo(id, which, size, value, written);
        });
    };
    const auto read = [&](cl_device_info which) { return ToString(readBytes(which)); };
    name = read(CL_DEVICE_NAME);
    vendor = read(CL_DEVICE_VENDOR);
    // Parsed from the scratch buffer: it still holds the previous text when a size query fails.
    driverVersion = read(CL_DRIVER_VERSION);
    NUVRA_ASSIGN_OR_RETURN(driverVersionNumber, ParseVersion(reader.GetBytes(), ""));
    version = read(CL_DEVICE_VERSION);
    NUVRA_ASSIGN_OR_RETURN(versionNumber, ParseVersion(reader.GetBytes(), "OpenCL "));
    openCLCVersion = read(CL_DEVICE_OPENCL_C_VERSION);
    NUVRA_ASSIGN_OR_RETURN(openCLCVersionNumber, ParseVersion(reader.GetBytes(), "OpenCL C "));
    NUVRA_ASSIGN_OR_RETURN(const char* names, readBytes(CL_DEVICE_EXTENSIONS));
    return SplitExtensions(names, extensions);
}

void OpenCLDeviceImpl::ReadWorkItemSizes() {
    if (!maxWorkItemSizes.Resize(numbers.maxWorkItemDimensions).IsOk()) {
        numbers.maxWorkItemDimensions = 0;
        return;
    }
    const size_t size = static_cast<size_t>(maxWorkItemSizes.GetCount()) * sizeof(size_t);
    static_assert(sizeof(size_t) == sizeof(Int64));
    GetDeviceInfo(id, CL_DEVICE_MAX_WORK_ITEM_SIZES, size, maxWorkItemSizes.GetFirst(), nullptr);
}

Result<cl_device_id> GetDeviceId(const OpenCLDeviceRef& device) {
    NUVRA_ASSIGN_OR_RETURN(const Data data, device.GetInfo(OpenCLDeviceInfo::ID));
    Int64 id = 0;
    if (const Int64* wide = data.Find<Int64>()) id = *wide;
    if (const Int32* narrow = data.Find<Int32>()) id = *narrow;
    return reinterpret_cast<cl_device_id>(static_cast<intptr_t>(id));
}

namespace {

using Device = OpenCLDeviceImpl;

Result<Data> GetInfo(const Device* device, UInt32 which) noexcept {
    switch (which) {
        case OpenCLDeviceInfo::ID:
            return Data::Of(static_cast<Int64>(reinterpret_cast<intptr_t>(device->id)));
        case OpenCLDeviceInfo::NAME:
            return Data::Of(device->name);
        case OpenCLDeviceInfo::DRIVER_VERSION:
            return Data::Of(device->driverVersion);
        case OpenCLDeviceInfo::DRIVER_VERSION_NUMBER:
            return Data::Of(device->driverVersionNumber);
        case OpenCLDeviceInfo::VERSION:
            return Data::Of(device->version);
        case OpenCLDeviceInfo::VERSION_NUMBER:
            return Data::Of(device->versionNumber);
        case OpenCLDeviceInfo::OPENCL_C_VERSION:
            return Data::Of(device->openCLCVersion);
        case OpenCLDeviceInfo::OPENCL_C_VERSION_NUMBER:
            return Data::Of(device->openCLCVersionNumber);
        case OpenCLDeviceInfo::VENDOR:
            return Data::Of(device->vendor);
        case OpenCLDeviceInfo::EXTENSIONS:
            return Data::Of(device->extensions);
        case OpenCLDeviceInfo::TYPE:
            return Data::Of(UInt64{device->numbers.type});
        case OpenCLDeviceInfo::PLATFORM:
            return Data::Of(static_cast<Int64>(reinterpret_cast<intptr_t>(device->platform)));
        case OpenCLDeviceInfo::MAX_WORK_ITEM_SIZES:
            return Data::Of(device->maxWorkItemSizes);
        case OpenCLDeviceInfo::MAX_WORK_ITEM_DIMENSIONS:
            return Data::Of(Int64{device->numbers.maxWorkItemDimensions});
        case OpenCLDeviceInfo::QUEUE_PROPERTIES:
            static_assert(OpenCLQueueFlags::OUT_OF_ORDER_EXEC_MODE ==
                              CL_QUEUE_OUT_OF_ORDER_EXEC_MODE_ENABLE &&
                          OpenCLQueueFlags::PROFILING == CL_QUEUE_PROFILING_ENABLE);
            return Data::Of(UInt64{device->numbers.queueProperties &
                                   (OpenCLQueueFlags::OUT_OF_ORDER_EXEC_MODE | OpenCLQueueFlags::PROFILING)});
        case OpenCLDeviceInfo::AVAILABLE:
            return Data::Of(Bool{device->numbers.available != 0});
        case OpenCLDeviceInfo::COMPILER_AVAILABLE:
            return Data::Of(Bool{device->numbers.compilerAvailable != 0});
        case OpenCLDeviceInfo::EXECUTION_CAPABILITIES:
            return Data::Of(UInt64{device->numbers.executionCapabilities});
        default:
            return Data();
    }
}

Bool HasExtension(const Device* device, const String& name) noexcept {
    return ContainsName(device->extensions, name);
}

constexpr OpenCLDeviceInterface::Operations kOperations{
    .Destroy = DeleteObject<Device>,
    .GetInfo = GetInfo,
    .HasExtension = HasExtension,
};
constinit InterfaceRecord g_implementation =
    ImplementInterface<OpenCLDeviceInterface>("nuvra.OpenCLDeviceInterface", "OpenCLDeviceImpl", kOperations);

SourceUnit g_unit{g_openCLModule, "opencl_device", {&g_implementation}};

}  // namespace

}  // namespace nuvra
