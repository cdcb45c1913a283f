#include "interface_table.h"
#include "object_class.h"
#include "services.h"

namespace nuvra::host {

namespace {

Result<AnyRef> Create(const Class* objectClass) noexcept {
    if (objectClass == nullptr) return NullPointerError();
    Object* object = NewObjectOf(*objectClass);
    if (object == nullptr) return OutOfMemoryError();
    return AnyRef(object);
}

void Destroy(Object* object) noexcept {
    ClearWeakReferences(*object);
    const auto& components = object->objectClass->components;
    std::atomic<Int>* liveObjects = object->objectClass->liveObjects;
    for (auto component = components.rbegin(); component != components.rend(); ++component)
        component->record->operations->destroy(component->GetData(object));
    object->~Object();
    kSystemOperations.Free(object);
    if (liveObjects != nullptr) liveObjects->fetch_sub(1, std::memory_order_release);
}

Result<AnyRef> Copy(const Object* object) noexcept {
    const auto& components = object->objectClass->components;
    for (const auto& component : components) {
        if (component.record->size == 0 || component.record->operations->copy != nullptr) continue;
        Diagnostic::Write("Component @ has members, but CopyFrom is not implemented!",
                          {GetRegisteredId(*component.record)});
        Diagnostic::Write("Stop", {});
        return NewError<FunctionNotImplementedErrorObject>("an object of this class cannot be copied");
    }
    NUVRA_ASSIGN_OR_RETURN(AnyRef copy, Create(object->objectClass));
    for (const auto& component : components) {
        const auto copyData = component.record->operations->copy;
        if (copyData != nullptr)
            NUVRA_RETURN_IF_ERROR(copyData(component.GetData(copy.Get()), component.GetData(object)));
    }
    return copy;
}

ObjectInterface::Binding FindInterface(Object* object, const Id& interfaceId) noexcept {
    if (object->objectClass == nullptr) return {};  // the fallback error, created before any host
    for (const auto& component : object->objectClass->components)
        for (Int i = 0; i < component.record->interfaceCount; i++)
            if (component.record->interfaces[i].id == interfaceId)
                return {component.record->interfaces[i].table, component.GetData(object)};
    return {};
}

Result<void> DescribeMembers(const Class* objectClass, BaseArray<MemberDescription>& members) noexcept {
    if (objectClass == nullptr) return NullPointerError();
    for (const auto& component : objectClass->components) {
        NUVRA_RETURN_IF_ERROR(CheckInterfaces(*component.record));
        const auto describe = component.record->operations->describe;
        if (describe != nullptr) NUVRA_RETURN_IF_ERROR(describe(members));
    }
    return {};
}

}  // namespace

constinit const ObjectInterface::Operations kObjectOperations{Destroy, Create, Copy, FindInterface,
                                                              DescribeMembers};

Object* NewObjectOf(const Class& objectClass) {
    void* memory = kSystemOperations.Allocate(objectClass.size);
    if (memory == nullptr) return nullptr;
    auto* object = new (memory) Object;
    object->objectClass = &objectClass;
    if (objectClass.liveObjects != nullptr) objectClass.liveObjects->fetch_add(1, std::memory_order_relaxed);
    for (const auto& component : objectClass.components)
        component.record->operations->construct(component.GetData(object));
    return object;
}

const char* GetModuleId(const Record& record) {
    const Record* module = record.owner != nullptr ? record.owner->owner : nullptr;
    return module != nullptr ? module->id.GetText() : "";
}

}  // namespace nuvra::host
