#pragma once

#include "nuvra/open_cl_platform.h"

namespace nuvra {

class OpenCLPlatformImpl : public ObjectHeader {
public:
    /// Reads the platform's texts; UNSPECIFIED when its version does not parse.
    Result<void> Init(cl_platform_id platform);

    cl_platform_id id = nullptr;
    String name;
    String profile;
    String version;
    String vendor;
    Int64 versionNumber = 0;
    BaseArray<String> extensions;
};

/// Fills the empty array `devices` with objects for the platform's devices; fails as
/// `OpenCLPlatformRef::GetDevices`, with `devices` half filled.
Result<void> ListDevices(cl_platform_id platform, BaseArray<OpenCLDeviceRef>& devices);

}  // namespace nuvra
