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

class Input : public OIIO::ImageInput {
public:
    const char* format_name() const override { return "dies"; }
    bool open(const std::string& name, OIIO::ImageSpec&) override { Die(name); }
    bool close() override { return true; }
    bool read_native_scanline(int, int, int, int, void*) override { return false; }
};

class Output : public OIIO::ImageOutput {
public:
    const char* format_name() const override { return "dies"; }
    int supports(OIIO::string_view) const override { return 0; }
    bool open(const std::string&, const OIIO::ImageSpec&, OpenMode) override { Die("exit"); }
    bool close() override { return true; }
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
