#include "opencl_memoryobject.h"

#include "module_records.h"
#include "nuvra/diagnostic.h"

namespace nuvra {

namespace {

/// The image query of each `OpenCLImageInfo::Selector`.
constexpr cl_image_info kImageQueries[] = {
    CL_IMAGE_FORMAT, CL_IMAGE_ELEMENT_SIZE, CL_IMAGE_ROW_PITCH, CL_IMAGE_SLICE_PITCH,
    CL_IMAGE_WIDTH,  CL_IMAGE_HEIGHT,       CL_IMAGE_DEPTH,
};

/// An enumerator's OpenCL constant and its text; the index is the enumerator.
struct Constant {
    cl_uint value;
    const char* text;
};
constexpr Constant kChannelOrders[] = {
    {CL_R, "RED"},
    {CL_A, "ALPHA"},
    {CL_INTENSITY, "INTENSITY"},
    {CL_LUMINANCE, "LUMINANCE"},
    {CL_RG, "RED_GREEN"},
    {CL_RA, "RED_ALPHA"},
    {CL_RGB, "RGB"},
    {CL_RGBA, "RGBA"},
    {CL_ARGB, "ARGB"},
    {CL_BGRA, "BGRA"},
};
constexpr Constant kDataTypes[] = {
    {CL_SNORM_INT8, "SNORM_INT8"},
    {CL_SNORM_INT16, "SNORM_INT16"},
    {CL_UNORM_INT8, "UNORM_INT8"},
    {CL_UNORM_INT16, "UNORM_INT16"},
    {CL_UNORM_SHORT_565, "UNORM_SHORT_565"},
    {CL_UNORM_SHORT_555, "UNORM_SHORT_555"},
    {CL_UNORM_INT_101010, "UNORM_INT_101010"},
    {CL_SIGNED_INT8, "SIGNED_INT8"},
    {CL_SIGNED_INT16, "SIGNED_INT16"},
    {CL_SIGNED_INT32, "SIGNED_INT32"},
    {CL_UNSIGNED_INT8, "UNSIGNED_INT8"},
    {CL_UNSIGNED_INT16, "UNSIGNED_INT16"},
    {CL_UNSIGNED_INT32, "UNSIGNED_INT32"},
    {CL_HALF_FLOAT, "HALF_FLOAT"},
    {CL_FLOAT, "FLOAT"},
};

/// The entry of an enumerator, or null for a value outside the enumeration.
template <class Enum, size_t N>
const Constant* Find(const Constant (&table)[N], Enum value) {
    const auto index = static_cast<UInt32>(value);
    return index < N ? &table[index] : nullptr;
}

/// The enumerator of an OpenCL constant; the first one for a constant that has none.
template <class Enum, size_t N>
Enum FindEnumerator(const Constant (&table)[N], cl_uint value) {
    for (UInt32 i = 0; i < N; i++)
        if (table[i].value == value) return static_cast<Enum>(i);
    return static_cast<Enum>(0);
}

}  // namespace

UInt64 OpenCLMemoryObjectImpl::GetByteCount() const {
    size_t bytes = origin.bytes;
    // Untraced, as image queries are.
    if (bytes == 0)
        CallUntraced<entry::clGetMemObjectInfo>(handle.Get(), CL_MEM_SIZE, sizeof(bytes), &bytes, nullptr);
    return bytes;
}

OpenCLImageFormat FromOpenCL(const cl_image_format& format) {
    return {FindEnumerator<OpenCLChannelOrder>(kChannelOrders, format.image_channel_order),
            FindEnumerator<OpenCLChannelDataType>(kDataTypes, format.image_channel_data_type)};
}

cl_image_format ToOpenCL(const OpenCLImageFormat& format) {
    const Constant* order = Find(kChannelOrders, format.channelOrder);
    const Constant* type = Find(kDataTypes, format.dataType);
    return {order != nullptr ? order->value : CL_R, type != nullptr ? type->value : CL_SNORM_INT8};
}

namespace {

static_assert(std::size(kImageQueries) == OpenCLImageInfo::DEPTH + 1);

Data GetImageInfo(const OpenCLMemoryObjectImpl* memory, UInt32 which) noexcept {
    // Some runtimes answer image queries for buffers too, with garbage.
    if (which >= std::size(kImageQueries) || memory->IsBuffer()) return Data();
    union {
        size_t number = 0;
        cl_image_format format;
    } value;
    static_assert(sizeof(value) == 8);
    const cl_int code = CallUntraced<entry::clGetImageInfo>(memory->handle.Get(), kImageQueries[which],
                                                            sizeof(value), &value, nullptr);
    if (code != CL_SUCCESS) return Data();
    if (which == OpenCLImageInfo::FORMAT) return Data::Of(FromOpenCL(value.format)).GetValue();
    return Data::Of(static_cast<Int64>(value.number)).GetValue();
}

bool AreFormatsEqual(const void* a, const void* b) {
    return *static_cast<const OpenCLImageFormat*>(a) == *static_cast<const OpenCLImageFormat*>(b);
}

UInt64 HashFormat(const void* value) {
    const auto mix = [](UInt64 x) {
        const UInt64 t = x ^ (x >> 20) ^ (x >> 12);
        return t ^ (t >> 7) ^ (t >> 4);
    };
    const auto* format = static_cast<const OpenCLImageFormat*>(value);
    return mix(static_cast<UInt64>(format->channelOrder)) * 31 + mix(static_cast<UInt64>(format->dataType));
}

Result<String> WriteFormat(const void* value) {
    if (value == nullptr) return String::FromCText("nullptr");
    const auto* format = static_cast<const OpenCLImageFormat*>(value);
    const Constant* order = Find(kChannelOrders, format->channelOrder);
    const Constant* type = Find(kDataTypes, format->dataType);
    return Diagnostic::Format("Channel order: @ Data type: @", {order != nullptr ? order->text : "Unknown",
                                                                type != nullptr ? type->text : "unknown"});
}

constexpr OpenCLMemoryObjectInterface::Operations kOperations{
    .Destroy = DeleteObject<OpenCLMemoryObjectImpl>,
    .Release = ReleaseHandle<OpenCLMemoryObjectImpl>,
    .GetImageInfo = GetImageInfo,
};
constinit InterfaceRecord g_implementation = ImplementInterface<OpenCLMemoryObjectInterface>(
    "nuvra.OpenCLMemoryObjectInterface", "OpenCLMemoryObjectImpl", kOperations);
constinit DataTypeRecord g_imageFormat =
    MakeDataType<OpenCLImageFormat>(AreFormatsEqual, HashFormat, WriteFormat);
SourceUnit g_unit{g_openCLModule, "opencl_memoryobject", {&g_implementation, &g_imageFormat}};

}  // namespace

}  // namespace nuvra
