#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "class_table.h"
#include "module_image.h"
#include "nuvra/host.h"

namespace nuvra::host {

/// Images that belong together, and their modules in the order of starting once that is known.
struct Assembly {
    std::vector<std::unique_ptr<Image>> images;
    std::vector<Module*> order;
};

/// What hosts stand on. It is made with the process's first host and never ends, so that objects that outlive
/// their host can still be used and released: the host's own module is always there.
class Framework {
public:
    static Framework& Get();

    /// Begins a host. Modules that an earlier host had to leave loaded are taken down now if they can be.
    /// Throws `std::logic_error` while another host exists.
    void Open(Options options);
    void Close();
    Result<void> Add(std::unique_ptr<Image> image);
    Result<void> Start();
    /// The names of the modules that stay.
    std::vector<std::string> TakeDown();

private:
    Framework();

    void OfferTracing();
    Result<void> StartModules();
    /// Fills the modules' references with what is registered; what they hold of kept modules stays.
    void Fill(const std::vector<Module*>& modules) const;

    Assembly _core;  ///< the host itself, which never ends
    ClassTable _classes;
    Assembly _current;
    Assembly _kept;  ///< of earlier hosts, with objects alive
    std::optional<Options> _options;
    bool _isStarted = false;
};

}  // namespace nuvra::host
