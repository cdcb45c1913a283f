#include <OpenImageIO/imageio.h>

#include <cstdio>
#include <cstdlib>

/// A picture library that ends the program, as a plug-in of OpenImageIO for the extension "dies".
namespace {

/// What it says itself must not be what the person reads.
[[noreturn]] void Die(const std::string& name) {
    std::fputs("assertion failed\n", stderr);
    if (name.starts_with("exit")) std::exit(0);
    std::abort();
}

template <class Base, class... Rest>
struct Dying : Base {
    const char* format_name() const override { return "dies"; }
    bool open(const std::string& name, Rest...) override { Die(name); }
    bool close() override { return true; }
};
using Output = Dying<OIIO::ImageOutput, const OIIO::ImageSpec&, OIIO::ImageOutput::OpenMode>;
struct Input : Dying<OIIO::ImageInput, OIIO::ImageSpec&> {
    bool read_native_scanline(int, int, int, int, void*) override { return false; }
};

}  // namespace

extern "C" {
OIIO_EXPORT int dies_imageio_version = OIIO_PLUGIN_VERSION;
OIIO_EXPORT const char* dies_imageio_library_version() {
    return nullptr;
}
OIIO_EXPORT const char* dies_input_extensions[] = {"dies", nullptr};
OIIO_EXPORT const char* dies_output_extensions[] = {"dies", nullptr};
OIIO_EXPORT OIIO::ImageInput* dies_input_imageio_create() {
    return new Input;
}
OIIO_EXPORT OIIO::ImageOutput* dies_output_imageio_create() {
    return new Output;
}
}
