#include "tasks.h"

#include <random>

#include "peers.h"
#include "recording.h"

namespace nuvra::bench {
namespace {

constexpr size_t kClearSize = size_t{256} << 20;
constexpr size_t kScanCount = size_t{1} << 24;
constexpr size_t kCrcSize = size_t{64} << 20;
constexpr double kGamma = 2.2;

std::vector<UChar> MakeNoise(size_t size) {
    std::vector<UChar> noise(size);
    std::mt19937 random(1);
    for (UChar& byte : noise) byte = static_cast<UChar>(random());
    return noise;
}

}  // namespace

Tasks::Tasks() : _context(Framework::CreateContext()), _queue(Check(_context.CreateCommandQueue())) {
    _memory.reserve(64);  // records point at its elements
}

template <class Parameters>
Row Tasks::MakeRow(const char* name, const char* key, const Parameters& parameters, std::vector<Way> peers) {
    const OpenCLTaskRef task = Check(_context.GetTask(Check(String::FromCText(key))));
    const auto run = [this, task, parameters] {
        Check(task.Execute(_context, _queue, &parameters));
        Check(_queue.Finish());
    };
    const auto runTask = [run](benchmark::State& state) {
        for (auto _ : state) run();
    };
    // A task may have replaced its buffers since the last time.
    const auto runKernels = [run](benchmark::State& state) {
        const Recording recording(run);
        for (auto _ : state) {
            if (!recording.Repeat()) state.SkipWithError("a call failed");
        }
    };
    Row row{name, 0, {{"kernels", runKernels}, {"task", runTask}, {"kernels again", runKernels}}};
    for (Way& peer : peers) row.ways.push_back(std::move(peer));
    return row;
}

OpenCLMemoryObjectRef Tasks::MakeBuffer(size_t size) {
    OpenCLMemoryObjectRef buffer = Check(_context.CreateBuffer(OpenCLMemoryFlags::READ_WRITE, size));
    Check(_queue.EnqueueWriteBuffer(buffer, true, 0, size, MakeNoise(size).data()));
    return buffer;
}

OpenCLMemoryObjectRef Tasks::MakeImage(int width, int height) {
    const OpenCLImageFormat format{OpenCLChannelOrder::RGBA, OpenCLChannelDataType::UNORM_INT8};
    const size_t origin[3] = {};
    const size_t region[3] = {static_cast<size_t>(width), static_cast<size_t>(height), 1};
    OpenCLMemoryObjectRef image =
        Check(_context.CreateImage2D(OpenCLMemoryFlags::READ_WRITE, format, region[0], region[1]));
    Check(_queue.EnqueueWriteImage(image, true, origin, region, 0, 0,
                                   MakeNoise(region[0] * region[1] * 4).data()));
    return image;
}

std::vector<Row> Tasks::GetClearRows() {
    ClearMemParameters parameters;
    parameters.buffer = &_memory.emplace_back(MakeBuffer(kClearSize));
    parameters.size = kClearSize;
    std::vector<Row> rows;
    for (const UChar value : {0x00, 0xAB}) {
        parameters.value = value;
        rows.push_back(MakeRow(value == 0 ? "with 0" : "with a value", "clearmem", parameters,
                               {MakeFill(_context.GetDevices()[0], kClearSize), MakeMemset(kClearSize)}));
    }
    return rows;
}

std::vector<Row> Tasks::GetPrefixSumRows() {
    PrefixSumParameters parameters;
    parameters.input = &_memory.emplace_back(MakeBuffer(kScanCount * 4));
    parameters.output = &_memory.emplace_back(MakeBuffer(kScanCount * 8));
    parameters.paddedCount = parameters.count = kScanCount;
    const cl_device_id device = _context.GetDevices()[0];
    const auto peers = [&] {
        return std::vector<Way>{MakeBoostScan(device, kScanCount), MakeStandardScan(kScanCount)};
    };
    std::vector<Row> rows{MakeRow("sums", "prefixsum", parameters, peers())};
    parameters.merge = true;
    rows.push_back(MakeRow("pairs (others: sums)", "prefixsum", parameters, peers()));
    return rows;
}

std::vector<Row> Tasks::GetCrcRows() {
    Crc32cParameters parameters;
    parameters.data = &_memory.emplace_back(MakeBuffer(kCrcSize));
    parameters.crc = &_memory.emplace_back(MakeBuffer(4));
    std::vector<Row> rows;
    for (const auto& [name, size] : {std::pair("CRC-32C of 2000 bytes", size_t{2000}),
                                     {"CRC-32C of 20 KB", 20000},
                                     {"CRC-32C of 900 KB, one work-item", 900000},
                                     {"CRC-32C of 64 MiB", kCrcSize}}) {
        parameters.size = static_cast<Int32>(size);
        rows.push_back(MakeRow(name, "crc32c", parameters, {MakeTableCrc(size), MakeInstructionCrc(size)}));
    }
    return rows;
}

Row Tasks::MakeScaleRow(const char* name, const char* key, int width, int height) {
    ScaleParameters parameters;
    parameters.source = &_memory[0];
    parameters.destination = &_memory.emplace_back(MakeImage(width, height));
    parameters.srcWidth = kPictureWidth;
    parameters.srcHeight = kPictureHeight;
    parameters.dstWidth = width;
    parameters.dstHeight = height;
    const auto make = std::string_view(key) == "image.scalenearest" ? MakeOpenCvNearest : MakeOpenCvCubic;
    return MakeRow(name, key, parameters,
                   {make(Runs::ON_PROCESSOR, width, height), make(Runs::ON_OPENCL, width, height)});
}

std::vector<Row> Tasks::GetPictureRows() {
    _memory.clear();
    const auto* source = &_memory.emplace_back(MakeImage(kPictureWidth, kPictureHeight));
    const auto* destination = &_memory.emplace_back(MakeImage(kPictureWidth, kPictureHeight));
    const InvertImageParameters invert{1, source, destination, 0, 0, kPictureWidth, kPictureHeight};
    const GammaImageParameters gamma{1, source, destination, 0, 0, kPictureWidth, kPictureHeight, kGamma};
    const StereoSbsParameters stereo{1, source, source, destination, 0, 0, kPictureWidth, kPictureHeight};
    std::vector<Row> rows;
    rows.push_back(MakeRow("invert", "image.invert", invert,
                           {MakeOpenCvInvert(Runs::ON_PROCESSOR), MakeOpenCvInvert(Runs::ON_OPENCL)}));
    rows.push_back(
        MakeRow("gamma (OpenCV: a table)", "image.gamma", gamma,
                {MakeOpenCvGamma(Runs::ON_PROCESSOR, kGamma), MakeOpenCvGamma(Runs::ON_OPENCL, kGamma)}));
    rows.push_back(MakeScaleRow("nearest to 960 x 720", "image.scalenearest", 960, 720));
    rows.push_back(MakeScaleRow("bicubic to 960 x 720", "image.scalebicubic", 960, 720));
    rows.push_back(MakeScaleRow("bicubic to 250 x 188", "image.scalebicubic", 250, 188));
    rows.push_back(MakeScaleRow("bicubic to 3000 x 2250", "image.scalebicubic", 3000, 2250));
    rows.push_back(MakeRow("side by side", "image.stereo.sbs", stereo, {}));
    return rows;
}

}  // namespace nuvra::bench
