#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

#include "console/command.h"
#include "console/failure.h"
#include "console/progress.h"
#include "console/values.h"
#include "device/pixel_transfer.h"
#include "device/tiles.h"
#include "pictures/bands.h"
#include "pictures/scale_plan.h"

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

/// The scaling to do; the rectangles have positive sides.
struct Scaling {
    const PictureHead& in;
    const PictureHead& out;
    Rectangle source;
    Rectangle destination;
    bool mirrorX;
    bool mirrorY;
};

void Clear(const Picture& picture) {
    std::fill_n(picture.samples.get(), picture.GetBytes(), 0);
}

/// Scales a rectangle of IN to one of OUT. In one piece, the pixels go from band to band by way of the device
/// alone; several pieces need both pictures in memory.
class Scaler {
public:
    Scaler(const Device& device, const std::string& filter, const Scaling& scaling)
        : _device(device),
          _key("image.scale" + filter),
          _scaling(scaling),
          _images(device),
          _send(device, scaling.in),
          _fetch(device, scaling.out) {
        const Rectangle& source = scaling.source;
        _extra = {source.x + source.width < scaling.in.GetWidth() ? 1 : 0,
                  source.y + source.height < scaling.in.GetHeight() ? 1 : 0};
    }

    /// Cuts both axes into pieces of at most `tile` pixels, or fewer where the device has no such images.
    void Plan(Int64 tile);
    /// Bands of OUT have `rows` rows.
    void Run(BandReader& reader, BandWriter& writer, Int64 rows, std::FILE* terminal);

private:
    bool Cut(const Extent& limit);
    TilePlan PlanLargest() const;
    TilePlan PlanImages(const Extent& source, const Extent& destination) const {
        return {{_scaling.in.type,
                 OpenCLMemoryFlags::READ_ONLY,
                 {source.width + _extra.width, source.height + _extra.height}},
                {_scaling.in.type, OpenCLMemoryFlags::WRITE_ONLY, destination}};
    }
    void Execute(const OpenCLTaskRef& task, const ScalePiece& column, const ScalePiece& row) const;
    void RunPiece(const OpenCLTaskRef& task, const ScalePiece& column, const ScalePiece& row,
                  const Picture& in, Picture& out);
    void Send(const Picture& band, Int64 top);
    void Fetch(Picture& band, Int64 top);

    const Device& _device;
    const std::string _key;
    const Scaling& _scaling;
    TileImages _images;
    PixelTransfer _send;
    PixelTransfer _fetch;
    /// What is sent behind each piece: rounding may take the last position one pixel further, which the
    /// picture may have.
    Extent _extra;
    std::vector<ScalePiece> _columns;
    std::vector<ScalePiece> _rows;
};

/// False where no pieces within the limit fit together without seams.
bool Scaler::Cut(const Extent& limit) {
    const auto& [in, out, source, destination, mirrorX, mirrorY] = _scaling;
    auto columns = PlanScale(source.width, destination.width, mirrorX, limit.width, _extra.width);
    auto rows = PlanScale(source.height, destination.height, mirrorY, limit.height, _extra.height);
    if (!columns || !rows) return false;
    _columns = *std::move(columns);
    _rows = *std::move(rows);
    return true;
}

TilePlan Scaler::PlanLargest() const {
    const auto longest = [](const std::vector<ScalePiece>& pieces, Int64 ScalePiece::*extent) {
        return std::ranges::max(pieces, {}, extent).*extent;
    };
    return PlanImages(
        {longest(_columns, &ScalePiece::sourceExtent), longest(_rows, &ScalePiece::sourceExtent)},
        {longest(_columns, &ScalePiece::extent), longest(_rows, &ScalePiece::extent)});
}

void Scaler::Plan(Int64 tile) {
    const Rectangle& source = _scaling.source;
    const Rectangle& destination = _scaling.destination;
    Extent wanted{std::min(tile, std::max(source.width + _extra.width, destination.width)),
                  std::min(tile, std::max(source.height + _extra.height, destination.height))};
    if (!Cut(wanted) || !_images.CanMake(PlanLargest())) {
        // Halving could skip the only sides that some pieces fit together with.
        const Int64 longest = FindLongestSide(_device, *_scaling.in.type);
        wanted = {std::min(wanted.width, longest), std::min(wanted.height, longest)};
    }
    _images.Fit(wanted, [&](const Extent& limit) {
        if (Cut(limit)) return PlanLargest();
        throw Failure("cannot scale " + DescribeSize(source.width, source.height) + " pixels to " +
                      DescribeSize(destination.width, destination.height) + " on " + Quote(_device.name) +
                      ": its images have sides of at most " +
                      std::to_string(std::max(limit.width, limit.height)) +
                      ", and pieces would not fit together exactly");
    });
}

