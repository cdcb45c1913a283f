#include "nuvra/host/host.h"

#include "format.h"
#include "framework.h"
#include "no_throw.h"
#include "nuvra/host/file_name.h"

namespace nuvra::host {

Host::Host(Options options) {
    Framework::Get().Open(std::move(options));
}

Host::~Host() {
    Shutdown();
    Framework::Get().Close();
}

Result<void> Host::AddProgram(Program& program) {
    return AddModules(program.GetModules(), program.name);
}

Result<void> Host::AddModules(ModuleRecord* modules, const char* name) {
    return WithoutExceptions([&] {
        Framework::Get().TakeDownKept();
        auto image = std::make_unique<Image>();
        image->name = name != nullptr ? name : "the program";
        image->records = modules;
        return Framework::Get().Add(std::move(image));
    });
}

Result<void> Host::LoadModules(const std::filesystem::path& library) {
    return WithoutExceptions([&]() -> Result<void> {
        // First, so that a kept library without objects is unloaded and loaded afresh.
        Framework::Get().TakeDownKept();
        auto image = std::make_unique<Image>();
        image->name = ToText(library);
        std::string reason;
        // Absolute: a bare name would make the system search for it.
        image->library =
            DynamicLibrary::Open(ToText(std::filesystem::absolute(library)), LibraryUse::MODULE, reason);
        if (!image->library.IsOpen())
            return MakeError("cannot load the module library @: @", {image->name, reason});
        const void* list = image->library.Find("g_privateModules", reason);
        if (list == nullptr)
            return MakeError("@ is no module library, it has no g_privateModules: @", {image->name, reason});
        image->records = *static_cast<ModuleRecord* const*>(list);
        return Framework::Get().Add(std::move(image));
    });
}

Result<void> Host::Start() {
    return Framework::Get().Start();
}

std::vector<std::string> Host::Shutdown() {
    return Framework::Get().TakeDown();
}

}  // namespace nuvra::host
