#include "nuvra/opencl_interface_trace.h"
#include "tracing/signatures.h"
#include "tracing_fixture.h"

namespace nuvra::test {
namespace {

using DecodingTest = TracingTest;

/// The values that a code has: an array is one.
size_t CountValues(std::string_view code) {
    return static_cast<size_t>(std::ranges::count_if(code, [](char c) { return c != 'a' && c != 'x'; }));
}

TEST_F(DecodingTest, EveryCodeOfEveryFunctionHasItsParametersByName) {
    const auto expectKnown = [](const char* name, std::string code) {
        std::erase(code, '-');
        const host::Function* function = host::FindFunction(name);
        ASSERT_NE(function, nullptr) << name;
        const host::Signature* signature = function->Find(code);
        ASSERT_NE(signature, nullptr) << name << ' ' << code;
        EXPECT_EQ(signature->parameters.size(), CountValues(code)) << name << ' ' << code;
    };
#define OPENCL_ENTRY(presence, name, before, after)                                                 \
    for (const std::string_view code : entry::name::kBefore) expectKnown(#name, std::string(code)); \
    for (const std::string_view code : entry::name::kAfter) expectKnown(#name, std::string(code));
#include "nuvra/opencl_entries.def"
#undef OPENCL_ENTRY
    expectKnown("clGetGLContextInfoKHR", "rVsppx");
    expectKnown("clGetGLContextInfoKHR", "iaPs");
}

}  // namespace
}  // namespace nuvra::test
