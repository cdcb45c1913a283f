#include <CLI/CLI.hpp>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <future>
#include <vector>

#include "commands/checksum_list.h"
#include "console/command.h"
#include "console/failure.h"
#include "console/progress.h"
#include "console/values.h"
#include "device/session.h"
#include "nuvra/host/file_name.h"
#include "system/system.h"

namespace nuvra::app {

namespace {

constexpr const char* kChecksumTask = "crc32c";
constexpr const char* kStandardInput = "-";

/// Closes all streams but the standard input.
struct StreamCloser {
    void operator()(std::FILE* stream) const {
        if (stream != stdin) std::fclose(stream);
    }
};
using Stream = std::unique_ptr<std::FILE, StreamCloser>;

/// Checksums streams on a device, piece by piece through two buffers in turn: one is filled while the other
/// is summed up.
class Checksummer {
public:
    Checksummer(const Device& device, Int64 piece)
        : _device(device),
          _task(device.GetTask(kChecksumTask)),
          _filling(device.Check(device.context.CreateCommandQueue(), "make a command queue")),
          _piece(static_cast<size_t>(piece)),
          _data{MakeBuffer(OpenCLMemoryFlags::READ_ONLY | OpenCLMemoryFlags::ALLOC_HOST_PTR, _piece),
                MakeBuffer(OpenCLMemoryFlags::READ_ONLY | OpenCLMemoryFlags::ALLOC_HOST_PTR, _piece)},
          _crc(MakeBuffer(OpenCLMemoryFlags::READ_WRITE, sizeof(UInt32))) {}

    /// The checksum of what the stream holds. Throws a `Failure` that names it.
    UInt32 Run(std::FILE* stream, const std::string& name, Progress& progress) {
        size_t size = Fill(_data[0], stream, name);
        for (size_t piece = 0;; piece++) {
            Add(_data[piece % 2], size, piece == 0);
            progress.Advance(static_cast<Int64>(size));
            if (size < _piece) break;
            std::future<size_t> next =
                std::async(std::launch::async, [&] { return Fill(_data[(piece + 1) % 2], stream, name); });
            // Some runtimes start a task only when it is waited for.
            _device.Check(_device.queue.Finish(), "wait for the checksum");
            size = next.get();
        }
        UInt32 value = 0;
        _device.Check(_device.queue.EnqueueReadBuffer(_crc, true, 0, sizeof(value), &value),
                      "read the checksum");
        return ~value;
    }

private:
    OpenCLMemoryObjectRef MakeBuffer(UInt32 flags, size_t size) const {
        return _device.Check(_device.context.CreateBuffer(flags, size),
                             "make a buffer of " + std::to_string(size) + " bytes");
    }

    /// Reads the next bytes of the stream, as many as a piece has unless it ends, to where the device takes
    /// them from.
    size_t Fill(const OpenCLMemoryObjectRef& data, std::FILE* stream, const std::string& name) const {
        void* bytes = _device.Check(
            _filling.EnqueueMapBuffer(data, true, OpenCLMapFlags::WRITE_INVALIDATE_REGION, 0, _piece),
            "map the buffer");
        size_t size = 0;
        int systemError = 0;
        while (true) {
            size += std::fread(static_cast<char*>(bytes) + size, 1, _piece - size, stream);
            systemError = std::ferror(stream) != 0 ? errno : 0;
            if (systemError != EINTR) break;
            // A runtime's handler of a signal ends the read, and behind it the program's ends the program.
            std::clearerr(stream);
        }
        _device.Check(_filling.EnqueueUnmapMemObject(data, bytes), "fill the buffer");
        _device.Check(_filling.Finish(), "fill the buffer");
        if (systemError != 0)
            throw Failure("cannot read " + Quote(name) + ": " + DescribeSystemError(systemError));
        return size;
    }

    void Add(const OpenCLMemoryObjectRef& data, size_t size, bool isFirst) {
        if (size == 0 && !isFirst) return;
        Crc32cParameters parameters;
        parameters.data = &data;
        parameters.crc = &_crc;
        parameters.size = static_cast<Int32>(size);
        parameters.start = isFirst;
        _device.Run(_task, kChecksumTask, &parameters);
    }

