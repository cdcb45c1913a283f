#include <CLI/CLI.hpp>
#include <algorithm>

#include "console/command.h"
#include "console/failure.h"
#include "console/progress.h"
#include "device/pixel_transfer.h"
#include "device/tiles.h"
#include "pictures/picture_file.h"

namespace nuvra::app {

namespace {

constexpr const char* kStereoTask = "image.stereo.sbs";

class StereoCommand : public Command {
public:
    void AddOptions(CLI::App& app) override {
        app.add_option("LEFT", _left, "The picture for the left half")->required();
        app.add_option("RIGHT", _right, "The picture for the right half, of the same size")->required();
        app.add_option("OUT", _out, "The picture to write, with the channels and the samples of LEFT")
            ->required();
        app.add_option("--tile", _tile,
                       "Send at most SIDE x SIDE pixels of each at a time to the device (2048)")
            ->type_name("SIDE")
            ->check(CLI::Range(Int64{2}, kLargestSide).description(""));
        _limit.AddTo(app);
        app.footer(
            "Each half holds its picture squeezed to half width: colours are the means of neighbours, alpha\n"
            "is their sum.");
    }

    void Run(Environment& environment) override {
        const Picture left = ReadPicture(_left, _limit, environment);
        const Picture right = ReadPicture(_right, _limit, environment);
        if (left.GetWidth() != right.GetWidth() || left.GetHeight() != right.GetHeight())
            throw Failure("the pictures differ in size: " + Quote(_left) + " has " +
                          DescribeSize(left.GetWidth(), left.GetHeight()) + " pixels, " + Quote(_right) +
                          " has " + DescribeSize(right.GetWidth(), right.GetHeight()));
        Picture out =
            MakeBand(DescribeLike(left, left.GetWidth(), left.GetHeight(), _out, _limit), left.GetHeight());
        {
            Session session(environment);
            Compose(session.OpenDevice(), left, right, out, environment.terminal);
        }
        WritePicture(_out, out, environment);
    }

private:
    /// Puts both pictures into `out`, piece by piece. The task halves the columns of both, so each piece
    /// gives one to either half of the result; an odd width makes the right half the wider one.
    void Compose(const Device& device, const Picture& left, const Picture& right, Picture& out,
                 std::FILE* terminal) const {
        const OpenCLTaskRef task = device.GetTask(kStereoTask);
        PixelTransfer leftTransfer(device, left);
        PixelTransfer rightTransfer(device, right);
        TileImages images(device);
        const auto planTile = [&](const Extent& size) {
            // As large as the tile: the task takes the image's last column twice where it lacks one.
            return TilePlan{{left.type, OpenCLMemoryFlags::READ_ONLY, size},
                            {right.type, OpenCLMemoryFlags::READ_ONLY, size},
                            {left.type, OpenCLMemoryFlags::WRITE_ONLY, size}};
        };
        const auto makeEven = [](Int64 width) { return std::max<Int64>(width / 2 * 2, 2); };
        const Rectangle whole{0, 0, left.GetWidth(), left.GetHeight()};
        const Extent wanted{std::min(makeEven(whole.width + 1), _tile), std::min(whole.height, _tile)};
        Extent size = images.Fit(wanted, [&](const Extent& limit) {
            return planTile({std::min(makeEven(limit.width), whole.width), limit.height});
        });
        size.width = makeEven(size.width);
        Progress progress(terminal, "working on " + device.name, whole.width * whole.height);
        ForEachTile(whole, size, [&](const Rectangle& piece) {
            images.Make(planTile({piece.width, piece.height}));
            leftTransfer.Send(left, piece, images[0], 0, 0);
            rightTransfer.Send(right, piece, images[1], 0, 0);
            StereoSbsParameters parameters;
            parameters.first = &images[0];
            parameters.second = &images[1];
            parameters.destination = &images[2];
            parameters.width = piece.width;
            parameters.height = piece.height;
            device.Run(task, kStereoTask, &parameters);
            const Int64 half = piece.width / 2;
            const Int64 x = piece.x / 2;
            if (half > 0) leftTransfer.Fetch(images[2], 0, 0, out, {x, piece.y, half, piece.height});
            leftTransfer.Fetch(images[2], half, 0, out,
                               {whole.width / 2 + x, piece.y, piece.width - half, piece.height});
            progress.Advance(piece.width * piece.height);
        });
    }

    std::string _left;
    std::string _right;
    std::string _out;
    MemoryLimit _limit;
    Int64 _tile = 2048;  ///< pixels: bounds the memory for images, and gives the progress bar its steps
};

}  // namespace

CommandPtr MakeStereoCommand() {
    return std::make_unique<StereoCommand>();
}

}  // namespace nuvra::app
