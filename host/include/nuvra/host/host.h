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

/// A host's settings; file names are in UTF-8. The functions are called on whatever thread needs them and
/// must not throw.
struct Options {
    /// Libraries opened under another name: what a module asks for, and the file that it gets instead.
    std::map<std::string, std::string> redirects;
    /// Receives each diagnostic message, without a line end; standard error when empty.
    std::function<void(std::string_view message)> diagnostics;
    /// Asked before each allocation of the system service, on the allocating thread; false makes it fail.
    std::function<bool(Int size)> allow;
    /// Watches the OpenCL calls; null for nobody. The service behind it is then the host's: no module may
    /// bring one of its own, in this host and in later ones.
    std::shared_ptr<Tracing> tracing;
};

/// How many blocks of the system service are allocated at the moment, by whomever.
Int CountAllocations();

/// The framework that modules run in: the module "net.nuvra.core.framework" with its services, and the
/// loading, linking, starting and ending of other modules. One at a time in a process (a second one throws
/// `std::logic_error`), any number one after the other; used on one thread. Its services stay usable after
/// it, so that what a program still holds can be released.
///
/// Errors name the module and what is wrong with it.
class Host {
public:
    explicit Host(Options options = {});
    /// As `Shutdown`.
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Adds the program that calls the other modules; it must outlive the host.
    Result<void> AddProgram(Program& program);
    /// Adds the modules that are linked into the program itself; `name` is for messages, null for "the
    /// program".
    Result<void> AddModules(ModuleRecord* modules, const char* name);
    /// Loads a library and adds its modules. Fails, and leaves nothing loaded, when the file is no library or
    /// has no `g_privateModules`.
    Result<void> LoadModules(const std::filesystem::path& library);
    /// Starts everything added, once: checks the records, orders the modules by their dependencies, fills the
    /// references, registers classes, data types and registry entries, and runs the initializers. When
    /// something fails, what was started is taken down in reverse order and the libraries are unloaded.
    Result<void> Start();
    /// Runs the finalizers in reverse order, removes the registrations and unloads the libraries. A library
    /// with live objects is named in a diagnostic and stays loaded, unfinalized, with all it depends on.
    /// The result is the names of the principal modules that stay. They cannot be added again while their
    /// objects live, and are taken down when modules are added, or the next host begins, after that.
    std::vector<std::string> Shutdown();
};

}  // namespace nuvra::host
