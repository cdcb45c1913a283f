#pragma once

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "fake_opencl.h"

/// What the runtime's functions share: recording arguments, checking handles, answering.
namespace nuvra::fake {

template <class T, class... Handles>
constexpr int FindKind() {
    int found = -1;
    int kind = 0;
    ((found = std::is_same_v<T, Handles> ? kind : found, kind++), ...);
    return found;
}
/// In the order of `Kind`.
template <class T>
inline constexpr int kKindOf = FindKind<T, cl_platform_id, cl_device_id, cl_context, cl_command_queue, cl_mem,
                                        cl_program, cl_kernel, cl_event>();

/// An array argument to be recorded.
template <class T>
struct List {
    List(const T* first, std::size_t number) : items(first), count(number) {}
    const T* items;
    std::size_t count;
};

template <class T>
Value ToValue(T value) {
    if constexpr (kKindOf<T> >= 0)
        return Control::Get().Describe(static_cast<Kind>(kKindOf<T>), value);
    else if constexpr (std::is_function_v<std::remove_pointer_t<T>>)
        return static_cast<const void*>(reinterpret_cast<void*>(value));
    else if constexpr (std::is_pointer_v<T>)
        return static_cast<const void*>(value);
    else
        return static_cast<std::uint64_t>(value);
}
inline Value ToValue(const char* text) {
    if (text == nullptr) return static_cast<const void*>(nullptr);
    return std::string(text);
}
inline Value ToValue(Value value) {
    return value;
}
template <class T>
Value ToValue(List<T> list) {
    if (list.items == nullptr) return static_cast<const void*>(nullptr);
    if constexpr (std::is_same_v<T, std::uint8_t>) {
        return Bytes(list.items, list.items + list.count);
    } else if constexpr (kKindOf<T> >= 0) {
        Handles handles;
        for (std::size_t i = 0; i < list.count; i++)
            handles.push_back(std::get<Handle>(ToValue(list.items[i])));
        return handles;
    } else {
        return Numbers(list.items, list.items + list.count);
    }
}

template <class... A>
cl_int Record(const char* name, const A&... arguments) {
    return Control::Get().Record(name, {ToValue(arguments)...});
}

template <class H>
Object* Find(H handle) {
    return Control::Get().Find(static_cast<Kind>(kKindOf<H>), handle);
}

template <class H>
H Make(Object** made = nullptr) {
    Object& object = Control::Get().Make(static_cast<Kind>(kKindOf<H>));
    if (made != nullptr) *made = &object;
    return reinterpret_cast<H>(&object);
}

/// A release: drops a count whatever it is to answer or throw.
template <class H>
cl_int Release(const char* name, H handle, cl_int invalid) {
    const auto drop = [handle] {
        Object* object = Find(handle);
        if (object != nullptr) object->count--;
        return object != nullptr;
    };
    cl_int code = CL_SUCCESS;
    try {
        code = Record(name, handle);
    } catch (...) {
        drop();
        throw;
    }
    const bool isDropped = drop();
    if (code != CL_SUCCESS) return code;
    return isDropped ? CL_SUCCESS : invalid;
}

/// Ends a creating call: the failing code with no object, or a new object filled by `fill`.
template <class H, class Fill>
H Create(cl_int code, cl_int* codeOut, Fill fill) {
    H handle = nullptr;
    if (code == CL_SUCCESS) {
        Object* object = nullptr;
        handle = Make<H>(&object);
        fill(*object);
        code = Control::Get().createdCode;
    }
    if (codeOut != nullptr) *codeOut = code;
    return handle;
}

inline cl_int Answer(const Bytes& bytes, std::size_t size, void* value, std::size_t* sizeOut) {
    if (value != nullptr) {
        if (size < bytes.size()) return CL_INVALID_VALUE;
        std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t*>(value));
    }
    if (sizeOut != nullptr) *sizeOut = bytes.size();
    return CL_SUCCESS;
}

inline cl_int Answer(const Info& info, cl_uint which, std::size_t size, void* value, std::size_t* sizeOut) {
    const auto found = info.find(which);
    return found == info.end() ? CL_INVALID_VALUE : Answer(found->second, size, value, sizeOut);
}

/// An information query: `getInfo` gives the answers of the live object behind the handle.
template <class H, class GetInfo>
cl_int AnswerAbout(const char* name, H handle, cl_int invalid, cl_uint which, std::size_t size, void* value,
                   std::size_t* sizeOut, const GetInfo& getInfo) {
    if (const cl_int code = Record(name, handle, which, size, value, sizeOut)) return code;
    const Object* object = Find(handle);
    return object != nullptr ? Answer(getInfo(*object), which, size, value, sizeOut) : invalid;
}

/// The two-step list query: at most `room` handles, and their number.
template <class H>
cl_int AnswerList(const std::vector<Object*>& objects, cl_uint room, H* handles, cl_uint* count) {
    if (handles != nullptr)
        for (std::size_t i = 0; i < objects.size() && i < room; i++)
            handles[i] = reinterpret_cast<H>(objects[i]);
    if (count != nullptr) *count = static_cast<cl_uint>(objects.size());
    return CL_SUCCESS;
}

inline std::size_t PixelSize(const cl_image_format& format) {
    const auto isAny = [](cl_uint value, auto... others) {
        return ((value == static_cast<cl_uint>(others)) || ...);
    };
    const cl_uint order = format.image_channel_order;
    const cl_uint type = format.image_channel_data_type;
    const std::size_t channels = isAny(order, CL_RGBA, CL_BGRA, CL_ARGB) ? 4
                                 : order == CL_RGB                       ? 3
                                 : isAny(order, CL_RG, CL_RA)            ? 2
                                                                         : 1;
    if (isAny(type, CL_SNORM_INT8, CL_UNORM_INT8, CL_SIGNED_INT8, CL_UNSIGNED_INT8)) return channels;
    return channels * (isAny(type, CL_SIGNED_INT32, CL_UNSIGNED_INT32, CL_FLOAT) ? 4 : 2);
}

}  // namespace nuvra::fake
