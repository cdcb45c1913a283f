#include "tracing_fixture.h"

#include <fstream>
#include <random>
#include <regex>
#include <sstream>

namespace nuvra::test {

namespace fs = std::filesystem;

namespace {

std::string Normalize(const std::string& line) {
    static const std::regex kHead("^[0-9.]+ ms, thread [0-9]+: ");
    static const std::regex kHandle(" \\(0x[0-9a-f]+\\)");
    static const std::regex kPointer("([= \\[])0x[0-9a-f]{6,}");  // not the bits behind the names of others
    static const std::regex kDuration(", [0-9.]+ us");
    std::string text = std::regex_replace(line, kHead, "");
    text = std::regex_replace(text, kHandle, "");
    text = std::regex_replace(text, kPointer, "$1ptr");
    return std::regex_replace(text, kDuration, "");
}

}  // namespace

TracingTest::TracingTest()
    : folder(fs::temp_directory_path() / ("nuvra-tracing-" + std::to_string(std::random_device()()))),
      traceFile(folder / "trace.json"),
      logFile(folder / "log") {
    fs::create_directories(folder);
}

TracingTest::~TracingTest() {
    // A module that stays loaded holds the tracer; a file that is open is not removed on every system.
    if (tracing != nullptr) tracing->Finish();
    tracing = nullptr;
    fs::remove_all(folder);
}

void TracingTest::StartTraced(host::TracingOptions options) {
    options.traceFile = traceFile;
    options.logFile = logFile;
    tracing = std::make_shared<host::Tracing>(options);
    Start(FakeLibrary());
}

std::string ReadText(const fs::path& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

Texts TracingTest::TakeLog() {
    std::istringstream lines(ReadText(logFile));
    Texts taken;
    size_t number = 0;
    for (std::string line; std::getline(lines, line);)
        if (number++ >= _linesSeen) taken.push_back(Normalize(line));
    _linesSeen = number;
    return taken;
}

Json TracingTest::ReadTrace() const {
    std::string text = ReadText(traceFile);
    if (!text.ends_with("\n]\n")) text += ']';
    Json events = Json::parse(text);
    EXPECT_EQ(events.at(0).at("name"), "process_name");
    events.erase(0);
    return events;
}

UInt32 TracingTest::BeginOn(UInt64 thread, const char* name, const char* code, ...) {
    va_list values;
    va_start(values, code);
    const UInt32 cookie = GetRecorder().Begin(thread, name, code, values);
    va_end(values);
    return cookie;
}

void TracingTest::EndOn(UInt64 thread, const char* name, const char* code, ...) {
    va_list values;
    va_start(values, code);
    GetRecorder().End(thread, name, code, values);
    va_end(values);
}

}  // namespace nuvra::test
