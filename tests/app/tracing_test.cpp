#include <nlohmann/json.hpp>

#include "program.h"

namespace nuvra::test {
namespace {

using Json = nlohmann::json;

class UnixTracingTest : public ProgramTest {
public:
    UnixTracingTest() { WriteFile("words", std::string(4000, '\x01')); }

    /// The events of a trace, of a file that was cut short too, as viewers read it.
    static Json ReadTrace() {
        std::string text = ReadFile("t.json");
        if (!text.ends_with("\n]\n")) text += ']';
        return Json::parse(text);
    }
    static bool Has(const Json& events, const std::string& name) {
        return std::ranges::any_of(events, [&](const Json& event) { return event.at("name") == name; });
    }
};

TEST_F(UnixTracingTest, WhatIsAskedForIsRecordedFailuresStandOutAndLeaksAreTheExitStatus) {
    const Outcome plain = Run("crc32c words");
    const Outcome traced = Run("crc32c words --trace t.json --leak-check --serialize --call-stats");
    EXPECT_EQ(traced.status, 0);
    EXPECT_EQ(traced.out, plain.out);
    ExpectHas(traced.err, " made, 0 not released");
    ExpectHas(traced.err, "\n  CalculateCRC  ");
    EXPECT_TRUE(Has(ReadTrace(), "clEnqueueNDRangeKernel CalculateCRC"));
    EXPECT_TRUE(Has(ReadTrace(), "clReleaseContext"));

    ExpectHas(RunFake("devices --log -").err, "clGetPlatformIDs(num_entries=0, platforms=null");
    const Outcome piped = RunFake("clear --size 16 out --trace -");
    EXPECT_EQ(piped.err, "");
    EXPECT_TRUE(Has(Json::parse(piped.out), "clReleaseContext"));

    const Outcome leaking = RunFake("crc32c words --leak-check", "FAKE_FAIL=clReleaseKernel=-5");
    EXPECT_EQ(leaking.status, 1);
    ExpectHas(leaking.err, " made, 3 not released\n  kernel#1 CalculateCRC (0x");
    ExpectHas(leaking.err, ": clCreateKernel(program=program#1 ");

    // A failing build shows the compiler's words too, and stands out.
    const Outcome failed =
        RunFake("clear --quiet --size 16 unmade --log log --trace t.json", "FAKE_FAIL=clBuildProgram=-11");
    EXPECT_EQ(failed.status, 1);
    ExpectHas(failed.err, "cannot build the task \"clearmem\" on \"One\": CL_BUILD_PROGRAM_FAILURE (-11)\n");
    ExpectHas(failed.err, "kernel.cl:1: this is not C\n");
    EXPECT_FALSE(fs::exists("unmade"));
    ExpectHas(ReadFile("log"), "-> result=CL_BUILD_PROGRAM_FAILURE, ");
    ExpectHas(ReadFile("log"), " us, FAILED\n");
    EXPECT_TRUE(Has(ReadTrace(), "clBuildProgram: CL_BUILD_PROGRAM_FAILURE"));
}

TEST_F(UnixTracingTest, ATracerThatFailsChangesNothingAndIsToldOnce) {
    const std::string command = "env $FAKE $PROGRAM crc32c --piece 10 words --trace t.json";
    const std::pair<const char*, std::string> cases[] = {
        {"\"no/t.json\": ", "env $FAKE $PROGRAM crc32c words --trace no/t.json"},
        {"\"/dev/full\": ", "env $FAKE $PROGRAM crc32c words --trace /dev/full"},
        // Who reads it goes away.
        {"\"log\": Broken pipe", "mkfifo log; head -c 1 log >first & " + command + " --log log"},
        // The disk fills after some of it; what fits is whole.
        {"\"t.json\": File too large", "trap '' XFSZ; ulimit -f 200; " + command},
    };
    const Outcome plain = RunFake("crc32c words");
    for (const auto& [words, line] : cases) {
        const Outcome outcome = RunShell(line);
        EXPECT_EQ(outcome.status, 0) << line;
        EXPECT_EQ(outcome.out, plain.out) << line;
        EXPECT_TRUE(outcome.err.starts_with(std::string("nuvra-cl: cannot write ") + words)) << outcome.err;
        EXPECT_EQ(std::ranges::count(outcome.err, '\n'), 1) << outcome.err;
    }
    EXPECT_FALSE(ReadFile("t.json").ends_with("]\n"));
    EXPECT_GT(ReadTrace().size(), 100U);
    RunShell(
        "{ $PROGRAM crc32c words --log - --call-stats --leak-check 2>&1 >sums; echo $? >status; } | true");
    EXPECT_EQ(ReadFile("status"), "0\n");
}

TEST_F(UnixTracingTest, NothingElseIsOverwrittenByATraceOrALog) {
    fs::create_hard_link("words", "hard");
    fs::create_symlink("words", "link");
    fs::create_symlink("out.png", "new");
    WriteFile("empty", "");
    ASSERT_EQ(RunFake("devices --trace t.json --log log").status, 0);
    WriteFile("sums", "e3069283  words\n00000000  t.json\n");
    ExpectRefusals({
        {"crc32c --log words ./words", 2, "--log and FILE name the same file, \"./words\""},
        {"crc32c t.json hard --trace link", 2, "--trace and FILE name the same file, \"hard\""},
        {"crc32c --check sums --trace t.json", 2, "--trace and the list name the same file, \"t.json\""},
        {"chart out.png --log new", 2, "--log and OUT name the same file, \"out.png\""},
        {"tasks --trace s --log ./s", 2, "--trace and --log name the same file, \"./s\""},
        {"tasks --runtime s --log s", 2, "--log and --runtime name the same file"},
        {"tasks --log t.json", 1, "--log would overwrite \"t.json\", which is no log"},
        {"tasks --trace log", 1, "--trace would overwrite \"log\", which is no trace"},
    });
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
    EXPECT_TRUE(Has(ReadTrace(), "clCreateKernel"));
}

}  // namespace
}  // namespace nuvra::test
