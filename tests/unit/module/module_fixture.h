#pragma once

#include <gtest/gtest.h>

#include <optional>

#include "fake_opencl.h"
#include "nuvra/open_cl.h"
#include "test_host.h"

namespace nuvra::test {

/// "OK", the name of an OpenCL error's code, or the class of any other error.
std::string Describe(const ErrorRef& error);
/// The name of a code as `Describe` gives it.
std::string CodeName(Int32 code);
template <class R>
std::string Outcome(const R& result) {
    return Describe(result.GetError());
}

inline constexpr const char* kOutOfMemory = "nuvra.OutOfMemoryErrorObject";
inline constexpr const char* kNullPointer = "nuvra.NullPointerErrorObject";

/// The array as a `BaseArray`.
template <class T>
BaseArray<T> MakeArray(std::initializer_list<T> items) {
    BaseArray<T> array;
    for (const T& item : items) EXPECT_TRUE(array.Append(item).IsOk());
    return array;
}
/// A value as text, with the items of an array in brackets; "none" for an empty one.
std::string ToText(const Data& data);

/// A library of the fake runtime: "" is the whole one, otherwise the part of its name after "fake_opencl".
std::string FakeLibrary(const std::string& variant = "");

/// A rendering context as the module sees it: two handles, which are the numbers 17 and 34.
OpenGLContextRef MakeGLContext();

/// One object of each kind.
struct Objects {
    OpenCLContextRef context;
    OpenCLCommandQueueRef queue;
    OpenCLProgramRef program;
    OpenCLKernelRef kernel;
    OpenCLMemoryObjectRef buffer;
};

/// The module on a host of its own, on the fake runtime. At the end of a test nothing may be left: no object
/// of the module, no handle of the runtime, no wrong use of a handle.
class ModuleTest : public testing::Test {
protected:
    ModuleTest();
    void SetUp() override;
    void TearDown() override { Stop(); }

    void Start(const std::string& runtime);
    void Stop();

    /// Makes a context, a queue, a built program, a kernel and a buffer, and forgets the calls.
    void MakeObjects();
    BaseArray<cl_device_id> Devices() const;
    cl_platform_id Platform() const;
    /// The calls of a function since the last look, as texts; see `fake::Control::TextsOf`.
    Texts Take(const std::string& name);
    /// The names of all calls since the last look.
    Texts TakeNames();

    fake::Control& fake = fake::Control::Get();
    std::shared_ptr<host::Tracing> tracing;  ///< of the host that is started next
    std::optional<TestHost> host;            ///< the running host, with what it was asked and told
    /// Whether the module is one that shares memory with OpenGL, and `MakeObjects` makes a context that does.
    bool isSharing = false;
    int expectedLive = 0;    ///< handles that the end of the test may find alive
    UInt64 bufferSize = 64;  ///< of the objects' buffer, in bytes

    Objects cl;
};

}  // namespace nuvra::test
