#pragma once

#include "nuvra/open_cl_device.h"

namespace nuvra {

class OpenCLPlatformImpl;

/// What `OpenCLPlatformRef::GetInfo` can be asked for.
struct OpenCLPlatformInfo {
    enum Selector : UInt32 {
        ID = 0,                ///< Int64: the cl_platform_id
        NAME = 1,              ///< String
        PROFILE = 2,           ///< String
        VERSION = 3,           ///< String
        VENDOR = 4,            ///< String
        EXTENSIONS = 5,        ///< BaseArray<String>
        VERSION_NUMBER = 100,  ///< Int64: major * 100 + minor * 10
    };
};

struct OpenCLPlatformInterface {
    static constexpr Id kId{"nuvra.OpenCLPlatformInterface#1"};
    static constexpr const char* kHeader = "nuvra/open_cl_platform.h";
    static constexpr bool kOptional = false;
    using Object = OpenCLPlatformImpl;

    struct Operations {
        void (*Destroy)(OpenCLPlatformImpl*);
        Result<Data> (*GetInfo)(const OpenCLPlatformImpl*, UInt32 which);
        Result<void> (*GetDevices)(const OpenCLPlatformImpl*, BaseArray<OpenCLDeviceRef>& devices);
        Bool (*HasExtension)(const OpenCLPlatformImpl*, const String& name);
    };
};

/// A platform with a copy of its properties, immutable; usable on any thread.
class OpenCLPlatformRef : public ObjectRef<OpenCLPlatformInterface> {
public:
    using ObjectRef::ObjectRef;
    OpenCLPlatformRef() = default;

    /// `which` is an `OpenCLPlatformInfo::Selector`; any other gives an empty value.
    Result<Data> GetInfo(UInt32 which) const {
        return Invoke<&OpenCLPlatformInterface::Operations::GetInfo>(which);
    }
    /// Replaces `devices` by new objects for the platform's devices. Fails with the runtime's code
    /// (CL_DEVICE_NOT_FOUND for a platform without devices), with UNSPECIFIED where a device's versions do
    /// not parse, and out of memory; `devices` is then empty.
    Result<void> GetDevices(BaseArray<OpenCLDeviceRef>& devices) const {
        return Invoke<&OpenCLPlatformInterface::Operations::GetDevices>(devices);
    }
    /// Whether the whole name is in the platform's list.
    Bool HasExtension(const String& name) const {
        return Invoke<&OpenCLPlatformInterface::Operations::HasExtension>(name);
    }
};

}  // namespace nuvra
