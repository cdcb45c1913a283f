#include <algorithm>
#include <cmath>
#include <optional>

#include "pixel_transfer.h"
#include "progress.h"
#include "scale_plan.h"
#include "tiles.h"

namespace nuvra::app {

namespace {

class ScaleCommand : public Command {
public:
    void AddOptions(CLI::App& app) override;
    void Run(Environment& environment) override;

private:
    Extent ChooseSize(const Rectangle& source) const;
    Rectangle ChooseDestination(const Extent& size, bool& mirrorX, bool& mirrorY) const;

    std::string _in;
    std::string _out;
    std::optional<Extent> _size;
    std::optional<double> _factor;
    std::string _filter = "bicubic";
    std::optional<Rectangle> _source;
    std::optional<Rectangle> _destination;
    std::string _mirror;
    Int64 _tile = kLargestSide;
    MemoryLimit _limit;
};

void ScaleCommand::AddOptions(CLI::App& app) {
    const auto rectangle = [&app](const char* name, std::optional<Rectangle>& value, const char* text) {
        app.add_option_function<std::string>(
               name, [name, &value](const std::string& written) { value = ParseRectangle(name, written); },
               text)
            ->type_name("X,Y,W,H");
    };
    app.add_option("IN", _in, "The picture to read")->required();
    app.add_option("OUT", _out, "The picture to write, with the channels and the samples of IN")->required();
    auto* size = app.add_option_function<std::string>(
        "--size", [this](const std::string& text) { _size = ParseExtent("--size", text); },
        "The size of OUT; a side of 0 keeps the aspect");
    size->type_name("WxH");
    app.add_option("--factor", _factor, "The size of OUT as a factor on that of IN")
        ->type_name("F")
        ->check(CLI::Number.description(""))
        ->excludes(size);
    app.add_option("--filter", _filter, "Take the nearest pixel, or weigh those around it (bicubic)")
        ->type_name("nearest|bicubic")
        ->check(CLI::IsMember({"nearest", "bicubic"}).description(""));
    rectangle("--src", _source, "Scale this rectangle of IN alone");
    rectangle(
        "--dst", _destination,
        "Put it in this rectangle of OUT, the rest being zero; a negative W or H names the rectangle by its\n"
        "far end and mirrors");
    app.add_option("--mirror", _mirror, "Mirror from left to right (x), top to bottom (y) or both (xy)")
        ->type_name("x|y|xy")
        ->check(CLI::IsMember({"x", "y", "xy"}).description(""));
    app.add_option("--tile", _tile, "Use images of at most SIDE x SIDE pixels (as the device has them)")
        ->type_name("SIDE")
        ->check(CLI::Range(Int64{1}, kLargestSide).description(""));
    _limit.AddTo(app);
}

/// The size of OUT.
Extent ScaleCommand::ChooseSize(const Rectangle& source) const {
    if (!_size && !_factor) throw WrongArguments("give --size or --factor");
    const auto scaled = [](Int64 side, double factor) {
        const double result = std::round(static_cast<double>(side) * factor);
        return result >= 1 ? static_cast<Int64>(std::min<double>(result, 2.0 * kLargestSide)) : Int64{1};
    };
    Extent size{};
    if (_factor) {
        if (!std::isfinite(*_factor) || *_factor <= 0)
            throw WrongArguments("--factor needs a number above 0");
        size = {scaled(source.width, *_factor), scaled(source.height, *_factor)};
    } else {
        size = *_size;
        if (size.width < 0 || size.height < 0 || (size.width == 0 && size.height == 0))
            throw WrongArguments("--size needs sides above 0, of which one may be 0");
        const auto ratio = [](Int64 a, Int64 b) { return static_cast<double>(a) / static_cast<double>(b); };
        if (size.width == 0) size.width = scaled(source.width, ratio(size.height, source.height));
        if (size.height == 0) size.height = scaled(source.height, ratio(size.width, source.width));
    }
    if (size.width > kLargestSide || size.height > kLargestSide)
        throw WrongArguments("a picture of " + DescribeSize(size.width, size.height) +
                             " pixels is too large");
    return size;
}

/// Where the scaled rectangle lies in OUT, as positive extents.
Rectangle ScaleCommand::ChooseDestination(const Extent& size, bool& mirrorX, bool& mirrorY) const {
    mirrorX = _mirror.find('x') != std::string::npos;
    mirrorY = _mirror.find('y') != std::string::npos;
    Rectangle destination = _destination.value_or(Rectangle{0, 0, size.width, size.height});
    const auto turn = [this](Int64& origin, Int64& extent, bool& mirrored) {
        if (extent >= 0) return;
        if (!_mirror.empty()) throw WrongArguments("--mirror excludes a negative extent in --dst");
        if (extent < -kLargestSide || std::abs(origin) > kLargestSide)
            throw WrongArguments("--dst is too large");
        mirrored = true;
        origin += extent + 1;
        extent = -extent;
    };
    turn(destination.x, destination.width, mirrorX);
    turn(destination.y, destination.height, mirrorY);
    return destination;
}

/// The pieces of both axes, each at most as large as images of the device.
class Plan {
public:
    Plan(const Picture& in, const Rectangle& source, const Rectangle& destination, bool mirrorX, bool mirrorY)
        : extra{source.x + source.width < in.GetWidth(), source.y + source.height < in.GetHeight()},
          _source(source),
          _destination(destination),
          _mirrorX(mirrorX),
          _mirrorY(mirrorY) {}

