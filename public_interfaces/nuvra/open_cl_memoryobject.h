#pragma once

#include "nuvra/data.h"

namespace nuvra {

class OpenCLMemoryObjectImpl;

/// Which channels a pixel has, in which order.
enum class OpenCLChannelOrder : UInt32 {
    RED = 0,
    ALPHA = 1,
    INTENSITY = 2,
    LUMINANCE = 3,
    RED_GREEN = 4,
    RED_ALPHA = 5,
    RGB = 6,
    RGBA = 7,
    ARGB = 8,
    BGRA = 9,
};

/// How each channel is stored.
enum class OpenCLChannelDataType : UInt32 {
    SNORM_INT8 = 0,
    SNORM_INT16 = 1,
    UNORM_INT8 = 2,
    UNORM_INT16 = 3,
    UNORM_SHORT_565 = 4,
    UNORM_SHORT_555 = 5,
    UNORM_INT_101010 = 6,
    SIGNED_INT8 = 7,
    SIGNED_INT16 = 8,
    SIGNED_INT32 = 9,
    UNSIGNED_INT8 = 10,
    UNSIGNED_INT16 = 11,
    UNSIGNED_INT32 = 12,
    HALF_FLOAT = 13,
    FLOAT = 14,
};

/// The layout of an image's pixels. A registered data type with equality, a hash and a text.
struct OpenCLImageFormat {
    OpenCLChannelOrder channelOrder = OpenCLChannelOrder::RGBA;
    OpenCLChannelDataType dataType = OpenCLChannelDataType::SNORM_INT8;

    friend bool operator==(const OpenCLImageFormat&, const OpenCLImageFormat&) = default;
};

template <>
struct DataTypeTraits<OpenCLImageFormat> : DataTypeTag {
    static constexpr Id kId{"nuvra.DataTypes:nuvra.OpenCLImageFormat"};
    static constexpr const char* kHeader = "nuvra/open_cl_memoryobject.h";
};

/// What `OpenCLMemoryObjectRef::GetImageInfo` can be asked for.
struct OpenCLImageInfo {
    enum Selector : UInt32 {
        FORMAT = 0,        ///< OpenCLImageFormat
        ELEMENT_SIZE = 1,  ///< Int64: bytes a pixel
        ROW_PITCH = 2,     ///< Int64: bytes
        SLICE_PITCH = 3,   ///< Int64: bytes
        WIDTH = 4,         ///< Int64: pixels
        HEIGHT = 5,        ///< Int64: pixels
        DEPTH = 6,         ///< Int64: pixels, 0 for a 2D image
    };
};

struct OpenCLMemoryObjectInterface {
    static constexpr Id kId{"nuvra.OpenCLMemoryObjectInterface#1"};
    static constexpr const char* kHeader = "nuvra/open_cl_memoryobject.h";
    static constexpr bool kOptional = false;
    using Object = OpenCLMemoryObjectImpl;

    struct Operations {
        void (*Destroy)(OpenCLMemoryObjectImpl*);
        Result<void> (*Release)(OpenCLMemoryObjectImpl*);
        Data (*GetImageInfo)(const OpenCLMemoryObjectImpl*, UInt32 which);
    };
};

/// A buffer, an image, or memory shared with OpenGL.
class OpenCLMemoryObjectRef : public ObjectRef<OpenCLMemoryObjectInterface> {
public:
    using ObjectRef::ObjectRef;
    OpenCLMemoryObjectRef() = default;

    /// Releases the cl_mem now; it is gone whatever the result. A second time: CL_INVALID_MEM_OBJECT.
    Result<void> Release() const { return Invoke<&OpenCLMemoryObjectInterface::Operations::Release>(); }
    /// `which` is an `OpenCLImageInfo::Selector`. Empty for any other, for a buffer and after a failing
    /// query.
    Data GetImageInfo(UInt32 which) const {
        return Invoke<&OpenCLMemoryObjectInterface::Operations::GetImageInfo>(which);
    }
};

}  // namespace nuvra
