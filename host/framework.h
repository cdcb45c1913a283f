#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "class_table.h"
#include "module_image.h"
#include "nuvra/host/host.h"

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

    /// Begins a host. Throws `std::logic_error` while another host exists.
    void Open(Options options);
    void Close();
    /// Takes the modules down that an earlier end had to leave loaded, where that can be done by now. Not in
    /// a running host.
    void TakeDownKept();
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
    Assembly _kept;  ///< with objects alive at an earlier end
    std::optional<Options> _options;
    bool _isStarted = false;
};

}  // namespace nuvra::host