    const Device& _device;
    OpenCLTaskRef _task;
    OpenCLCommandQueueRef _filling;  ///< of its own: commands of one queue wait for each other
    const size_t _piece;             ///< bytes
    std::array<OpenCLMemoryObjectRef, 2> _data;
    OpenCLMemoryObjectRef _crc;
};

class Crc32cCommand : public Command {
public:
    void AddOptions(CLI::App& app) override {
        app.add_option("FILE", _names, "The files to checksum; - is the standard input");
        app.add_option_function<std::string>(
               "--piece", [this](const std::string& text) { _piece = ParseByteCount("--piece", text); },
               "How much to give to the device at a time (4M); K, M and G may follow the number")
            ->type_name("BYTES");
        app.add_option("--check", _list, "Verify the files of a list that this command has printed")
            ->type_name("FILE");
        app.footer(
            "Each line is the CRC-32C in hexadecimal digits, two spaces and the name. A backslash before\n"
            "them says that \\\\, \\n and \\r in the name stand for a backslash and for ends of lines. One\n"
            "work-item does a piece: a driver may stop one that runs too long.");
    }

    bool PrintsResult() const override { return true; }
    std::vector<std::string> ListOtherFiles() override {
        if (_names.empty() == _list.empty()) throw WrongArguments("give either files or --check");
        if (_piece < 1 || _piece > INT32_MAX) throw WrongArguments("--piece needs 1 to 2147483647 bytes");
        std::vector<std::string> names;
        if (!_list.empty()) _listed = ReadChecksumList(_list);
        for (const ListedFile& file : _listed) names.push_back(file.name);
        return names;
    }

    void Run(Environment& environment) override {
        Session session(environment);
        const Device device = session.OpenDevice();
        Checksummer checksummer(device, _piece);
        int failures = 0;
        for (const std::string& name : _names)
            Try(failures, [&] {
                const UInt32 checksum = Checksum(checksummer, name, environment);
                const EscapedName shown = EscapeName(name);
                std::printf("%s%08" PRIx32 "  %s\n", shown.prefix, checksum, shown.text.c_str());
                return true;
            });
        for (const auto& entry : _listed)
            Try(failures, [&] {
                const auto& [checksum, name] = entry;
                const bool isRight = Checksum(checksummer, name, environment) == checksum;
                const EscapedName shown = EscapeName(name);
                std::printf("%s%s: %s\n", shown.prefix, shown.text.c_str(), isRight ? "OK" : "FAILED");
                return isRight;
            });
        if (failures > 0)
            throw Failure(std::to_string(failures) + " of " + std::to_string(_names.size() + _listed.size()) +
                          (_listed.empty() ? " files could not be read" : " files failed"));
    }

private:
    /// A file's failure is printed at once; the other files are still done.
    template <class Work>
    static void Try(int& failures, const Work& work) {
        try {
            if (!work()) failures++;
        } catch (const Failure& failure) {
            std::fflush(stdout);
            PrintError(failure.what());
            failures++;
        }
    }

    static UInt32 Checksum(Checksummer& checksummer, const std::string& name,
                           const Environment& environment) {
        const Stream stream(name == kStandardInput ? GetStandardInput()
                                                   : host::OpenFile(host::ToPath(name), "rb"));
        if (stream == nullptr)
            throw Failure("cannot read " + Quote(name) + ": " + DescribeSystemError(errno));
        std::error_code unknown;
        const auto size = std::filesystem::file_size(host::ToPath(name), unknown);
        Progress progress(environment.terminal, "checksumming " + name,
                          unknown || size == 0 ? 1 : static_cast<Int64>(size));
        return checksummer.Run(stream.get(), name, progress);
    }

    std::vector<std::string> _names;
    std::string _list;
    std::vector<ListedFile> _listed;
    Int64 _piece = Int64{4} << 20;
};

}  // namespace

CommandPtr MakeCrc32cCommand() {
    return std::make_unique<Crc32cCommand>();
}

}  // namespace nuvra::app
