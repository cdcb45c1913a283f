#include "commands/picture_command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <numeric>

#include "console/progress.h"
#include "console/values.h"
#include "device/pixel_transfer.h"
#include "device/tiles.h"

namespace nuvra::app {

namespace {

constexpr const char* kFooter =
    R"(8- and 16-bit, half and float samples keep their type on the device and in OUT where its format has
the type; all other types are worked on as float. Alpha is never changed, and colours are worked on
as the file has them. Of a file with several pictures, the first is taken.
)";

}  // namespace

void PictureCommand::AddOptions(CLI::App& app) {
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
    app.footer(std::string(kFooter) + kMetadataHelp);
}

void PictureCommand::Run(Environment& environment) {
    PictureInput in(_in, _limit);
    const PictureHead& picture = in.GetHead();
    const Rectangle rectangle = _rectangle.value_or(Rectangle{0, 0, picture.GetWidth(), picture.GetHeight()});
    CheckRectangle(rectangle, picture);
    PictureOutput out(_out, picture);
    const Int64 rows = ChooseBand(picture, std::lcm(in.GetStep(), out.GetStep()));
    // The first band is read while the runtime starts.
    BandReader reader(in, rows);
    BandWriter writer(out);
    {
        Session session(environment);
        Work(session.OpenDevice(), picture, rectangle, rows, reader, writer, environment.terminal);
    }
    writer.Finish();
    out.Commit(environment);
}

void PictureCommand::Work(const Device& device, const PictureHead& picture, const Rectangle& rectangle,
                          Int64 rows, BandReader& reader, BandWriter& writer, std::FILE* terminal) const {
    const OpenCLTaskRef task = device.GetTask(_task);
    TileImages images(device);
    const Extent wanted{std::min(rectangle.width, _tile), std::min({rectangle.height, rows, _tile})};
    const Extent size = images.Fit(wanted, [&](const Extent& limit) {
        return TilePlan{{picture.type, OpenCLMemoryFlags::READ_ONLY, limit},
                        {picture.type, OpenCLMemoryFlags::WRITE_ONLY, limit}};
    });
    PixelTransfer transfer(device, picture);
    Progress progress(terminal, "working on " + device.name, picture.GetHeight());
    Int64 top = 0;
    for (Picture band = reader.Take(top); band.samples != nullptr; band = reader.Take(top)) {
        const Int64 bottom = top + band.GetHeight();
        const Int64 begin = std::max(rectangle.y, top);
        const Int64 end = std::min(rectangle.y + rectangle.height, bottom);
        ForEachTile({rectangle.x, begin - top, rectangle.width, end - begin}, size,
                    [&](const Rectangle& piece) {
                        transfer.Send(band, piece, images[0], 0, 0);
                        Execute({device, task, images[0], images[1], piece.width, piece.height});
                        transfer.Fetch(images[1], 0, 0, band, piece);
                    });
        writer.Give(std::move(band));
        progress.Show(bottom);
    }
}

}  // namespace nuvra::app
