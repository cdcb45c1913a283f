#pragma once

#include "nuvra/data.h"
#include "nuvra/diagnostic.h"
#include "nuvra/dll.h"
#include "nuvra/registry.h"

/// The operation tables of the host's services.
namespace nuvra::host {

extern const System::Operations kSystemOperations;
extern const StringInterface::Operations kStringOperations;
extern const CStringInterface::Operations kCStringOperations;
extern const ErrorInterface::Operations kErrorOperations;
extern const ObjectInterface::Operations kObjectOperations;
extern const WeakPtrTarget::Operations kWeakOperations;
extern const Registry::Operations kRegistryOperations;
extern const Diagnostic::Operations kDiagnosticOperations;
extern const UrlInterface::Operations kUrlOperations;
extern const DllInterface::Operations kDllOperations;

/// A host object. Unlike `NewObject` it counts in no library: the host's code is never unloaded.
template <class T>
T* NewHostObject() {
    void* memory = kSystemOperations.Allocate(sizeof(T));
    return memory != nullptr ? new (memory) T() : nullptr;
}

template <class T>
void DeleteHostObject(T* object) noexcept {
    ClearWeakReferences(*object);
    object->~T();
    kSystemOperations.Free(object);
}

}  // namespace nuvra::host
