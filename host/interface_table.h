#pragma once

#include <functional>
#include <map>
#include <string>

#include "module_image.h"

namespace nuvra::host {

/// Whether a table, class or data type that a reference holds remains valid though it is no longer
/// registered.
using StaysValid = std::function<bool(const void* address)>;

/// The interfaces that the added modules declare and implement.
class InterfaceTable {
public:
    /// Fails when an interface is already implemented.
    Result<void> Add(const Module& module);
    /// Fails when the module declares or references an implemented interface with another number of
    /// operations, or references one that is not optional and that nothing implements.
    Result<void> Check(const Module& module) const;
    /// Checks the numbers of operations alone: for the program's references, which may stay empty.
    Result<void> CheckCounts(const Module& module) const;
    /// Writes the tables into the module's declarations and references. A record without a table becomes
    /// null, unless `stays` says that its present value remains valid.
    void Fill(const Module& module, const StaysValid& stays) const;
    /// Removes everything except the modules of `image`.
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
