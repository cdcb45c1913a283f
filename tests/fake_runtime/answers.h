#pragma once

#include <cstring>
#include <type_traits>

#include "fake_opencl.h"

/// What the runtime's functions share: recording arguments, checking handles, answering.
namespace nuvra::fake {

/// Of handles: their name, and the code for one that is no live object.
struct HandleKind {
    const char* name = nullptr;
    cl_int invalid = CL_SUCCESS;
};
template <class H>
inline constexpr HandleKind kKind{};
#define HANDLE_KIND(H, name, invalid) \
    template <>                       \
    inline constexpr HandleKind kKind<H>{name, invalid};
HANDLE_KIND(cl_platform_id, "platform", CL_INVALID_PLATFORM)
HANDLE_KIND(cl_device_id, "device", CL_INVALID_DEVICE)
HANDLE_KIND(cl_context, "context", CL_INVALID_CONTEXT)
HANDLE_KIND(cl_command_queue, "queue", CL_INVALID_COMMAND_QUEUE)
HANDLE_KIND(cl_mem, "memory", CL_INVALID_MEM_OBJECT)
HANDLE_KIND(cl_program, "program", CL_INVALID_PROGRAM)
HANDLE_KIND(cl_kernel, "kernel", CL_INVALID_KERNEL)
HANDLE_KIND(cl_event, "event", CL_INVALID_EVENT)

/// An array argument, and the code for handles in it that are no live objects.
template <class T>
struct List {
    List(const T* first, std::size_t number, cl_int code = kKind<T>.invalid)
        : items(first), count(number), invalid(code) {}
    const T* items;
    std::size_t count;
    cl_int invalid;
};

template <class T>
Value ToValue(T value) {
    if constexpr (std::is_same_v<T, Value>)
        return value;
    else if constexpr (std::is_integral_v<T>)
        return static_cast<std::uint64_t>(value);
    else if constexpr (kKind<T>.name != nullptr)
        return Control::Get().Describe(value);
    else if constexpr (std::is_function_v<std::remove_pointer_t<T>>)
        return static_cast<const void*>(reinterpret_cast<void*>(value));
    else
        return static_cast<const void*>(value);
}
inline Value ToValue(const char* text) {
    if (text == nullptr) return static_cast<const void*>(nullptr);
    return std::string(text);
}
template <class T>
Value ToValue(List<T> list) {
    if (list.items == nullptr) return static_cast<const void*>(nullptr);
    if constexpr (kKind<T>.name != nullptr) {
        Handles handles;
        for (std::size_t i = 0; i < list.count; i++) handles.push_back(Control::Get().Find(list.items[i]));
        return handles;
    } else {
        using Copy = std::conditional_t<sizeof(T) == 1, Bytes, Numbers>;
        return Copy(list.items, list.items + list.count);
    }
}

/// The code for an argument that is no live object, or an array that holds such.
template <class T>
cl_int Check(const T& value) {
    if constexpr (kKind<T>.name != nullptr)
        return Control::Get().Check(kKind<T>.name, value) ? CL_SUCCESS : kKind<T>.invalid;
    return CL_SUCCESS;
}
template <class T>
cl_int Check(const List<T>& list) {
    if (std::is_same_v<T, cl_event> && (list.count == 0) != (list.items == nullptr)) return list.invalid;
    for (std::size_t i = 0; list.items != nullptr && i < list.count; i++)
        if (Check(list.items[i]) != CL_SUCCESS) return list.invalid;
    return CL_SUCCESS;
}

/// Records a call. The code is that which it is to fail with, or the first for an invalid handle.
template <class... A>
cl_int Record(const char* name, const A&... arguments) {
    cl_int code = Control::Get().Record(name, {ToValue(arguments)...});
    ((code = code == CL_SUCCESS ? Check(arguments) : code), ...);
    return code;
}

/// The object behind a handle that was checked.
template <class H>
Object& Get(H handle) {
    return *reinterpret_cast<Object*>(handle);
}

/// Drops a count whatever it is to answer or throw.
template <class H>
cl_int Release(const char* name, H handle) {
    const std::shared_ptr<Object> drop(Control::Get().Find(handle), [](Object* object) {
        if (object != nullptr && object->count > 0) object->count--;
    });
    return Record(name, handle);
}

/// Ends a creating call: the failing code with no object, or a new object filled by `fill`.
template <class H, class Fill>
H Create(cl_int code, cl_int* codeOut, const Fill& fill) {
    Object* object = nullptr;
    if (code == CL_SUCCESS) {
        object = &Control::Get().Make(kKind<H>.name);
        fill(*object);
        code = Control::Get().createdCode;
    }
    if (codeOut != nullptr) *codeOut = code;
    return reinterpret_cast<H>(object);
}

inline cl_int Answer(const Bytes& bytes, std::size_t size, void* value, std::size_t* sizeOut) {
    if (value != nullptr) {
        if (size < bytes.size()) return CL_INVALID_VALUE;
        std::ranges::copy(bytes, static_cast<std::uint8_t*>(value));
    }
    if (sizeOut != nullptr) *sizeOut = bytes.size();
    return CL_SUCCESS;
}

/// An information query about an object, and for which others.
template <class H, class... Others>
cl_int AnswerAbout(const char* name, cl_uint which, std::size_t size, void* value, std::size_t* sizeOut,
                   H handle, Others... others) {
    if (const cl_int code = Record(name, handle, others..., which, size, value, sizeOut)) return code;
    const auto found = Get(handle).info.find(which);
    return found == Get(handle).info.end() ? CL_INVALID_VALUE : Answer(found->second, size, value, sizeOut);
}

/// The two-step list query: at most `room` items, and their number.
template <class T, class Item>
cl_int AnswerList(const std::vector<Item>& items, cl_uint room, T* list, cl_uint* count) {
    const auto* first = reinterpret_cast<const T*>(items.data());
    if (list != nullptr) std::copy_n(first, std::min<std::size_t>(room, items.size()), list);
    if (count != nullptr) *count = static_cast<cl_uint>(items.size());
    return CL_SUCCESS;
}

}  // namespace nuvra::fake
