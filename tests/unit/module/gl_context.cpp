#include "gl_context.h"

#include "test_host.h"

namespace nuvra {

class OpenGLContextImpl : public ObjectHeader {};

}  // namespace nuvra

namespace nuvra::test {

namespace {

constexpr OpenGLContextInterface::Operations kOperations{
    DeleteObject<OpenGLContextImpl>,
    [](const OpenGLContextImpl*) { return reinterpret_cast<void*>(17); },
    [](const OpenGLContextImpl*) { return reinterpret_cast<void*>(34); },
};
constinit InterfaceRecord g_record =
    ImplementInterface<OpenGLContextInterface>("net.nuvra.test.gl", "TestContext", kOperations);
SourceUnit g_unit{g_program, "gl_context", {&g_record}};

}  // namespace

OpenGLContextRef MakeGLContext() {
    return OpenGLContextRef(NewObject<OpenGLContextImpl>());
}

}  // namespace nuvra::test
