#pragma once

#include <optional>
#include <string>
#include <vector>

#include "console/environment.h"
#include "console/failure.h"
#include "device/device_list.h"
#include "nuvra/host/host.h"
#include "system/library_job.h"

namespace nuvra::app {

/// A device ready for work.
struct Device {
    std::string name;
    OpenCLContextRef context;
    OpenCLCommandQueueRef queue;

    /// The task registered under `key`, built for the device.
    OpenCLTaskRef GetTask(const char* key) const;
    /// The task's `Execute`; `parameters` is its own record.
    void Run(const OpenCLTaskRef& task, const char* key, const void* parameters) const;
    /// The result's value; otherwise throws the failure "cannot ACTION on DEVICE: ERROR".
    template <class T>
    T Check(Result<T> result, const std::string& action) const {
        return app::Check(std::move(result), "cannot " + action + " on " + Quote(name));
    }
};

/// The host with the module, from construction to destruction. Must outlive every object that it gave. Every
/// operation throws `Failure`.
class Session {
public:
    /// Starts the host. What the modules say goes to the environment's diagnostics.
    explicit Session(Environment& environment);

    /// Every platform with its devices; a platform whose devices cannot be had says why.
    std::vector<PlatformEntry> ListPlatforms();

    /// A context and a queue for the device that the options choose.
    Device OpenDevice();

private:
    [[noreturn]] void FailWithoutRuntime(const ErrorRef& error);
    [[noreturn]] void FailWithoutPlatforms(const std::string& reason) const;

    Environment& _environment;
    LibraryJob _job{"the OpenCL runtime failed"};
    std::optional<LibraryJob> _deviceJob;  ///< once the device is known
    host::Host _host;
};

}  // namespace nuvra::app
