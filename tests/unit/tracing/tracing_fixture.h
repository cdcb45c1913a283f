#pragma once

#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <regex>

#include "module_fixture.h"
#include "tracing/recorder.h"

namespace nuvra::test {

using Json = nlohmann::ordered_json;

inline std::string ReadText(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

/// The module on the fake runtime with tracers on, whose files lie in a folder of the test's own.
class TracingTest : public ModuleTest {
protected:
    TracingTest() { std::filesystem::create_directories(folder); }
    ~TracingTest() override {
        // A module that stays loaded holds the tracer; a file that is open is not removed on every system.
        if (tracing != nullptr) tracing->Finish();
        tracing = nullptr;
        std::filesystem::remove_all(folder);
    }
    void SetUp() override {}

    void MakeTracing(host::TracingOptions options = {}) {
        options.traceFile = traceFile;
        options.logFile = logFile;
        tracing = std::make_shared<host::Tracing>(options);
    }
    void StartTraced(const host::TracingOptions& options = {}) {
        MakeTracing(options);
        Start(FakeLibrary());
    }

    /// The log's lines since the last look, without times and threads: an object's address is left out, any
    /// other that is one is "ptr".
    Texts TakeLog() {
        static const std::pair<std::regex, const char*> kChanges[] = {
            {std::regex("^[0-9.]+ ms, thread [0-9]+: "), ""},
            {std::regex(" \\(0x[0-9a-f]+\\)"), ""},
            {std::regex("([= \\[])0x[0-9a-f]{6,}"), "$1ptr"},  // not the bits behind the names of others
            {std::regex(", [0-9.]+ us"), ""},
        };
        std::istringstream lines(ReadText(logFile).substr(_seen));
        Texts taken;
        for (std::string line; std::getline(lines, line);) {
            _seen += line.size() + 1;
            for (const auto& [what, with] : kChanges) line = std::regex_replace(line, what, with);
            taken.push_back(line);
        }
        return taken;
    }

    /// The trace file's events but the first, which names the process; parsed as viewers do, which complete a
    /// file that was cut short.
    Json ReadTrace() const {
        std::string text = ReadText(traceFile);
        if (!text.ends_with("\n]\n")) text += ']';
        Json events = Json::parse(text);
        EXPECT_EQ(events.at(0).at("name"), "process_name");
        events.erase(0);
        return events;
    }
    Json ReadFinished() const {
        tracing->Finish();
        return ReadTrace();
    }

    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("nuvra-tracing-" + std::to_string(std::random_device()()));
    const std::filesystem::path traceFile = folder / "trace.json";
    const std::filesystem::path logFile = folder / "log";

private:
    size_t _seen = 0;  ///< bytes of the log
};

}  // namespace nuvra::test
