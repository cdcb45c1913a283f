#include "gl_window.h"

#include <windows.h>
// It builds upon the header above.
#include <GL/gl.h>

#include <stdexcept>

namespace nuvra {

namespace {

constexpr const wchar_t* kClassName = L"nuvra.GLWindow";

LRESULT CALLBACK OnMessage(HWND window, UINT message, WPARAM word, LPARAM pointer) {
    if (message == WM_DESTROY) PostQuitMessage(0);
    return DefWindowProcW(window, message, word, pointer);
}

HWND MakeWindow(const wchar_t* title, int width, int height) {
    WNDCLASSW windowClass = {};
    windowClass.style = CS_OWNDC;
    windowClass.lpfnWndProc = OnMessage;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.hCursor = LoadCursor(nullptr, IDC_ARROW);
    windowClass.lpszClassName = kClassName;
    RegisterClassW(&windowClass);  // fails for a second window, whose class is there
    constexpr DWORD kStyle = WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX;
    RECT frame{0, 0, width, height};
    AdjustWindowRect(&frame, kStyle, FALSE);
    return CreateWindowExW(0, kClassName, title, kStyle, CW_USEDEFAULT, CW_USEDEFAULT,
                           frame.right - frame.left, frame.bottom - frame.top, nullptr, nullptr,
                           windowClass.hInstance, nullptr);
}

bool ChoosePixels(HDC context) {
    PIXELFORMATDESCRIPTOR format = {};
    format.nSize = sizeof(format);
    format.nVersion = 1;
    format.dwFlags = PFD_DRAW_TO_WINDOW | PFD_SUPPORT_OPENGL | PFD_DOUBLEBUFFER;
    format.iPixelType = PFD_TYPE_RGBA;
    format.cColorBits = 24;
    const int number = ChoosePixelFormat(context, &format);
    return number != 0 && SetPixelFormat(context, number, &format) != FALSE;
}

/// A texture in a half of the window, which runs from -1 to 1.
void DrawTexture(UInt32 texture, float left, float right) {
    glBindTexture(GL_TEXTURE_2D, texture);
    glBegin(GL_QUADS);
    const float corners[4][2] = {{0, 1}, {1, 1}, {1, 0}, {0, 0}};  // a texture's first row is the upper one
    for (const auto& [x, y] : corners) {
        glTexCoord2f(x, y);
        glVertex2f(left + x * (right - left), 1 - 2 * y);
    }
    glEnd();
}

}  // namespace

GLWindow::GLWindow(const wchar_t* title, int width, int height) : _width(width), _height(height) {
    const HWND window = MakeWindow(title, width, height);
    const HDC device = window != nullptr ? GetDC(window) : nullptr;
    _window = window;
    _deviceContext = device;
    const HGLRC rendering = device != nullptr && ChoosePixels(device) ? wglCreateContext(device) : nullptr;
    _renderingContext = rendering;
    if (rendering != nullptr && wglMakeCurrent(device, rendering) != FALSE) return;
    this->~GLWindow();
    throw std::runtime_error("there is no window with OpenGL to be had");
}

GLWindow::~GLWindow() {
    wglMakeCurrent(nullptr, nullptr);
    if (_renderingContext != nullptr) wglDeleteContext(static_cast<HGLRC>(_renderingContext));
    if (_deviceContext != nullptr) ReleaseDC(static_cast<HWND>(_window), static_cast<HDC>(_deviceContext));
    if (_window != nullptr) DestroyWindow(static_cast<HWND>(_window));
}

OpenGLContextRef GLWindow::MakeContextObject() const {
    return NewObject<OpenGLContextRef>(_renderingContext, _deviceContext);
}

UInt32 GLWindow::MakeTexture(int side, const Rgba& pixels) {
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    // Without its reduced copies a texture is complete only for these filters.
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, side, side, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    return texture;
}

Rgba GLWindow::ReadTexture(UInt32 texture, int side) const {
    Rgba pixels(static_cast<size_t>(side) * static_cast<size_t>(side) * 4);
    glBindTexture(GL_TEXTURE_2D, texture);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    return pixels;
}

void GLWindow::WriteTexture(UInt32 texture, int side, const Rgba& pixels) {
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, side, side, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
}

void GLWindow::Finish() {
    glFinish();
}

Rgba GLWindow::Draw(UInt32 left, UInt32 right) {
    ShowWindow(static_cast<HWND>(_window), SW_SHOW);
    glViewport(0, 0, _width, _height);
    glClear(GL_COLOR_BUFFER_BIT);
    glEnable(GL_TEXTURE_2D);
    DrawTexture(left, -1, 0);
    DrawTexture(right, 0, 1);
    Rgba pixels(static_cast<size_t>(_width) * static_cast<size_t>(_height) * 4);
    glReadPixels(0, 0, _width, _height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    SwapBuffers(static_cast<HDC>(_deviceContext));
    return pixels;
}

void GLWindow::WaitUntilClosed() {
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

}  // namespace nuvra
