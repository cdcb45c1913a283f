#pragma once

#include "nuvra/object.h"

namespace nuvra {

/// An object class as the host built it from its record; opaque to modules.
struct Class;

/// An object made of its class's components.
struct Object : ObjectHeader {
    const Class* objectClass = nullptr;
};

/// The null-pointer error of a program that has no host yet, and of a library that no host has filled: the
/// one error without a class. Its count never reaches 0.
inline constinit Object g_hostlessError{{{1}, 0}, nullptr};

class ErrorRef;
class String;

/// Error objects: a place, a class and a text. Any number of threads may read an error at once; a thread that
/// writes must be the only one.
struct ErrorInterface {
    static constexpr Id kId{"nuvra.ErrorInterface#1"};
    static constexpr const char* kHeader = "nuvra/error.h";
    static constexpr bool kOptional = false;
    using Object = nuvra::Object;

    struct Operations {
        void (*Destroy)(Object* error);
        /// The error's text. A component of the error's class may override this operation (same arguments,
        /// `component` being its data); otherwise it is the stored text.
        String (*GetMessage)(Object* error, void* component);
        /// The stored text, whatever overrides GetMessage.
        String (*GetStoredMessage)(Object* error);
        void (*SetMessage)(Object* error, const String& message);
        /// The file name stays valid as long as the error.
        SourceLocation (*GetLocation)(const Object* error);
        void (*SetLocation)(Object* error, SourceLocation location);
        /// The id of the error's class, "nuvra.OutOfMemoryErrorObject" for example.
        const char* (*GetClassId)(const Object* error);
        /// A new error of `errorClass`, or of the out-of-memory class when that is null or cannot be had;
        /// never empty. `message` may be null.
        ErrorRef (*Create)(const Class* errorClass, SourceLocation location, const char* message);
    };
};

class ErrorRef : public ObjectRef<ErrorInterface> {
public:
    using ObjectRef::ObjectRef;
    ErrorRef() = default;

    inline String GetMessage() const;
    inline void SetMessage(const String& message) const;
    SourceLocation GetLocation() const {
        return IsHostless() ? SourceLocation() : Invoke<&ErrorInterface::Operations::GetLocation>();
    }
    inline const char* GetClassId() const;

private:
    bool IsHostless() const { return *this && Get()->objectClass == nullptr; }
};

/// A tag that names an object class for `EntityReference`.
#define NUVRA_CLASS_TAG(name, declaredIn)                     \
    struct name {                                             \
        static constexpr Id kId{"nuvra." #name};              \
        static constexpr const char* kHeader = declaredIn;    \
        static constexpr UInt32 kReferenceFlags = kReference; \
    }

/// The host's error classes; `UnknownErrorObject` is any failure without a class of its own.
NUVRA_CLASS_TAG(OutOfMemoryErrorObject, "nuvra/error.h");
NUVRA_CLASS_TAG(NullPointerErrorObject, "nuvra/error.h");
NUVRA_CLASS_TAG(WrongValueTypeErrorObject, "nuvra/error.h");
NUVRA_CLASS_TAG(FunctionNotImplementedErrorObject, "nuvra/error.h");
NUVRA_CLASS_TAG(UnknownErrorObject, "nuvra/error.h");

const char* ErrorRef::GetClassId() const {
    if (IsHostless()) return NullPointerErrorObject::kId.GetText();
    return Invoke<&ErrorInterface::Operations::GetClassId>();
}

/// A new error of the tagged class, located at the caller.
template <class ErrorClass>
ErrorRef NewError(const char* message = nullptr, SourceLocation location = SourceLocation::Here()) {
    const auto* errors = Table<ErrorInterface>();
    if (errors == nullptr) [[unlikely]]
        return ErrorRef(&g_hostlessError);
    return errors->Create(EntityReference<ErrorClass, Class>::Get(), location, message);
}
inline ErrorRef OutOfMemoryError(SourceLocation location = SourceLocation::Here()) {
    return NewError<OutOfMemoryErrorObject>("out of memory", location);
}
inline ErrorRef NullPointerError(SourceLocation location = SourceLocation::Here()) {
    return NewError<NullPointerErrorObject>("an empty reference was used", location);
}

}  // namespace nuvra
