#pragma once

#include <functional>
#include <map>
#include <string>

#include "module_image.h"

namespace nuvra::host {

/// Whether a table, class or data type filled in earlier remains valid though it is no longer registered.
using StaysValid = std::function<bool(const void* address)>;

/// The interfaces that the modules at hand declare and implement.
class InterfaceTable {
public:
    /// Fails when an interface is already implemented.
    Result<void> Add(const Module& module);
    /// Fails when the module declares or references an implemented interface with another number of
    /// operations, or references one that is not optional and that nothing implements.
    Result<void> Check(const Module& module) const;
    /// The former of the two alone: for the program's references, which may stay empty.
    Result<void> CheckCounts(const Module& module) const;
    /// Writes the tables into the module's declarations and references. Where there is none the record
    /// becomes null, unless `stays` says that what it holds remains valid.
    void Fill(const Module& module, const StaysValid& stays) const;
    /// Forgets all but the modules of `image`.
    void RemoveAllBut(const Image& image);

    /// The number of operations of an interface; 0 when no module declares or implements it.
    Int FindOperationCount(const Id& interfaceId) const;

private:
    struct Interface {
        const InterfaceRecord* implementation = nullptr;
        const Module* implementer = nullptr;
        Int declaredCount = 0;
    };

    const Interface* Find(const Id& interfaceId) const;
    Result<void> CheckCount(const Module& module, const InterfaceRecord& record) const;

    std::map<std::string, Interface, std::less<>> _interfaces;
};

/// The interfaces that the running host knows.
InterfaceTable& GetInterfaces();

}  // namespace nuvra::host
