#include <algorithm>

#include "pixel_transfer.h"
#include "progress.h"

namespace nuvra::app {

namespace {

constexpr const char* kTask = "image.stereo.sbs";

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
        Picture out = MakePictureLike(left, left.GetWidth(), left.GetHeight(), _out, _limit);
        {
            Session session(environment);
            Compose(session.OpenDevice(), left, right, out, environment.terminal);
        }
        WritePicture(_out, out, environment);
    }

private:
    /// Puts both pictures into `out`, piece by piece. The task halves the columns of both, so each piece
    /// gives one to either half of the result; an odd width makes the right half the wider one.
    void Compose(const Gpu& gpu, const Picture& left, const Picture& right, Picture& out,
                 std::FILE* terminal) const {
        const OpenCLTaskRef task = gpu.GetTask(kTask);
        const Int64 limit = std::min(_tile, FindImageLimit(gpu, *left.type));
        const Int64 evenLimit = std::max<Int64>(limit / 2 * 2, 2);
        PixelTransfer leftTransfer(gpu, left);
        PixelTransfer rightTransfer(gpu, right);
        Progress progress(terminal, "working on " + gpu.name, left.GetWidth() * left.GetHeight());
        for (Int64 y = 0; y < left.GetHeight(); y += limit) {
            for (Int64 x = 0; x < left.GetWidth(); x += evenLimit) {
                const Rectangle piece{x, y, std::min(evenLimit, left.GetWidth() - x),
                                      std::min(limit, left.GetHeight() - y)};
                // As large as the piece: the task takes the image's last column twice where it lacks one.
                const Extent size{piece.width, piece.height};
                const auto first = MakeImage(gpu, *left.type, OpenCLMemoryFlags::READ_ONLY, size);
                const auto second = MakeImage(gpu, *right.type, OpenCLMemoryFlags::READ_ONLY, size);
                const auto result = MakeImage(gpu, *left.type, OpenCLMemoryFlags::WRITE_ONLY, size);
                leftTransfer.Send(left, piece, first);
                rightTransfer.Send(right, piece, second);
                StereoSbsParameters parameters;
                parameters.first = &first;
                parameters.second = &second;
                parameters.destination = &result;
                parameters.width = piece.width;
                parameters.height = piece.height;
                gpu.Run(task, kTask, &parameters);
                const Int64 half = piece.width / 2;
                if (half > 0) leftTransfer.Fetch(result, 0, 0, out, {x / 2, y, half, piece.height});
                leftTransfer.Fetch(result, half, 0, out,
                                   {left.GetWidth() / 2 + x / 2, y, piece.width - half, piece.height});
                progress.Advance(piece.width * piece.height);
            }
        }
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
