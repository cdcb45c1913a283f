#include <algorithm>

#include "pixel_transfer.h"
#include "progress.h"

namespace nuvra::app {

namespace {

constexpr const char* kTask = "image.stereo.sbs";

/// The pictures travel in strips of whole rows, since a row of the result needs a whole row of each.
constexpr Int64 kStripRows = 1024;

class StereoCommand : public Command {
public:
    void AddOptions(CLI::App& app) override {
        app.add_option("LEFT", _left, "The picture for the left half")->required();
        app.add_option("RIGHT", _right, "The picture for the right half, of the same size")->required();
        app.add_option("OUT", _out, "The picture to write, with the channels and the samples of LEFT")
            ->required();
        app.footer(
            "Each half holds its picture squeezed to half width: colours are the means of neighbours, alpha\n"
            "is their sum.");
    }

    void Run(Environment& environment) override {
        Picture left = ReadPicture(_left, environment);
        const Picture right = ReadPicture(_right, environment);
        if (left.GetWidth() != right.GetWidth() || left.GetHeight() != right.GetHeight())
            throw Failure("the pictures differ in size: " + Quote(_left) + " has " +
                          DescribeSize(left.GetWidth(), left.GetHeight()) + " pixels, " + Quote(_right) +
                          " has " + DescribeSize(right.GetWidth(), right.GetHeight()));
        {
            Session session(environment);
            Compose(session.OpenDevice(), left, right, environment.terminal);
        }
        WritePicture(_out, left, environment);
    }

private:
    /// Replaces the left picture by both.
    static void Compose(const Gpu& gpu, Picture& left, const Picture& right, std::FILE* terminal) {
        const OpenCLTaskRef task = gpu.GetTask(kTask);
        const Extent strip{left.GetWidth(), std::min(left.GetHeight(), kStripRows)};
        const OpenCLMemoryObjectRef first = MakeImage(gpu, *left.type, OpenCLMemoryFlags::READ_ONLY, strip);
        const OpenCLMemoryObjectRef second = MakeImage(gpu, *right.type, OpenCLMemoryFlags::READ_ONLY, strip);
        const OpenCLMemoryObjectRef result = MakeImage(gpu, *left.type, OpenCLMemoryFlags::WRITE_ONLY, strip);
        PixelTransfer leftTransfer(gpu, left);
        PixelTransfer rightTransfer(gpu, right);
        Progress progress(terminal, "working on " + gpu.name, left.GetHeight());
        for (Int64 y = 0; y < left.GetHeight(); y += strip.height) {
            const Rectangle rows{0, y, strip.width, std::min(strip.height, left.GetHeight() - y)};
            leftTransfer.Send(left, rows, first);
            rightTransfer.Send(right, rows, second);
            StereoSbsParameters parameters;
            parameters.first = &first;
            parameters.second = &second;
            parameters.destination = &result;
            parameters.width = rows.width;
            parameters.height = rows.height;
            gpu.Run(task, kTask, &parameters);
            leftTransfer.Fetch(result, 0, 0, left, rows);
            progress.Advance(rows.height);
        }
    }

    std::string _left;
    std::string _right;
    std::string _out;
};

}  // namespace

CommandPtr MakeStereoCommand() {
    return std::make_unique<StereoCommand>();
}

}  // namespace nuvra::app
