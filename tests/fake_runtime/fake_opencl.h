#pragma once

#include <CL/cl.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

/// An OpenCL runtime for tests. The library `fake_opencl` exports the C functions; what they answer and what
/// they were asked is kept in the `Control`, which a test program links and so shares with every build of the
/// runtime that a module loads.
namespace nuvra::fake {

struct Object;
using Bytes = std::vector<std::uint8_t>;
using Numbers = std::vector<std::uint64_t>;
using Handles = std::vector<const Object*>;

/// A recorded argument. Arrays are copied; a null array is a null pointer.
using Value = std::variant<std::uint64_t, const void*, std::string, Bytes, Numbers, const Object*, Handles>;

struct Call {
    std::string name;
    std::vector<Value> values;  ///< one an argument
};

/// "clFinish(queue1)", "null" for a null pointer and "ptr" for any other, bytes in hexadecimal.
std::string ToText(const Call& call);

/// Answers to information queries, as the bytes that the runtime writes.
using Info = std::map<cl_uint, Bytes>;
Bytes TextBytes(const std::string& text);  ///< with its NUL
template <class T>
Bytes NumberBytes(const std::vector<T>& numbers) {
    const auto* first = reinterpret_cast<const std::uint8_t*>(numbers.data());
    return Bytes(first, first + numbers.size() * sizeof(T));
}

/// What a handle points to. A released object stays in memory until the next `Reset`, so that its later use
/// is noticed.
struct Object {
    std::string name;  ///< "queue1": objects of a kind are numbered from 1
    int count = 1;
    Info info;
    std::vector<Object*> devices;        ///< of a platform, a context or a program
    Bytes bytes;                         ///< of memory, of which a large one keeps the beginning
    std::size_t byteCount = 0;           ///< of memory
    bool isImage = false;                ///< memory: no buffer
    std::string text;                    ///< a program's source
    bool isBuilt = false;                ///< or made of a binary
    bool isSharing = false;              ///< contexts and queues: with OpenGL
    std::map<cl_uint, Value> arguments;  ///< of a kernel
};

/// Ends the process with a sentence when some real runtime does not survive the call.
void EndIfDeadly(const Call& call);

class Control {
public:
    static Control& Get();

    /// Forgets everything, with one platform that has one device.
    void Reset();

    /// What the runtime offers; a test may change any of it at any time.
    std::vector<Object*> platforms;
    std::vector<cl_image_format> imageFormats;
    std::string buildLog;
    Bytes binary;
    Info workGroupInfo;               ///< of the kernels that are created next
    cl_int createdCode = CL_SUCCESS;  ///< written by the creating calls that succeed
    bool allowsNoDevices = false;     ///< lets a context have none
    /// What can share with any OpenGL context; without it, the runtime has no clGetGLContextInfoKHR.
    std::optional<std::vector<Object*>> sharingDevices;
    Object& AddPlatform(const std::string& name);
    Object& AddDevice(Object& platform, const std::string& name);

    /// Makes the nth call (from 1; 0: every call) of the function (empty: of all functions together) fail. A
    /// failing release releases all the same.
    void Fail(const std::string& name, cl_int code, int nth = 0) { _failures.push_back({name, code, nth}); }
    void FailNothing() { _failures.clear(); }
    /// Asked about each call; a code other than 0 makes it fail.
    std::function<cl_int(const Call& call)> intercept;

    std::vector<Call> calls;
    std::vector<std::string> faults;  ///< handles unknown, released twice or used after their release
    /// The calls of a function as texts, without its name.
    std::vector<std::string> TextsOf(const std::string& name) const;
    /// Objects that are not released yet, platforms and devices aside.
    int CountLive() const;

    /// For the runtime's functions: records a call and gives the code that it is to fail with, if any.
    cl_int Record(const char* name, std::vector<Value> values);
    Object& Make(const std::string& kind);
    /// Whether it is a live object of that kind; anything else but a null handle is a fault.
    bool Check(const std::string& kind, const void* handle);
    Object* Find(const void* handle) const;  ///< released or not, or null
    Value Describe(const void* pointer) const;
    /// "queue1" for a handle, "null", or "ptr" for any other address.
    std::string NameOf(const void* pointer) const;

private:
    struct Failure {
        std::string name;
        cl_int code;
        int nth;
        int seen = 0;
    };
    std::vector<Failure> _failures;
    std::vector<std::unique_ptr<Object>> _objects;
};

}  // namespace nuvra::fake
