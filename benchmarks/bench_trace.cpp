// The cost of tracing on a runtime whose functions return at once: the module without a tracer beside a build
// that has no test for one, and both beside a written trace file. And the peak memory of a long trace.

#include <cstdio>
#include <random>

#include "framework.h"
#include "peak_memory.h"
#include "table.h"

namespace nuvra::bench {
namespace {

namespace fs = std::filesystem;

/// A trace file, removed with the object.
class TraceFile {
public:
    TraceFile()
        : _path(fs::temp_directory_path() / ("bench-trace-" + std::to_string(std::random_device()()))) {}
    TraceFile(const TraceFile&) = delete;
    TraceFile& operator=(const TraceFile&) = delete;
    ~TraceFile() { fs::remove(_path); }

    std::shared_ptr<host::Tracing> Open() const {
        return std::make_shared<host::Tracing>(host::TracingOptions{.traceFile = _path});
    }
    size_t GetSize() const { return fs::file_size(_path); }

private:
    fs::path _path;
};

/// The module with a kernel to call.
class Calls {
public:
    explicit Calls(const fs::path& module, std::shared_ptr<host::Tracing> tracing = {})
        : _framework(NUVRA_RUNTIME_FILE, module, std::move(tracing)),
          _context(Framework::CreateContext()),
          _queue(Check(_context.CreateCommandQueue())),
          _buffer(Check(_context.CreateBuffer(OpenCLMemoryFlags::READ_WRITE, sizeof _value))),
          _program(Check(_context.CreateProgramWithSource(1, &kSource))),
          _kernel(Check(_program.CreateKernel("Touch"))) {}

    bool SetScalar() { return _kernel.SetArg(1, &_number, 1).IsOk(); }
    bool SetMemory() { return _kernel.SetArg(0, _buffer).IsOk(); }
    bool Finish() { return _queue.Finish().IsOk(); }
    bool Launch() { return _queue.EnqueueNDRangeKernel(_kernel, 1, nullptr, &_value, nullptr).IsOk(); }
    bool Read() { return _queue.EnqueueReadBuffer(_buffer, true, 0, sizeof _value, &_value).IsOk(); }

private:
    static constexpr const char* kSource = "kernel void Touch() {}";

    Framework _framework;
    OpenCLContextRef _context;
    OpenCLCommandQueueRef _queue;
    OpenCLMemoryObjectRef _buffer;
    OpenCLProgramRef _program;
    OpenCLKernelRef _kernel;
    size_t _value = 1;
    UInt32 _number = 1;
};

using Operation = bool (Calls::*)();

void Repeat(benchmark::State& state, Calls& calls, Operation operation) {
    for (auto _ : state) {
        if (!(calls.*operation)()) [[unlikely]] {
            state.SkipWithError("a call failed");
            break;
        }
    }
}

void RunWith(benchmark::State& state, const char* module, Operation operation) {
    Calls calls(module);
    Repeat(state, calls, operation);
}

void RunTraced(benchmark::State& state, Operation operation) {
    const TraceFile file;
    Calls calls(NUVRA_MODULE_FILE, file.Open());
    Repeat(state, calls, operation);
}

std::vector<Row> GetRows(bool isTraced) {
    const std::pair<const char*, Operation> operations[] = {
        {"set argument, scalar", &Calls::SetScalar},
        {"set argument, memory object", &Calls::SetMemory},
        {"launch", &Calls::Launch},
        {"read", &Calls::Read},
        {"finish", &Calls::Finish},
    };
    std::vector<Row> rows;
    for (const auto& [name, operation] : operations) {
        const auto untraced = [operation](auto& state) { RunWith(state, NUVRA_UNTRACED_MODULE, operation); };
        const auto unwatched = [operation](auto& state) { RunWith(state, NUVRA_MODULE_FILE, operation); };
        const auto traced = [operation](auto& state) { RunTraced(state, operation); };
        if (isTraced)
            rows.push_back({name, 1000, {{"unwatched", unwatched}, {"trace file", traced}}});
        else
            rows.push_back(
                {name, 2, {{"without", untraced}, {"unwatched", unwatched}, {"without again", untraced}}});
    }
    return rows;
}

void MeasureMemory() {
    constexpr int kCalls = 1'000'000;
    const size_t before = GetPeakMemory();
    const TraceFile file;
    {
        Calls calls(NUVRA_MODULE_FILE, file.Open());
        for (int i = 0; i < kCalls / 2; i++)
            if (!calls.SetMemory() || !calls.Launch()) throw std::runtime_error("a call failed");
    }
    const auto mebibytes = [](size_t bytes) { return static_cast<double>(bytes) / (1 << 20); };
    std::printf(
        "A trace of a million calls: the process had at most %.1f MiB (%.1f before), the file has %.1f\n",
        mebibytes(GetPeakMemory()), mebibytes(before), mebibytes(file.GetSize()));
}

}  // namespace
}  // namespace nuvra::bench

int main(int argc, char** argv) {
    using namespace nuvra::bench;
    if (!Initialize(argc, argv)) return 2;
    try {
        MeasureMemory();
        const bool areCheap = RunTable("Calls that nobody watches", GetRows(false), {});
        return RunTable("Calls with a trace file", GetRows(true), {}) && areCheap ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
