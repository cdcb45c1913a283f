#pragma once

#include "nuvra/open_cl_platform.h"

namespace nuvra {

class OpenCLPlatformImpl : public ObjectHeader {
public:
    /// Reads the platform's texts; UNSPECIFIED when its version does not parse.
    Result<void> Init(cl_platform_id platform);

    Result<Data> GetInfo(UInt32 which) const;
    Result<void> GetDevices(BaseArray<OpenCLDeviceRef>& devices) const;
    Bool HasExtension(const String& name) const;

private:
    cl_platform_id _platform = nullptr;
    String _name;
    String _profile;
    String _version;
    String _vendor;
    Int64 _versionNumber = 0;
    BaseArray<String> _extensions;
};

/// Appends objects for the platform's devices; fails as `OpenCLPlatformRef::GetDevices`, with `devices` half
/// filled.
Result<void> ListDevices(cl_platform_id platform, BaseArray<OpenCLDeviceRef>& devices);

}  // namespace nuvra
