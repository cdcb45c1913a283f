#pragma once

#include <filesystem>

#include "nuvra/host/host.h"
#include "nuvra/module.h"
#include "nuvra/open_cl.h"

namespace nuvra::bench {

extern host::Program g_program;

/// Throws `std::runtime_error` with the error's text, if there is an error.
void Check(const ErrorRef& error);
inline void Check(const Result<void>& result) {
    Check(result.GetError());
}
template <class T>
T Check(Result<T> result) {
    Check(result.GetError());
    return std::move(result).GetValue();
}

/// The host's options with `runtime` opened in place of the system's runtime; empty for the system's.
host::Options UseRuntime(const std::filesystem::path& runtime, std::shared_ptr<host::Tracing> tracing = {});

/// The host with the module started, and this program as a caller. Throws `std::runtime_error`.
class Framework {
public:
    /// `runtime` as for `UseRuntime`; `tracing` may be null.
    explicit Framework(const std::filesystem::path& runtime,
                       const std::filesystem::path& module = NUVRA_MODULE_FILE,
                       std::shared_ptr<host::Tracing> tracing = {});

    /// A context of the first platform's first device.
    static OpenCLContextRef CreateContext();

private:
    host::Host _host;
};

}  // namespace nuvra::bench
