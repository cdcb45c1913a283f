#include "test_host.h"

// Asked for far too much memory, the sanitizer is to answer as the C library does. The sanitizer looks this
// function up by name.
extern "C" NUVRA_EXPORT const char* __asan_default_options();  // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __asan_default_options() {              // NOLINT(bugprone-reserved-identifier)
    return "allocator_may_return_null=1";
}

namespace nuvra::test {

constinit host::Program g_program{"test.program", "the test program", {"net.nuvra.core.framework"}};

TestHost::TestHost(std::map<std::string, std::string> redirects, std::shared_ptr<host::Tracing> tracing)
    : host({.redirects = std::move(redirects),
            .diagnostics = [this](std::string_view message) { diagnostics.emplace_back(message); },
            .allow = [this](Int) { return allocations.Allows(); },
            .tracing = std::move(tracing)}) {}

Result<void> TestHost::Start(const Texts& libraries) {
    NUVRA_RETURN_IF_ERROR(host.AddProgram(g_program));
    for (const std::string& library : libraries) NUVRA_RETURN_IF_ERROR(host.LoadModules(library));
    return host.Start();
}

String MakeText(std::string_view text) {
    return String::FromCText(text).GetValue();
}

}  // namespace nuvra::test
