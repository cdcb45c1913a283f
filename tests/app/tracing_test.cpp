#include <algorithm>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "pictures.h"
#include "program.h"

namespace nuvra::test {

namespace {

using Json = nlohmann::json;
using OIIO::TypeDesc;

class UnixTracingTest : public ProgramTest {
public:
    UnixTracingTest() {
        WritePicture("in.png", MakeTestPicture(TypeDesc::UINT8, 40, 30, 4));
        WriteFile("words", std::string(4000, '\x01'));
    }

    /// The events of a trace, of a file that was cut short too, as viewers read it.
    static Json ReadTrace() {
        std::string text = ReadFile("t.json");
        if (!text.ends_with("\n]\n")) text += ']';
        return Json::parse(text);
    }
};

/// What must hold for any trace: slices of a thread follow each other or nest, a slice has arguments and
/// results, and an instant is one of the few events that have no call.
void ExpectSound(const Json& events) {
    std::map<Json, std::vector<std::pair<std::int64_t, std::int64_t>>> slices;
    const auto nanoseconds = [](const Json& time) { return std::llround(time.get<double>() * 1000); };
    for (const Json& event : events) {
        const std::string phase = event.at("ph");
        if (phase == "X") {
            const std::int64_t begin = nanoseconds(event.at("ts"));
            slices[event.at("tid")].emplace_back(begin, begin + nanoseconds(event.at("dur")));
            EXPECT_FALSE(event.at("args").at("arguments").empty()) << event;
            EXPECT_FALSE(event.at("args").at("results").empty()) << event;
        } else {
            const std::set<std::string> instants{"process_name", "OpenCLTracerInit", "OpenCLSetPlatformInfo",
                                                 "OpenCLSetDeviceInfo", "clSetKernelArg"};
            const std::string name = event.at("name");
            EXPECT_TRUE(instants.contains(name) || name.starts_with("OpenCL tracer initialization.")) << name;
        }
    }
    for (auto& [thread, list] : slices) {
        std::sort(list.begin(), list.end());
        std::vector<std::int64_t> ends;
        for (const auto& [begin, end] : list) {
            while (!ends.empty() && ends.back() <= begin) ends.pop_back();
            EXPECT_TRUE(ends.empty() || end <= ends.back()) << "a slice leaves the one that it began in";
            ends.push_back(end);
        }
    }
}

TEST_F(UnixTracingTest, ATaskLeavesASoundTraceAndNothingElse) {
    const std::pair<std::string, std::map<std::string, int>> cases[] = {
        {"scale in.png out.tif --factor 0.5", {{" PrepareBufferPositive", 2}, {" ScaleBicubic", 1}}},
        {"crc32c words", {{" CalculateCRC", 1}}},
    };
    for (const auto& [arguments, kernels] : cases) {
        SCOPED_TRACE(arguments);
        const Outcome plain = Run(arguments);
        const Outcome traced = Run(arguments + " --trace t.json --leak-check --serialize --call-stats");
        EXPECT_EQ(traced.status, 0);
        EXPECT_EQ(traced.out, plain.out);
        ExpectHas(traced.err, " made, 0 not released");
        ExpectHas(traced.err, "\n " + kernels.rbegin()->first + "  ");
        const Json events = ReadTrace();
        ExpectSound(events);
        std::map<std::string, int> calls;
        for (const Json& event : events) calls[event.at("name")]++;
        for (const auto& [kernel, count] : kernels)
            EXPECT_EQ(calls["clEnqueueNDRangeKernel" + kernel], count);
        EXPECT_EQ(calls["clReleaseContext"], 1);
    }
}

TEST_F(UnixTracingTest, RecordsGoToFilesOrStandardStreamsAndFailuresStandOut) {
    ASSERT_EQ(RunFake("devices --log log").status, 0);
    const std::string log = ReadFile("log");
    const Outcome outcome = RunFake("devices --log -");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(std::ranges::count(outcome.err, '\n'), std::ranges::count(log, '\n'));
    ExpectHas(log, "clGetPlatformIDs(num_entries=0, platforms=null");

    const Outcome piped = RunFake("invert in.png out.png --trace -");
    EXPECT_EQ(piped.err, "");
    ExpectSound(Json::parse(piped.out));

    const Outcome failed = RunFake("invert in.png out.png --log - --trace t.json",
                                   "FAKE_PLATFORMS=One FAKE_FAIL=clBuildProgram=-11");
    EXPECT_EQ(failed.status, 1);
    ExpectHas(failed.err, "-> result=CL_BUILD_PROGRAM_FAILURE, ");
    ExpectHas(failed.err, " us, FAILED\n");
    std::set<std::string> broken;
    for (const Json& event : ReadTrace())
        if (event.value("cat", "") == "OpenCL,failed") broken.insert(event.at("name"));
    EXPECT_TRUE(broken.contains("clBuildProgram: CL_BUILD_PROGRAM_FAILURE"));
}

TEST_F(UnixTracingTest, LeaksAreTheExitStatus) {
    const Outcome outcome =
        RunFake("crc32c words --leak-check", "FAKE_PLATFORMS=One FAKE_FAIL=clReleaseKernel=-5");
    EXPECT_EQ(outcome.status, 1);
    ExpectHas(outcome.err, " made, 1 not released\n  kernel#1 CalculateCRC (0x");
    ExpectHas(outcome.err, ": clCreateKernel(program=program#1 ");
}

TEST_F(UnixTracingTest, ATracerThatFailsChangesNothingAndIsToldOnce) {
    const Outcome plain = RunFake("crc32c words");
    for (const std::string file : {"no/t.json", "/dev/full"}) {
        const Outcome outcome = RunFake("crc32c words --trace " + file);
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.out, plain.out);
        EXPECT_TRUE(outcome.err.starts_with("nuvra-cl: cannot write \"" + file + "\": ")) << outcome.err;
        EXPECT_EQ(std::ranges::count(outcome.err, '\n'), 1) << outcome.err;
    }
    RunShell(
        "{ $PROGRAM crc32c words --log - --call-stats --leak-check 2>&1 >sums; echo $? >status; } | true");
    EXPECT_EQ(ReadFile("status"), "0\n");
    const std::string command =
        "FAKE_PLATFORMS=One $PROGRAM crc32c --piece 10 words --trace t.json --runtime " SCRIPTED_RUNTIME;
    // Who reads it goes away.
    const Outcome unread = RunShell("mkfifo log; head -c 1 log >first & " + command + " --log log");
    EXPECT_EQ(unread.status, 0);
    EXPECT_EQ(unread.out, plain.out);
    ExpectHas(unread.err, "\"log\": Broken pipe");
    // The disk fills after some of it; what fits is whole.
    const Outcome full = RunShell("trap '' XFSZ; ulimit -f 200; " + command);
    EXPECT_EQ(full.status, 0);
    EXPECT_EQ(full.out, plain.out);
    ExpectHas(full.err, "File too large");
    EXPECT_FALSE(ReadFile("t.json").ends_with("]\n"));
    ExpectSound(ReadTrace());
    EXPECT_GT(ReadTrace().size(), 100U);
}

TEST_F(UnixTracingTest, NothingElseIsOverwrittenByATraceOrALog) {
    namespace fs = std::filesystem;
    fs::create_hard_link("words", "hard");
    fs::create_symlink("words", "link");
    fs::create_symlink("out.png", "new");
    WriteFile("empty", "");
    ASSERT_EQ(RunFake("devices --trace t.json --log log").status, 0);
    WriteFile("sums", "e3069283  words\n00000000  t.json\n");
    ExpectRefusals({
        {"crc32c --log words ./words", 2, "--log and FILE name the same file, \"./words\""},
        {"crc32c t.json hard --trace link", 2, "--trace and FILE name the same file, \"hard\""},
        {"crc32c --check sums --log sums", 2, "--log and --check name the same file"},
        {"crc32c --check sums --trace t.json", 2, "--trace and the list name the same file, \"t.json\""},
        {"stereo in.png t.json x.png --trace t.json", 2, "--trace and RIGHT name the same file"},
        {"chart out.png --log new", 2, "--log and OUT name the same file, \"out.png\""},
        {"tasks --trace s --log ./s", 2, "--trace and --log name the same file, \"./s\""},
        {"tasks --log in.png", 1, "--log would overwrite \"in.png\", which is no log"},
        {"tasks --log t.json", 1, "--log would overwrite \"t.json\", which is no log"},
        {"tasks --trace log", 1, "--trace would overwrite \"log\", which is no trace"},
    });
    const Texts before = ListFiles();
    ExpectFailure(Run("tasks --runtime s --log s"), 2, "--log and --runtime name the same file", before);
    for (const std::string files : {"t.json --log log", "empty --log /dev/null", "/dev/null --log /dev/null"})
        EXPECT_EQ(RunFake("tasks --trace " + files).status, 0) << files;
    EXPECT_EQ(RunFake("crc32c - --log - <words").status, 0);
}

TEST_F(UnixTracingTest, AnInterruptedProgramLeavesItsTrace) {
    // It waits for more input when it is interrupted.
    const Outcome outcome = RunShell(
        "mkfifo pipe; sleep 100 >pipe & holder=$!; "
        "$PROGRAM crc32c - --trace t.json --log log --call-stats <pipe & program=$!; "
        "for i in $(seq 100); do sleep 0.1; grep -q clCreateKernel log && break; done; "
        "kill -TERM $program; wait $program; status=$?; kill $holder; exit $status");
    EXPECT_EQ(outcome.status, 128 + 15) << outcome.err;
    ExpectHas(outcome.err, "clCreateContext");
    EXPECT_TRUE(ReadFile("t.json").ends_with("\n]\n"));
    ExpectSound(ReadTrace());
    EXPECT_GT(ReadTrace().size(), 50U);
}

}  // namespace

}  // namespace nuvra::test