void Scaler::Run(BandReader& reader, BandWriter& writer, Int64 rows, std::FILE* terminal) {
    const OpenCLTaskRef task = _device.GetTask(_key.c_str());
    const Int64 height = _scaling.out.GetHeight();
    const bool isOnePiece = _columns.size() * _rows.size() == 1;
    Picture in;
    Picture out;
    if (!isOnePiece) {
        in = MakeBand(_scaling.in, _scaling.in.GetHeight());
        out = MakeBand(_scaling.out, height);
        Clear(out);
    }
    Progress progress(terminal, "scaling on " + _device.name, _scaling.in.GetHeight() + 2 * height);
    Int64 top = 0;
    for (Picture band = reader.Take(top); band.samples != nullptr; band = reader.Take(top)) {
        if (isOnePiece)
            Send(band, top);
        else
            std::memcpy(in.GetPixel(0, top), band.samples.get(), band.GetBytes());
        progress.Advance(band.GetHeight());
    }
    if (isOnePiece) {
        Execute(task, _columns.front(), _rows.front());
        progress.Advance(height);
    } else {
        for (const ScalePiece& row : _rows) {
            for (const ScalePiece& column : _columns) RunPiece(task, column, row, in, out);
            progress.Advance(row.coreEnd - row.coreBegin);
        }
    }
    for (top = 0; top < height; top += rows) {
        Picture band = MakeBand(_scaling.out, std::min(rows, height - top));
        if (isOnePiece) {
            Clear(band);
            Fetch(band, top);
        } else {
            std::memcpy(band.samples.get(), out.GetPixel(0, top), band.GetBytes());
        }
        progress.Advance(band.GetHeight());
        writer.Give(std::move(band));
    }
}

/// Sends what the only piece takes of a band whose first row is `top`.
void Scaler::Send(const Picture& band, Int64 top) {
    const Rectangle& source = _scaling.source;
    const Int64 begin = std::max(source.y, top);
    const Int64 end = std::min(source.y + source.height + _extra.height, top + band.GetHeight());
    if (begin < end)
        _send.Send(band, {source.x, begin - top, source.width + _extra.width, end - begin}, _images[0], 0,
                   begin - source.y);
}

void Scaler::Fetch(Picture& band, Int64 top) {
    const Rectangle& destination = _scaling.destination;
    const Int64 begin = std::max(destination.y, top);
    const Int64 end = std::min(destination.y + destination.height, top + band.GetHeight());
    if (begin < end)
        _fetch.Fetch(_images[1], 0, begin - destination.y, band,
                     {destination.x, begin - top, destination.width, end - begin});
}

void Scaler::RunPiece(const OpenCLTaskRef& task, const ScalePiece& column, const ScalePiece& row,
                      const Picture& in, Picture& out) {
    const Rectangle& source = _scaling.source;
    const Rectangle& destination = _scaling.destination;
    _images.Make(PlanImages({column.sourceExtent, row.sourceExtent}, {column.extent, row.extent}));
    _send.Send(in,
               {source.x + column.source, source.y + row.source, column.sourceExtent + _extra.width,
                row.sourceExtent + _extra.height},
               _images[0], 0, 0);
    Execute(task, column, row);
    _fetch.Fetch(_images[1], column.coreBegin - column.destination, row.coreBegin - row.destination, out,
                 {destination.x + column.coreBegin, destination.y + row.coreBegin,
                  column.coreEnd - column.coreBegin, row.coreEnd - row.coreBegin});
}

/// Scales what the images hold.
void Scaler::Execute(const OpenCLTaskRef& task, const ScalePiece& column, const ScalePiece& row) const {
    const bool mirrorX = _scaling.mirrorX;
    const bool mirrorY = _scaling.mirrorY;
    ScaleParameters parameters;
    parameters.source = &_images[0];
    parameters.destination = &_images[1];
    parameters.srcWidth = column.sourceExtent;
    parameters.srcHeight = row.sourceExtent;
    parameters.dstX = mirrorX ? column.extent - 1 : 0;
    parameters.dstY = mirrorY ? row.extent - 1 : 0;
    parameters.dstWidth = mirrorX ? -column.extent : column.extent;
    parameters.dstHeight = mirrorY ? -row.extent : row.extent;
    _device.Run(task, _key.c_str(), &parameters);
}

void ScaleCommand::Run(Environment& environment) {
    PictureInput in(_in, _limit);
    const PictureHead& picture = in.GetHead();
    const Rectangle source = _source.value_or(Rectangle{0, 0, picture.GetWidth(), picture.GetHeight()});
    CheckRectangle(source, picture);
    const Extent size = ChooseSize(source);
    bool mirrorX = false;
    bool mirrorY = false;
    const Rectangle destination = ChooseDestination(size, mirrorX, mirrorY);
    const PictureHead scaled = DescribeLike(picture, size.width, size.height, _out, _limit);
    CheckRectangle(destination, scaled);
    PictureOutput out(_out, scaled);
    // The first band is read while the runtime starts.
    BandReader reader(in, ChooseBand(picture, in.GetStep()));
    BandWriter writer(out);
    {
        Session session(environment);
        const Device device = session.OpenDevice();
        const Scaling scaling{picture, scaled, source, destination, mirrorX, mirrorY};
        Scaler scaler(device, _filter, scaling);
        scaler.Plan(_tile);
        scaler.Run(reader, writer, ChooseBand(scaled, out.GetStep()), environment.terminal);
    }
    writer.Finish();
    out.Commit(environment);
}

}  // namespace

CommandPtr MakeScaleCommand() {
    return std::make_unique<ScaleCommand>();
}

}  // namespace nuvra::app
