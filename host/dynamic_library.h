#pragma once

#include <string>
#include <utility>

namespace nuvra::host {

/// What a library is opened for.
enum class LibraryUse {
    MODULE,   ///< found through its exported list, unloaded at the end
    RUNTIME,  ///< opened for a module; may stay in memory after closing: see `kRuntimesStayResident`
};

/// Whether closing a runtime leaves it in memory. So it is in builds with a leak checker, which can no longer
/// name what a runtime still holds once the runtime is gone, and reports it as a leak.
extern const bool kRuntimesStayResident;

/// A dynamic library, closed with the object.
class DynamicLibrary {
public:
    DynamicLibrary() = default;
    DynamicLibrary(DynamicLibrary&& other) noexcept : _handle(std::exchange(other._handle, nullptr)) {}
    DynamicLibrary& operator=(DynamicLibrary&& other) noexcept {
        std::swap(_handle, other._handle);
        return *this;
    }
    ~DynamicLibrary() { Close(); }

    /// Opens `name`: a file when it has a folder, otherwise whatever the system's search finds, on Windows in
    /// the system's folder alone. When that fails the object is not open and `reason` holds the loader's
    /// words.
    static DynamicLibrary Open(const std::string& name, LibraryUse use, std::string& reason);

    bool IsOpen() const { return _handle != nullptr; }
    /// The address of an exported name, or null with the loader's words in `reason`.
    void* Find(const char* symbol, std::string& reason) const;
    void Close();

private:
    void* _handle = nullptr;
};

}  // namespace nuvra::host
