#pragma once

#include <nlohmann/json.hpp>

#include "module_fixture.h"
#include "tracing/recorder.h"

namespace nuvra::test {

using Json = nlohmann::ordered_json;

/// The module on the fake runtime with tracers on, whose files lie in a folder of the test's own.
class TracingTest : public ModuleTest {
protected:
    TracingTest();
    ~TracingTest() override;
    void SetUp() override {}

    /// Starts the module with a trace and a log.
    void StartTraced(host::TracingOptions options = {});
    /// Completes the files; the module goes on.
    void Finish() { tracing->Finish(); }

    /// The log's lines since the last look, without times and threads: an object's address is left out, any
    /// other that is one is "ptr".
    Texts TakeLog();
    /// The same of what `operation` does.
    template <class Operation>
    Texts LogOf(const Operation& operation) {
        TakeLog();
        operation();
        return TakeLog();
    }
    /// The trace file's events but the first, which names the process; parsed as viewers do, which complete a
    /// file that was cut short.
    Json ReadTrace() const;

    /// An event of a thread, or of thread 7.
    UInt32 BeginOn(UInt64 thread, const char* name, const char* code, ...);
    void EndOn(UInt64 thread, const char* name, const char* code, ...);
    template <class... Values>
    UInt32 Begin(const char* name, const char* code, Values... values) {
        return BeginOn(7, name, code, values...);
    }
    template <class... Values>
    void End(const char* name, const char* code, Values... values) {
        EndOn(7, name, code, values...);
    }
    host::Recorder& GetRecorder() const { return host::GetRecorder(*tracing); }

    std::filesystem::path folder;
    std::filesystem::path traceFile;
    std::filesystem::path logFile;

private:
    size_t _linesSeen = 0;
};

/// The text of a file.
std::string ReadText(const std::filesystem::path& path);

}  // namespace nuvra::test
