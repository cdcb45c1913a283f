#pragma once

#include <string>
#include <utility>

namespace nuvra::host {

/// What a library is opened for.
enum class LibraryUse {
    MODULE,   ///< found through its exported list, unloaded at the end
    RUNTIME,  ///< opened for a module; may stay in memory after closing: see `kRuntimesStayResident`
    PART,     ///< of the program; its functions are bound when they are first called, where the system can
};

/// Whether closing a runtime leaves it in memory. True in builds with a leak checker: leaks are suppressed by
/// library name, which is gone once the library is unloaded.
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

    /// Opens `name`: a path when it has a folder, otherwise what the system's search finds, on Windows in the
    /// system's folder alone. On failure the object is not open and `reason` is the loader's message.
    static DynamicLibrary Open(const std::string& name, LibraryUse use, std::string& reason);

    bool IsOpen() const { return _handle != nullptr; }
    /// The address of an exported name, or null with the loader's message in `reason`.
    void* Find(const char* symbol, std::string& reason) const;
    void Close();

private:
    void* _handle = nullptr;
};

}  // namespace nuvra::host
