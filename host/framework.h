#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "assembly.h"
#include "class_table.h"
#include "nuvra/host/host.h"

namespace nuvra::host {

/// The process-wide state behind `Host`. Created with the first host and leaked, so that objects that outlive
/// their host can still be used and released: the host's own module is always registered.
class Framework {
public:
    static Framework& Get();

    /// Begins a host. Throws `std::logic_error` while another host exists.
    void Open(Options options);
    void Close();
    /// Takes down the modules that an earlier host left loaded and whose objects are gone by now. Does
    /// nothing while a host is started.
    void TakeDownKept();
    Result<void> Add(std::unique_ptr<Image> image);
    Result<void> Start();
    /// The names of the modules that stay.
    std::vector<std::string> TakeDown();

private:
    Framework();

    void OfferTracing();
    Result<void> StartModules();
    /// Fills the modules' references with what is registered. References into kept modules stay.
    void Fill(const std::vector<Module*>& modules) const;

    Assembly _core;  ///< the host itself, never taken down
    ClassTable _classes;
    Assembly _current;
    Assembly _kept;  ///< had live objects when an earlier host ended
    std::optional<Options> _options;
    bool _isStarted = false;
};

}  // namespace nuvra::host
