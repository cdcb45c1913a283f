#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "nuvra/registry.h"

namespace nuvra {

/// An object class: where each component's data lies in an object.
struct Class {
    struct Component {
        const ComponentRecord* record;
        Int offset;

        void* GetData(const Object* object) const {
            return reinterpret_cast<char*>(const_cast<Object*>(object)) + offset;
        }
    };

    std::string id;
    std::vector<Component> components;  ///< the base class's first
    Int size = sizeof(Object);
    std::atomic<Int>* liveObjects = nullptr;  ///< of the library that has the code; null for the host
};

}  // namespace nuvra

namespace nuvra::host {

/// The component that makes a class an error class; its data is an `ErrorData`.
extern const ComponentOperations kErrorComponentOperations;
extern const Int kErrorDataSize;

/// The id under which the component is registered.
inline std::string GetRegisteredId(const ComponentRecord& record) {
    return std::string(record.id.GetText()) + (record.typeName != nullptr ? record.typeName : "");
}

/// A new object with count 0, or null when the memory cannot be had.
Object* NewObjectOf(const Class& objectClass);

/// Fails, and writes a diagnostic, when the component was compiled against another version of an interface
/// than the one that the host knows.
Result<void> CheckInterfaces(const ComponentRecord& component);

/// The id of the module that registered the record.
const char* GetModuleId(const Record& record);

}  // namespace nuvra::host
