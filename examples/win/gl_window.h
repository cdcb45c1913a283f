#pragma once

#include <vector>

#include "nuvra/opengl_context.h"

namespace nuvra {

/// The OpenGL context object that the module is given: the handles of a window's rendering context, which
/// must outlive it.
class OpenGLContextImpl : public ObjectHeader {
public:
    OpenGLContextImpl(void* rendering, void* device) : renderingContext(rendering), deviceContext(device) {}

    void* renderingContext;
    void* deviceContext;
};

inline constexpr OpenGLContextInterface::Operations kOpenGLContextOperations{
    DeleteObject<OpenGLContextImpl>,
    [](const OpenGLContextImpl* context) { return context->renderingContext; },
    [](const OpenGLContextImpl* context) { return context->deviceContext; },
};

/// Pixels of a texture or of a window: RGBA, row after row.
using Rgba = std::vector<UChar>;

/// A window with a rendering context, which is current on the thread that made it. It is shown once something
/// is drawn.
class GLWindow {
public:
    /// `width` and `height` are pixels inside of the frame. Throws `std::runtime_error` where the system has
    /// no such window.
    GLWindow(const wchar_t* title, int width, int height);
    ~GLWindow();
    GLWindow(const GLWindow&) = delete;
    GLWindow& operator=(const GLWindow&) = delete;

    /// An object for the module; empty without memory.
    OpenGLContextRef MakeContextObject() const;

    /// A texture of `side` x `side` pixels; its number.
    UInt32 MakeTexture(int side, const Rgba& pixels);
    Rgba ReadTexture(UInt32 texture, int side) const;
    void WriteTexture(UInt32 texture, int side, const Rgba& pixels);
    /// Waits until all that was asked of OpenGL is done, as OpenCL needs it before it takes a texture.
    void Finish();

    /// Draws two textures side by side. The result is what then stands in the window.
    Rgba Draw(UInt32 left, UInt32 right);
    /// Shows what was drawn until the person closes the window.
    void WaitUntilClosed();

private:
    void* _window = nullptr;
    void* _deviceContext = nullptr;
    void* _renderingContext = nullptr;
    int _width;
    int _height;
};

}  // namespace nuvra
