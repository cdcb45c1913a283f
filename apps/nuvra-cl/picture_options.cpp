#include "picture_options.h"

namespace nuvra::app {

void PictureOptions::AddTo(CLI::App& app) {
    app.add_option("IN", _in, std::string("The picture to read: ") + kReadFormats)->required();
    app.add_option("OUT", _out,
                   std::string("The picture to write, in the format of its extension: ") + kWrittenFormats)
        ->required();
    app.add_option_function<std::string>(
           "--rect", [this](const std::string& text) { _rectangle = ParseRectangle("--rect", text); },
           "Work on this rectangle alone; the rest of the picture is kept")
        ->type_name("X,Y,W,H");
    app.add_option("--tile", _tile, "Send at most SIDE x SIDE pixels at a time to the device (2048)")
        ->type_name("SIDE")
        ->check(CLI::Range(Int64{1}, Int64{1} << 20).description(""));
    _limit.AddTo(app);
    app.footer(
        std::string(
            "8- and 16-bit, half and float samples keep their type on the device and in OUT where its format "
            "has\n"
            "the type; all other types are worked on as float. Alpha is never changed, and colours are "
            "worked "
            "on\n"
            "as the file has them. Of a file with several pictures, the first is taken.\n") +
        kMetadataHelp);
}

void PictureOptions::Run(Environment& environment, const char* task, const Execute& execute) const {
    Picture picture = ReadPicture(_in, _limit, environment);
    const Rectangle all{0, 0, picture.GetWidth(), picture.GetHeight()};
    const Rectangle rectangle = _rectangle.value_or(all);
    CheckRectangle(rectangle, picture);
    {
        Session session(environment);
        const Gpu gpu = session.OpenDevice();
        const OpenCLTaskRef built = gpu.GetTask(task);
        WorkInTiles(gpu, picture, rectangle, _tile, environment.terminal,
                    [&](const Tile& tile) { execute(gpu, built, tile); });
    }
    WritePicture(_out, picture, environment);
}

}  // namespace nuvra::app
