#include "error_service.h"

#include <cstring>
#include <mutex>
#include <new>

#include "object_class.h"
#include "services.h"
#include "text_service.h"

namespace nuvra::host {

namespace {

/// The data of the component that every error class has. The file name is copied: the library whose literal
/// it was may be unloaded before the error is released.
struct ErrorData {
    std::mutex mutex;  ///< guards the message, which a class may derive and store when it is asked
    String message;
    Int32 line = 0;
    char file[124] = "";

    String GetMessage() {
        const std::lock_guard lock(mutex);
        return message;
    }
    void SetMessage(String text) {
        const std::lock_guard lock(mutex);
        std::swap(message, text);
    }

    void SetFile(const char* name) {
        const size_t length = std::strlen(name);
        if (length >= sizeof file) {
            name += length - (sizeof file - 1);  // of a long path, the folders nearest to the file
            if (const char* folder = std::strchr(name, '/')) name = folder + 1;
        }
        std::memcpy(file, name, std::strlen(name) + 1);
    }
};

/// Returned where memory for an error is lacking, to several threads at once; immutable for that reason.
Object* g_fallback = nullptr;

/// The component of an error class; null for a class of another kind.
const Class::Component* FindComponent(const Class* objectClass) {
    if (objectClass == nullptr) return nullptr;
    for (const auto& component : objectClass->components)
        if (component.record->operations == &kErrorComponentOperations) return &component;
    return nullptr;
}

ErrorData* FindData(const Object* error) {
    const Class::Component* component = FindComponent(error->objectClass);
    return component != nullptr ? static_cast<ErrorData*>(component->GetData(error)) : nullptr;
}

String GetStoredMessage(Object* error) noexcept {
    ErrorData* data = FindData(error);
    return data != nullptr ? data->GetMessage() : String();
}

/// The operation of a derived class takes precedence over those of its bases.
String GetMessage(Object* error, void*) noexcept {
    const auto& components = error->objectClass->components;
    for (auto component = components.rbegin(); component != components.rend(); ++component) {
        for (Int i = 0; i < component->record->interfaceCount; i++) {
            const ComponentInterface& implemented = component->record->interfaces[i];
            if (!(implemented.id == ErrorInterface::kId)) continue;
            const auto* table = static_cast<const ErrorInterface::Operations*>(implemented.table);
            if (table != nullptr && table->GetMessage != nullptr)
                return table->GetMessage(error, component->GetData(error));
        }
    }
    return GetStoredMessage(error);
}

void SetMessage(Object* error, const String& message) noexcept {
    ErrorData* data = FindData(error);
    if (data != nullptr && error != g_fallback) data->SetMessage(message);
}

SourceLocation GetLocation(const Object* error) noexcept {
    const ErrorData* data = FindData(error);
    return data != nullptr ? SourceLocation{data->file, data->line} : SourceLocation();
}

void SetLocation(Object* error, SourceLocation location) noexcept {
    ErrorData* data = FindData(error);
    if (data == nullptr || error == g_fallback) return;
    data->SetFile(location.file != nullptr ? location.file : "");
    data->line = location.line;
}

const char* GetClassId(const Object* error) noexcept {
    return error->objectClass->id.c_str();
}

void Destroy(Object* error) noexcept {
    kObjectOperations.Destroy(error);
}

ErrorRef Create(const Class* errorClass, SourceLocation location, const char* message) noexcept {
    if (FindComponent(errorClass) == nullptr) errorClass = g_fallback->objectClass;
    Object* object = NewObjectOf(*errorClass);
    if (object == nullptr) return ErrorRef(g_fallback);
    ErrorRef error(object);
    SetLocation(object, location);
    if (message != nullptr && *message != '\0') SetMessage(object, String(NewStringBuffer(message)));
    return error;
}

}  // namespace

constinit const ErrorInterface::Operations kErrorOperations{
    Destroy, GetMessage, GetStoredMessage, SetMessage, GetLocation, SetLocation, GetClassId, Create};

constinit const Int kErrorDataSize = sizeof(ErrorData);
constinit const ComponentOperations kErrorComponentOperations{
    [](void* data) { new (data) ErrorData; }, [](void* data) { static_cast<ErrorData*>(data)->~ErrorData(); },
    [](void* to, const void* from) -> Result<void> {
        auto& copy = *static_cast<ErrorData*>(to);
        auto& original = *static_cast<ErrorData*>(const_cast<void*>(from));
        copy.message = original.GetMessage();
        copy.line = original.line;
        std::memcpy(copy.file, original.file, sizeof copy.file);
        return {};
    },
    nullptr};

void PrepareFallbackError(const Class* errorClass) {
    Object* object = NewObjectOf(*errorClass);
    if (object == nullptr) throw std::bad_alloc();
    object->count = 1;  // never released
    SetMessage(object, String(NewStringBuffer("out of memory")));
    g_fallback = object;
}

}  // namespace nuvra::host