    bool Make(Int64 limit) {
        const auto x = PlanScale(_source.width, _destination.width, _mirrorX, limit, extra.width);
        const auto y = PlanScale(_source.height, _destination.height, _mirrorY, limit, extra.height);
        if (!x || !y) return false;
        columns = *x;
        rows = *y;
        return true;
    }

    std::vector<ScalePiece> columns;
    std::vector<ScalePiece> rows;
    /// What is sent behind each piece: rounding may take the last position one pixel further, which the
    /// picture may have.
    Extent extra;

private:
    Rectangle _source;
    Rectangle _destination;
    bool _mirrorX;
    bool _mirrorY;
};

/// Scales one pair of pieces and puts its core into OUT.
class Scaler {
public:
    Scaler(const Gpu& gpu, const std::string& filter, const Picture& in, Picture& out)
        : _gpu(gpu),
          _key("image.scale" + filter),
          _task(gpu.GetTask(_key.c_str())),
          _in(in),
          _out(out),
          _send(gpu, in),
          _fetch(gpu, out) {}

    void Run(const Rectangle& source, const Rectangle& destination, const ScalePiece& column,
             const ScalePiece& row, const Extent& extra, bool mirrorX, bool mirrorY) {
        const Rectangle sent{source.x + column.source, source.y + row.source,
                             column.sourceExtent + extra.width, row.sourceExtent + extra.height};
        const OpenCLMemoryObjectRef from =
            MakeImage(_gpu, *_in.type, OpenCLMemoryFlags::READ_ONLY, {sent.width, sent.height});
        const OpenCLMemoryObjectRef to =
            MakeImage(_gpu, *_in.type, OpenCLMemoryFlags::WRITE_ONLY, {column.extent, row.extent});
        _send.Send(_in, sent, from);
        ScaleParameters parameters;
        parameters.source = &from;
        parameters.destination = &to;
        parameters.srcWidth = column.sourceExtent;
        parameters.srcHeight = row.sourceExtent;
        parameters.dstX = mirrorX ? column.extent - 1 : 0;
        parameters.dstY = mirrorY ? row.extent - 1 : 0;
        parameters.dstWidth = mirrorX ? -column.extent : column.extent;
        parameters.dstHeight = mirrorY ? -row.extent : row.extent;
        _gpu.Run(_task, _key.c_str(), &parameters);
        _fetch.Fetch(to, column.coreBegin - column.destination, row.coreBegin - row.destination, _out,
                     {destination.x + column.coreBegin, destination.y + row.coreBegin,
                      column.coreEnd - column.coreBegin, row.coreEnd - row.coreBegin});
    }

private:
    const Gpu& _gpu;
    std::string _key;
    OpenCLTaskRef _task;
    const Picture& _in;
    Picture& _out;
    PixelTransfer _send;
    PixelTransfer _fetch;
};

void ScaleCommand::Run(Environment& environment) {
    const Picture in = ReadPicture(_in, _limit, environment);
    const Rectangle source = _source.value_or(Rectangle{0, 0, in.GetWidth(), in.GetHeight()});
    CheckRectangle(source, in);
    const Extent size = ChooseSize(source);
    bool mirrorX = false;
    bool mirrorY = false;
    const Rectangle destination = ChooseDestination(size, mirrorX, mirrorY);
    Picture out = MakePictureLike(in, size.width, size.height, _out, _limit);
    CheckRectangle(destination, out);
    std::fill_n(out.samples.get(), static_cast<size_t>(size.width * size.height) * out.GetPixelBytes(), 0);
    {
        Session session(environment);
        const Gpu gpu = session.OpenDevice();
        const Int64 limit = std::min(_tile, FindImageLimit(gpu, *in.type));
        Plan plan(in, source, destination, mirrorX, mirrorY);
        if (!plan.Make(limit))
            throw Failure("cannot scale " + DescribeSize(source.width, source.height) + " pixels to " +
                          DescribeSize(destination.width, destination.height) + " on " + Quote(gpu.name) +
                          ": its images have sides of at most " + std::to_string(limit) +
                          ", and pieces would not fit together exactly");
        Scaler scaler(gpu, _filter, in, out);
        Progress progress(environment.terminal, "scaling on " + gpu.name,
                          static_cast<Int64>(plan.columns.size() * plan.rows.size()));
        for (const ScalePiece& row : plan.rows) {
            for (const ScalePiece& column : plan.columns) {
                scaler.Run(source, destination, column, row, plan.extra, mirrorX, mirrorY);
                progress.Advance(1);
            }
        }
    }
    WritePicture(_out, out, environment);
}

}  // namespace

CommandPtr MakeScaleCommand() {
    return std::make_unique<ScaleCommand>();
}

}  // namespace nuvra::app
