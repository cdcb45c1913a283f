#include <unistd.h>

#include <csignal>

#include "pictures.h"
#include "program.h"

namespace nuvra::test {
namespace {

using namespace std::string_literals;
using OutputTest = ProgramTest;
using UnixOutputTest = ProgramTest;

TEST_F(UnixOutputTest, AFileIsReplacedWholeAndKeepsItsPermissionsALinkIsFollowedAndAPipeGetsTheSame) {
    // Its name leaves no room for an ending.
    const std::string longest = "x." + std::string(253, 'l');
    const fs::perms secret = fs::perms::owner_read | fs::perms::owner_write;
    fs::create_directory("folder");
    for (const char* file : {"folder/target.png", "bytes"}) {
        WriteFile(file, "old");
        fs::permissions(file, secret);
    }
    fs::create_symlink("folder/target.png", "link.png");
    fs::create_symlink("folder/between", "link");
    fs::create_symlink("new", "folder/between");
    for (const char* out : {"chart.png", "link.png", "/dev/stdout | cat >piped.png"})
        ExpectSuccess(RunFake("chart --size 40x30 "s + out));
    for (const std::string& out : {"bytes"s, "link"s, longest, "/dev/stdout | cat >piped"s})
        ExpectSuccess(RunFake("clear --size 3 " + out));
    EXPECT_TRUE(fs::is_symlink("link.png"));
    EXPECT_EQ(fs::read_symlink("link"), "folder/between");
    for (const char* file : {"folder/target.png", "bytes"})
        EXPECT_EQ(fs::status(file).permissions(), secret) << file;
    for (const std::string& file : {"bytes"s, "folder/new"s, longest, "piped"s})
        EXPECT_EQ(ReadFile(file), "\x07&E") << file;  // as it was before the task, which is not run
    for (const char* file : {"folder/target.png", "piped.png"})
        EXPECT_TRUE(ReadFile(file) == ReadFile("chart.png")) << file;
    EXPECT_EQ(ReadFiles().size(), 8U);

    fs::permissions("folder", fs::perms::owner_read | fs::perms::owner_exec);
    ExpectRefusals(
        {{"clear --size 9 link", 1,
          "cannot write \"link\": its folder takes no new file to put in its place (Permission denied)",
          getuid() == 0 ? "setpriv --bounding-set -dac_override" : ""}});
    fs::permissions("folder", fs::perms::owner_all);
}

TEST_F(OutputTest, NamesMayHaveAnyLetters) {
    fs::create_directory("Größe");
    const std::string in = "Größe/漢字 😀.png";
    const std::string out = "Größe/перевод.png";
    ExpectSuccess(Run("chart '" + in + "' --size 64x48"));
    ExpectSuccess(Run("invert '" + in + "' " + out));
    EXPECT_EQ(ReadPicture(out).values.size(), 64U * 48 * 4);
    const Outcome sums = Run("crc32c '" + in + "' " + out);
    WriteFile("списък", sums.out);
    ExpectSuccess(Run("crc32c --check списък"), in + ": OK\n" + out + ": OK\n");
    WriteFile("Größe/č", std::string(8, '\0'));
    ExpectSuccess(Run("prefixsum Größe/č Größe/Σ"));
    EXPECT_EQ(ReadFile("Größe/Σ"), std::string(8, '\0'));
    ExpectRefusals({{"invert Größe/никой.png b.png", 1, "cannot read \"Größe/никой.png\": "}});
}

TEST_F(UnixOutputTest, AFullDiskLeavesTheOldFileAndNothingElse) {
    WritePicture("in.ppm", MakeTestPicture(TypeDesc::UINT8, 200, 150, 3));
    for (const char* file : {"out.png", "out.tif", "out.sgi"}) WriteFile(file, "old");
    // A limit on the size of files is a full disk that needs no disk.
    const std::string limit = "prlimit --fsize=8192";
    const std::string noSpace = "cannot write the standard output: No space left on device";
    ExpectRefusals({
        {"invert in.ppm out.png", 1, "cannot write \"out.png\": ", limit},
        {"invert in.ppm out.tif", 1, "cannot write \"out.tif\": ", limit},
        {"invert in.ppm out.sgi", 1, "cannot write \"out.sgi\": ", limit},
        {"clear --size 100K out", 1, "cannot write \"out\": ", limit},
        {"clear --size 100K /dev/full", 1, "cannot write \"/dev/full\": No space left on device"},
        {"invert in.ppm /dev/full", 1, "cannot write \"/dev/full\": No space left on device"},
        {"tasks --quiet >/dev/full", 1, noSpace},
        {"--help >/dev/full", 1, noSpace},
    });
}

TEST_F(UnixOutputTest, ASignalThatEndsTheProgramRemovesTheTemporaryFile) {
    for (const int signal : {SIGTERM, SIGALRM, SIGXCPU}) {
        const Outcome outcome = RunShell(
            "env $FAKE \"$PROGRAM\" clear --size 1G out & program=$!;"
            "while ! ls .nuvra-cl-* >/dev/null 2>&1 && kill -0 $program 2>/dev/null; do sleep 0.01; done;"
            "kill -" +
            std::to_string(signal) + " $program; wait $program");
        EXPECT_EQ(outcome.status, 128 + signal) << outcome.err;
        EXPECT_TRUE(ReadFiles().empty());
    }
}

TEST_F(UnixOutputTest, ALibraryThatEndsTheProgramLeavesOneLineAndNoFile) {
    for (const char* file : {"abort.dies", "exit.dies"}) WriteFile(file, "");
    const std::string plugin = "OIIO_LIBRARY_PATH=" PLUGIN_FOLDER;
    const std::string library = "nuvra-cl: the library that ";
    const std::string read = library + "reads pictures failed on ";
    const std::string ended = " (it ended the program)\n";
    ExpectRefusals(
        {{"invert abort.dies out.png", -SIGABRT, read + "\"abort.dies\" (aborted)\n", plugin},
         {"invert exit.dies out.png", 1, read + "\"exit.dies\"" + ended, plugin},
         {"chart out.dies", -SIGABRT, library + "writes pictures failed on \"out.dies\" (aborted)\n", plugin},
         {"clear --size 9 out", 1, "failed on \"One\"" + ended, "FAKE_END=clEnqueueReadBuffer=exit"}});
    for (const auto& [how, status, words] : {std::tuple("exit"s, 1, "it ended the program"),
                                             {"abort", -SIGABRT, "aborted"},
                                             {"overflow", -SIGSEGV, "segmentation fault"},
                                             {std::to_string(SIGBUS), -SIGBUS, "bus error"}}) {
        // A sanitizer leaves these signals to the program. The trace has the call that did not return.
        const std::string settings =
            "ASAN_OPTIONS=handle_segv=0:handle_sigbus=0 FAKE_END=clEnqueueReadBuffer=" + how;
        const std::string line = "nuvra-cl: the OpenCL runtime failed on \"One\" ("s + words + ")\n";
        ExpectRefusals({{"clear --size 9 out --trace ../trace", status, line, settings}});
        ExpectHas(ReadFile("../trace"), R"("clEnqueueReadBuffer","cat":"OpenCL","ph":"B")");
    }
}

}  // namespace
}  // namespace nuvra::test
