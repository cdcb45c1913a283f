#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>
#include <vector>

#include "console/command.h"
#include "console/failure.h"
#include "console/output_file.h"
#include "console/progress.h"
#include "console/values.h"
#include "device/session.h"

namespace nuvra::app {

namespace {

constexpr const char* kClearTask = "clearmem";

/// The buffer is filled and read in pieces; the pattern repeats after 256 bytes, so all begin alike.
constexpr Int64 kPiece = Int64{16} << 20;

std::vector<unsigned char> MakePattern(Int64 size) {
    std::vector<unsigned char> pattern(static_cast<size_t>(size));
    for (size_t i = 0; i < pattern.size(); i++) pattern[i] = static_cast<unsigned char>(i * 31 + 7);
    return pattern;
}

class ClearCommand : public Command {
public:
    void AddOptions(CLI::App& app) override;
    void Run(Environment& environment) override;

private:
    void Clear(const Device& device, Int64 bufferSize, OutputFile& out, std::FILE* terminal) const;

    std::string _out;
    Int64 _size = 0;
    std::optional<Int64> _bufferSize;
    Int64 _value = 0;
};

void ClearCommand::AddOptions(CLI::App& app) {
    app.add_option("OUT", _out, "The file to write the whole buffer to")->required();
    app.add_option_function<std::string>(
           "--size", [this](const std::string& text) { _size = ParseByteCount("--size", text); },
           "How many bytes to fill, from the first; K, M and G may follow the number")
        ->type_name("BYTES")
        ->required();
    app.add_option("--value", _value, "The byte to fill with (0)")
        ->type_name("0..255")
        ->check(CLI::Range(Int64{0}, Int64{255}).description(""));
    app.add_option_function<std::string>(
           "--buffer-size",
           [this](const std::string& text) { _bufferSize = ParseByteCount("--buffer-size", text); },
           "The size of the buffer (as --size)")
        ->type_name("BYTES");
    app.footer("Before, byte I of the buffer is (31 * I + 7) modulo 256, so that OUT shows what was filled.");
}

void ClearCommand::Run(Environment& environment) {
    const Int64 bufferSize = _bufferSize.value_or(_size);
    if (bufferSize < 1) throw WrongArguments("a buffer has at least one byte");
    if (_size > bufferSize)
        throw WrongArguments("--size " + std::to_string(_size) + " is more than the buffer's " +
                             std::to_string(bufferSize) + " bytes");
    Session session(environment);
    const Device device = session.OpenDevice();
    OutputFile out(_out, OutputFile::Access::SEQUENTIAL);
    Clear(device, bufferSize, out, environment.terminal);
    out.Commit();
}

void ClearCommand::Clear(const Device& device, Int64 bufferSize, OutputFile& out, std::FILE* terminal) const {
    const OpenCLMemoryObjectRef buffer = device.Check(
        device.context.CreateBuffer(OpenCLMemoryFlags::READ_WRITE, static_cast<UInt64>(bufferSize)),
        "make a buffer of " + std::to_string(bufferSize) + " bytes");
    std::vector<unsigned char> piece = MakePattern(std::min(bufferSize, kPiece));
    Progress progress(terminal, "clearing on " + device.name, 2 * bufferSize);
    const auto forEachPiece = [&](const auto& transfer) {
        for (Int64 offset = 0; offset < bufferSize; offset += kPiece) {
            const Int64 size = std::min(bufferSize - offset, kPiece);
            transfer(static_cast<size_t>(offset), static_cast<size_t>(size));
            progress.Advance(size);
        }
    };
    forEachPiece([&](size_t offset, size_t size) {
        device.Check(device.queue.EnqueueWriteBuffer(buffer, true, offset, size, piece.data()),
                     "fill the buffer");
    });
    ClearMemParameters parameters;
    parameters.buffer = &buffer;
    parameters.size = _size;
    parameters.value = static_cast<UChar>(_value);
    device.Run(device.GetTask(kClearTask), kClearTask, &parameters);
    forEachPiece([&](size_t offset, size_t size) {
        device.Check(device.queue.EnqueueReadBuffer(buffer, true, offset, size, piece.data()),
                     "read the buffer");
        out.Write(piece.data(), size);
    });
}

}  // namespace

CommandPtr MakeClearCommand() {
    return std::make_unique<ClearCommand>();
}

}  // namespace nuvra::app
