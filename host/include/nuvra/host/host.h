#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "nuvra/host/program.h"
#include "nuvra/host/tracing.h"
#include "nuvra/registry.h"

namespace nuvra::host {

/// A host's settings. File names are UTF-8. The functions may be called on any thread and must not throw.
struct Options {
    /// By the library name that a module opens: the file that is opened instead.
    std::map<std::string, std::string> redirects;
    /// Receives each diagnostic message, without a line end; standard error when empty.
    std::function<void(std::string_view message)> diagnostics;
    /// Asked before each allocation of the system service, on the allocating thread; false makes it fail.
    std::function<bool(Int size)> allow;
    /// Watches the OpenCL calls; may be null. Once a host has set it, the host implements the tracing
    /// service, and no module may do so in this host or a later one.
    std::shared_ptr<Tracing> tracing;
};

/// The number of live blocks of the system service, whoever allocated them.
Int CountAllocations();

/// The framework that modules run in: the module "net.nuvra.core.framework" with its services, and the
/// loading, linking, starting and ending of other modules. One at a time in a process (a second one throws
/// `std::logic_error`), any number in succession; used on one thread. The services stay usable after it ends,
/// so that a program can release the objects that it still holds.
///
/// Errors name the module and the mistake.
class Host {
public:
    explicit Host(Options options = {});
    /// As `Shutdown`.
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Adds the program that calls the other modules; it must outlive the host.
    Result<void> AddProgram(Program& program);
    /// Adds the modules that are linked into the program; messages call them `name`, null for "the program".
    Result<void> AddModules(ModuleRecord* modules, const char* name);
    /// Loads a library and adds its modules. Fails, and loads nothing, when the file is no library or exports
    /// no `g_privateModules`.
    Result<void> LoadModules(const std::filesystem::path& library);
    /// Starts everything added, once: checks the records, orders the modules by their dependencies, fills the
    /// references, registers classes, data types and registry entries, and runs the initializers. On failure
    /// the modules already started are taken down in reverse order and the libraries are unloaded.
    Result<void> Start();
    /// Runs the finalizers in reverse order, removes the registrations and unloads the libraries. A library
    /// with live objects is named in a diagnostic and stays loaded, unfinalized, with all it depends on.
    /// The result is the ids of the modules that stay. They cannot be added again while their objects live,
    /// and are taken down when modules are added or a host is created after that.
    std::vector<std::string> Shutdown();
};

}  // namespace nuvra::host
