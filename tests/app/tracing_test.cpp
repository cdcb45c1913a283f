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

class TracingOptionsTest : public ProgramTest {
public:
    TracingOptionsTest() {
        WritePicture("in.png", MakeTestPicture(TypeDesc::UINT8, 40, 30, 4));
        WriteFile("words", std::string(4000, '\x01'));
    }

    /// The events of a trace, of a file that was cut short too, as viewers read it.
    static Json ReadTrace(const std::string& file = "t.json") {
        std::string text = ReadFile(file);
        if (!text.ends_with("\n]\n")) text += ']';
        return Json::parse(text);
    }
    static std::string GetCall(const Json& event) {
        const std::string name = event.at("name");
        return name.substr(0, name.find_first_of(" :"));
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

TEST_F(TracingOptionsTest, EveryTaskLeavesASoundTraceAndNothingElse) {
    struct Case {
        Texts arguments;
        std::vector<const char*> kernels;  ///< launched, in order
    };
    const Case cases[] = {
        {{"invert", "in.png", "out.png"}, {"InvertImage"}},
        {{"gamma", "in.png", "out.png", "--gamma", "2"}, {"InvertImage"}},
        {{"scale", "in.png", "out.png", "--factor", "0.5", "--filter", "nearest"}, {"ScaleNearest"}},
        {{"scale", "in.png", "out.png", "--factor", "0.5"},
         {"PrepareBufferPositive", "PrepareBufferPositive", "ScaleBicubic"}},
        {{"stereo", "in.png", "in.png", "out.png"}, {"InvertImage"}},
        {{"crc32c", "words"}, {"CalculateCRC"}},
        {{"prefixsum", "words", "out"}, {"scanExclusiveLocal1"}},
        {{"clear", "--size", "35", "--value", "7", "out"}, {"ClearMem16_v", "ClearMem1_v"}},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(::testing::PrintToString(test.arguments));
        const Outcome plain = Run(test.arguments);
        const std::string result = ReadFile(test.arguments[0] == "crc32c" ? "words" : test.arguments.back());
        Texts arguments = test.arguments;
        arguments.insert(arguments.end(), {"--trace", "t.json", "--leak-check", "--serialize"});
        const Outcome traced = Run(arguments);
        EXPECT_EQ(traced.status, 0) << traced.err;
        EXPECT_EQ(traced.out, plain.out);
        EXPECT_NE(traced.err.find(" made, 0 not released"), std::string::npos) << traced.err;

        const Json events = ReadTrace();
        ExpectSound(events);
        std::map<std::string, int> calls;
        Texts kernels;
        for (const Json& event : events) {
            calls[GetCall(event)]++;
            if (GetCall(event) != "clEnqueueNDRangeKernel") continue;
            kernels.push_back(event.at("name").get<std::string>().substr(23));
            EXPECT_EQ(event.at("args").at("results").at("result"), "CL_SUCCESS");
        }
        EXPECT_EQ(kernels, Texts(test.kernels.begin(), test.kernels.end()));
        EXPECT_EQ(calls["clCreateProgramWithSource"], 1);
        EXPECT_EQ(calls["clReleaseContext"], 1);
        EXPECT_EQ(calls["clCreateKernel"], calls["clReleaseKernel"]);
    }
}

TEST_F(TracingOptionsTest, RecordsGoToFilesOrStandardStreamsAndFailuresStandOut) {
    ASSERT_EQ(Run({"devices", "--log", "log"}).status, 0);
    const std::string log = ReadFile("log");
    const Outcome outcome = Run({"devices", "--log", "-"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'),
              std::count(log.begin(), log.end(), '\n'));
    EXPECT_NE(log.find("clGetPlatformIDs(num_entries=0, platforms=null"), std::string::npos) << log;

    const Outcome piped = Run({"invert", "in.png", "out.png", "--trace", "-"});
    EXPECT_EQ(piped.err, "");
    ExpectSound(Json::parse(piped.out));

    const Outcome failed = RunFake({"invert", "in.png", "out.png", "--log", "-", "--trace", "t.json"},
                                   {"FAKE_PLATFORMS=One", "FAKE_FAIL=clBuildProgram=-11"});
    EXPECT_EQ(failed.status, 1);
    EXPECT_NE(failed.err.find("-> result=CL_BUILD_PROGRAM_FAILURE, "), std::string::npos) << failed.err;
    EXPECT_NE(failed.err.find(" us, FAILED\n"), std::string::npos) << failed.err;
    Texts broken;
    for (const Json& event : ReadTrace())
        if (event.value("cat", "") == "OpenCL,failed" && GetCall(event) != "clGetDeviceInfo")
            broken.push_back(event.at("name"));
    EXPECT_EQ(broken, Texts{"clBuildProgram: CL_BUILD_PROGRAM_FAILURE"});
}

TEST_F(TracingOptionsTest, LeaksAreTheExitStatus) {
    const Outcome outcome =
        RunFake({"crc32c", "words", "--leak-check"}, {"FAKE_PLATFORMS=One", "FAKE_FAIL=clReleaseKernel=-5"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find(" made, 1 not released\n  kernel#1 CalculateCRC (0x"), std::string::npos)
        << outcome.err;
    EXPECT_NE(outcome.err.find(": clCreateKernel(program=program#1 "), std::string::npos) << outcome.err;
}

TEST_F(TracingOptionsTest, TheTableIsPrintedInTheEnd) {
    const Outcome outcome = Run({"crc32c", "words", "--call-stats"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.err.find("\n  CalculateCRC  "), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.out, Run({"crc32c", "words"}).out);
}

TEST_F(TracingOptionsTest, ATracerThatFailsChangesNothingAndIsToldOnce) {
    const Outcome plain = Run({"crc32c", "words"});
    for (const char* file : {"no/t.json", "/dev/full"}) {
        const Outcome outcome = Run({"crc32c", "words", "--trace", file});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.out, plain.out);
        EXPECT_EQ(outcome.err.rfind(std::string("nuvra-cl: cannot write \"") + file + "\": ", 0), 0U)
            << outcome.err;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    }
    RunShell(
        "{ $PROGRAM crc32c words --log - --call-stats --leak-check 2>&1 >sums; echo $? >status; } | true");
    EXPECT_EQ(ReadFile("status"), "0\n");
    // The disk fills after some of it; what fits is whole.
    const std::string command =
        "FAKE_PLATFORMS=One $PROGRAM crc32c --piece 10 words --trace t.json --runtime " SCRIPTED_RUNTIME;
    const Outcome whole = RunShell(command);
    // Who reads it goes away.
    const Outcome unread = RunShell("mkfifo log; head -c 1 log >first & " + command + " --log log");
    EXPECT_EQ(unread.status, 0) << unread.err;
    EXPECT_EQ(unread.out, whole.out);
    EXPECT_NE(unread.err.find("\"log\": Broken pipe"), std::string::npos) << unread.err;
    const Outcome full = RunShell("trap '' XFSZ; ulimit -f 200; " + command);
    EXPECT_EQ(full.status, 0) << full.err;
    EXPECT_EQ(full.out, whole.out);
    EXPECT_NE(full.err.find("File too large"), std::string::npos) << full.err;
    EXPECT_FALSE(ReadFile("t.json").ends_with("]\n"));
    ExpectSound(ReadTrace());
    EXPECT_GT(ReadTrace().size(), 100U);
}

TEST_F(TracingOptionsTest, NothingElseIsOverwrittenByATraceOrALog) {
    namespace fs = std::filesystem;
    fs::create_hard_link("words", "hard");
    fs::create_symlink("words", "link");
    fs::create_symlink("out.png", "new");
    WriteFile("empty", "");
    ASSERT_EQ(Run({"tasks", "--trace", "t.json", "--log", "log"}).status, 0);
    ASSERT_EQ(RunShell("$PROGRAM crc32c words t.json >sums").status, 0);
    std::map<std::string, std::string> before;
    for (const std::string& file : ListFiles()) before[file] = ReadFile(file);
    struct Case {
        Texts arguments;
        int status;
        const char* message;
    };
    const Case cases[] = {
        {{"crc32c", "--log", "words", "./words"}, 2, "--log and FILE name the same file, \"./words\""},
        {{"crc32c", "t.json", "hard", "--trace", "link"}, 2, "--trace and FILE name the same file, \"hard\""},
        {{"crc32c", "--check", "sums", "--log", "sums"}, 2, "--log and --check name the same file"},
        {{"crc32c", "--check", "sums", "--trace", "t.json"},
         2,
         "--trace and the list name the same file, \"t.json\""},
        {{"stereo", "in.png", "t.json", "x.png", "--trace", "t.json"},
         2,
         "--trace and RIGHT name the same file"},
        {{"chart", "out.png", "--log", "new"}, 2, "--log and OUT name the same file, \"out.png\""},
        {{"tasks", "--trace", "s", "--log", "./s"}, 2, "--trace and --log name the same file, \"./s\""},
        {{"tasks", "--runtime", "s", "--log", "s"}, 2, "--log and --runtime name the same file"},
        {{"tasks", "--log", "in.png"}, 1, "--log would overwrite \"in.png\", which is no log"},
        {{"tasks", "--log", "t.json"}, 1, "--log would overwrite \"t.json\", which is no log"},
        {{"tasks", "--trace", "log"}, 1, "--trace would overwrite \"log\", which is no trace"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(::testing::PrintToString(test.arguments));
        const Texts files = ListFiles();
        ExpectFailure(Run(test.arguments), test.status, test.message, files);
        for (const std::string& file : files) EXPECT_TRUE(ReadFile(file) == before[file]) << file;
    }
    for (const Texts& files : {Texts{"t.json", "log"}, {"empty", "/dev/null"}, {"/dev/null", "/dev/null"}})
        EXPECT_EQ(Run({"tasks", "--trace", files[0], "--log", files[1]}).status, 0);
    EXPECT_EQ(RunShell("$PROGRAM crc32c - --log - <words").status, 0);
}

TEST_F(TracingOptionsTest, AnInterruptedProgramLeavesItsTrace) {
    // It waits for more input when it is interrupted.
    const Outcome outcome = RunShell(
        "mkfifo pipe; sleep 100 >pipe & holder=$!; "
        "$PROGRAM crc32c - --trace t.json --log log --call-stats <pipe & program=$!; "
        "for i in $(seq 100); do sleep 0.1; grep -q clCreateKernel log && break; done; "
        "kill -TERM $program; wait $program; status=$?; kill $holder; exit $status");
    EXPECT_EQ(outcome.status, 128 + 15) << outcome.err;
    EXPECT_NE(outcome.err.find("clCreateContext"), std::string::npos) << outcome.err;
    const std::string text = ReadFile("t.json");
    EXPECT_TRUE(text.ends_with("\n]\n"));
    ExpectSound(ReadTrace());
    EXPECT_GT(ReadTrace().size(), 50U);
}

}  // namespace

}  // namespace nuvra::test
