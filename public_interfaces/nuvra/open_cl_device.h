#pragma once

#include <CL/cl.h>

#include "nuvra/data.h"

namespace nuvra {

class OpenCLDeviceImpl;

/// What `OpenCLDeviceRef::GetInfo` can be asked for. Version numbers are major * 100 + minor * 10.
struct OpenCLDeviceInfo {
    enum Selector : UInt32 {
        ID = 0,                         ///< Int64: the cl_device_id
        NAME = 1,                       ///< String
        DRIVER_VERSION = 2,             ///< String
        DRIVER_VERSION_NUMBER = 3,      ///< Int64
        VERSION = 4,                    ///< String
        VERSION_NUMBER = 5,             ///< Int64
        OPENCL_C_VERSION = 6,           ///< String
        OPENCL_C_VERSION_NUMBER = 7,    ///< Int64
        VENDOR = 8,                     ///< String
        EXTENSIONS = 9,                 ///< BaseArray<String>
        TYPE = 10,                      ///< UInt64: CL_DEVICE_TYPE bits
        PLATFORM = 11,                  ///< Int64: the cl_platform_id
        MAX_WORK_ITEM_SIZES = 12,       ///< BaseArray<Int64>, one entry a dimension
        MAX_WORK_ITEM_DIMENSIONS = 13,  ///< Int64
        QUEUE_PROPERTIES = 14,          ///< UInt64: OpenCLQueueFlags
        AVAILABLE = 15,                 ///< Bool
        COMPILER_AVAILABLE = 16,        ///< Bool
        EXECUTION_CAPABILITIES = 17,    ///< UInt64: CL_EXEC bits
    };
};

struct OpenCLDeviceInterface {
    static constexpr Id kId{"nuvra.OpenCLDeviceInterface#1"};
    static constexpr const char* kHeader = "nuvra/open_cl_device.h";
    static constexpr bool kOptional = false;
    using Object = OpenCLDeviceImpl;

    struct Operations {
        void (*Destroy)(OpenCLDeviceImpl*);
        Result<Data> (*GetInfo)(const OpenCLDeviceImpl*, UInt32 which);
        Bool (*HasExtension)(const OpenCLDeviceImpl*, const String& name);
    };
};

/// A device with a copy of its properties, immutable; usable on any thread.
class OpenCLDeviceRef : public ObjectRef<OpenCLDeviceInterface> {
public:
    using ObjectRef::ObjectRef;
    OpenCLDeviceRef() = default;

    /// `which` is an `OpenCLDeviceInfo::Selector`; any other gives an empty value.
    Result<Data> GetInfo(UInt32 which) const {
        return Invoke<&OpenCLDeviceInterface::Operations::GetInfo>(which);
    }
    /// Whether the whole name is in the device's list.
    Bool HasExtension(const String& name) const {
        return Invoke<&OpenCLDeviceInterface::Operations::HasExtension>(name);
    }
};

}  // namespace nuvra
