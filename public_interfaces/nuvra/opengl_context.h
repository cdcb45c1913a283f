#pragma once

#include "nuvra/object.h"

namespace nuvra {

class OpenGLContextImpl;

/// An OpenGL rendering context, as far as sharing memory with it needs it. The application implements this
/// interface in a module of its own.
struct OpenGLContextInterface {
    static constexpr Id kId{"nuvra.OpenGLContextInterface#1"};
    static constexpr const char* kHeader = "nuvra/opengl_context.h";
    static constexpr bool kOptional = true;
    using Object = OpenGLContextImpl;

    struct Operations {
        void (*Destroy)(OpenGLContextImpl* context);
        /// The system's handle of the rendering context (HGLRC).
        void* (*GetRenderingContext)(const OpenGLContextImpl* context);
        /// The system's handle of the device context (HDC).
        void* (*GetDeviceContext)(const OpenGLContextImpl* context);
    };
};

class OpenGLContextRef : public ObjectRef<OpenGLContextInterface> {
public:
    using ObjectRef::ObjectRef;
    OpenGLContextRef() = default;

    void* GetRenderingContext() const {
        return Invoke<&OpenGLContextInterface::Operations::GetRenderingContext>();
    }
    void* GetDeviceContext() const { return Invoke<&OpenGLContextInterface::Operations::GetDeviceContext>(); }
};

}  // namespace nuvra
