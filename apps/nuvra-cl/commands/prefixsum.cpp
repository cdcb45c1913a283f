#include <CLI/CLI.hpp>
#include <bit>
#include <cerrno>
#include <cinttypes>
#include <vector>

#include "console/command.h"
#include "console/failure.h"
#include "console/output_file.h"
#include "device/session.h"
#include "nuvra/host/file_name.h"
#include "system/system.h"

namespace nuvra::app {

namespace {

constexpr const char* kPrefixSumTask = "prefixsum";
static_assert(std::endian::native == std::endian::little, "the files' byte order is the memory's");

std::vector<UInt32> ReadWords(const std::string& path) {
    const auto fail = [&](const std::string& why) {
        throw Failure("cannot read " + Quote(path) + ": " + why);
    };
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(host::OpenFile(host::ToPath(path), "rb"),
                                                               std::fclose);
    if (file == nullptr) fail(DescribeSystemError(errno));
    std::vector<UInt32> words;
    std::vector<unsigned char> piece(size_t{1} << 20);
    std::vector<unsigned char> bytes;
    while (const size_t size = std::fread(piece.data(), 1, piece.size(), file.get()))
        bytes.insert(bytes.end(), piece.begin(), piece.begin() + static_cast<std::ptrdiff_t>(size));
    if (std::ferror(file.get()) != 0) fail(DescribeSystemError(errno));
    if (bytes.empty()) fail("it is empty");
    if (bytes.size() % sizeof(UInt32) != 0)
        fail(std::to_string(bytes.size()) + " bytes are no whole number of 32-bit values");
    words.resize(bytes.size() / sizeof(UInt32));
    std::copy(bytes.begin(), bytes.end(), reinterpret_cast<unsigned char*>(words.data()));
    return words;
}

class PrefixSumCommand : public Command {
public:
    void AddOptions(CLI::App& app) override {
        app.add_option("IN", _in, "The file of 32-bit unsigned values, little-endian")->required();
        app.add_option("OUT", _out, "The file to write the exclusive sums to, likewise")->required();
        app.add_flag("--pairs", _pairs, "Write each sum with its value behind it");
        app.add_flag("--total", _total, "Print the sum of all values");
        app.footer("Sums are taken modulo 2^32.");
    }

    bool PrintsResult() const override { return _total; }
    void Run(Environment& environment) override {
        std::vector<UInt32> words = ReadWords(_in);
        const size_t count = words.size();
        Session session(environment);
        const Device device = session.OpenDevice();
        const OpenCLTaskRef task = device.GetTask(kPrefixSumTask);
        const Data asked = device.Check(Data::Of(static_cast<Int64>(count)), "count the values");
        const Data padded = task.QueryParameter(0, asked);
        const Int64* paddedCount = padded.Find<Int64>();
        if (paddedCount == nullptr)
            throw Failure("the task " + Quote(kPrefixSumTask) + " gives no size for its buffers");

        const size_t width = _pairs ? 2 : 1;
        const auto create = [&](size_t elements, const char* what) {
            return device.Check(
                device.context.CreateBuffer(OpenCLMemoryFlags::READ_WRITE, elements * sizeof(UInt32)),
                "make a buffer for " + std::to_string(elements) + " " + what);
        };
        const OpenCLMemoryObjectRef input = create(static_cast<size_t>(*paddedCount), "values");
        const OpenCLMemoryObjectRef output = create(static_cast<size_t>(*paddedCount) * width, "sums");
        device.Check(device.queue.EnqueueWriteBuffer(input, true, 0, count * sizeof(UInt32), words.data()),
                     "send the values");
        UInt32 total = 0;
        PrefixSumParameters parameters;
        parameters.input = &input;
        parameters.output = &output;
        parameters.paddedCount = *paddedCount;
        parameters.count = static_cast<Int64>(count);
        parameters.merge = _pairs;
        parameters.total = &total;
        device.Run(task, kPrefixSumTask, &parameters);
        words.resize(count * width);
        device.Check(
            device.queue.EnqueueReadBuffer(output, true, 0, words.size() * sizeof(UInt32), words.data()),
            "get the sums back");

        OutputFile out(_out, OutputFile::Access::SEQUENTIAL);
        out.Write(words.data(), words.size() * sizeof(UInt32));
        out.Commit();
        if (_total) std::printf("%" PRIu32 "\n", total);
    }

private:
    std::string _in;
    std::string _out;
    bool _pairs = false;
    bool _total = false;
};

}  // namespace

CommandPtr MakePrefixSumCommand() {
    return std::make_unique<PrefixSumCommand>();
}

}  // namespace nuvra::app
