#include <algorithm>
#include <csignal>

#include "pictures.h"
#include "program.h"

namespace nuvra::test {

namespace {

using OutputTest = ProgramTest;
using UnixOutputTest = ProgramTest;
namespace fs = std::filesystem;

TEST_F(UnixOutputTest, APipeGetsTheBytesThatAFileWouldGet) {
    ExpectSuccess(Run("chart file.png --size 40x30"));
    ExpectSuccess(RunShell("\"$PROGRAM\" chart --size 40x30 /dev/stdout | cat >pipe.png"));
    EXPECT_TRUE(ReadFile("pipe.png") == ReadFile("file.png"));
    ExpectSuccess(Run("clear --size 5 --buffer-size 9 file"));
    ExpectSuccess(RunShell("\"$PROGRAM\" clear --size 5 --buffer-size 9 /dev/stdout | cat >pipe"));
    EXPECT_EQ(ReadFile("pipe"), ReadFile("file"));
    EXPECT_EQ(ListFiles(), (Texts{"file", "file.png", "pipe", "pipe.png"}));
}

TEST_F(UnixOutputTest, AnExistingFileIsReplacedWholeKeepsItsPermissionsAndALinkIsFollowed) {
    const TestPicture source = MakeTestPicture(OIIO::TypeDesc::UINT8, 40, 30, 3);
    WritePicture("in.png", source);
    fs::create_directory("folder");
    const fs::perms secret = fs::perms::owner_read | fs::perms::owner_write;
    for (const char* file : {"folder/target.png", "bytes"}) {
        WriteFile(file, "old");
        fs::permissions(file, secret);
    }
    fs::create_symlink("folder/target.png", "link.png");
    ExpectSuccess(Run("invert in.png link.png"));
    ExpectSuccess(Run("invert in.png in.png"));
    ExpectSuccess(RunFake("clear --size 1 bytes"));
    EXPECT_TRUE(fs::is_symlink("link.png"));
    for (const char* file : {"folder/target.png", "bytes"})
        EXPECT_EQ(fs::status(file).permissions(), secret) << file;
    EXPECT_EQ(ReadFile("bytes").size(), 1U);
    for (const char* file : {"folder/target.png", "in.png"})
        EXPECT_EQ(ReadPicture(file).samples, Invert(source).samples) << file;
}

TEST_F(UnixOutputTest, NamesAndFoldersAreTakenAsTheSystemHasThem) {
    const std::string longest = "x." + std::string(253, 'l');
    fs::create_directory("folder");
    fs::create_symlink("folder/between", "link");
    fs::create_symlink("new", "folder/between");
    for (const auto& [out, file] : {std::pair(longest, longest), {"link", "folder/new"}}) {
        ExpectSuccess(RunFake("clear --size 3 " + out));
        EXPECT_EQ(ReadFile(file).size(), 3U);
    }
    EXPECT_EQ(fs::read_symlink("link"), "folder/between");
    const Texts files = ListFiles();
    ExpectFailure(
        RunShell("chmod 555 folder; [ $(id -u) != 0 ] || drop='setpriv --bounding-set -dac_override';"
                 "FAKE_PLATFORMS=One $drop \"$PROGRAM\" clear --size 9 link --runtime " SCRIPTED_RUNTIME),
        1, "cannot write \"link\": its folder takes no new file to put in its place (Permission denied)",
        files);
}

TEST_F(OutputTest, NamesMayHaveAnyLetters) {
    fs::create_directory("Größe");
    const std::string in = "Größe/漢字 😀.png";
    const std::string out = "Größe/перевод.png";
    ExpectSuccess(Run("chart '" + in + "' --size 64x48"));
    ExpectSuccess(Run("invert '" + in + "' " + out));
    EXPECT_EQ(ReadPicture(out).samples.size(), 64U * 48 * 4);
    const Outcome sums = Run("crc32c '" + in + "' " + out);
    ExpectHas(sums.out, "  " + in + "\n");
    ExpectHas(sums.out, "  " + out + "\n");
    WriteFile("списък", sums.out);
    ExpectSuccess(Run("crc32c --check списък"), in + ": OK\n" + out + ": OK\n");
    WriteFile("Größe/č", std::string(8, '\0'));
    ExpectSuccess(Run("prefixsum Größe/č Größe/Σ"));
    EXPECT_EQ(ReadFile("Größe/Σ"), std::string(8, '\0'));
    ExpectRefusals({{"invert Größe/никой.png b.png", 1, "cannot read \"Größe/никой.png\": "}});
}

TEST_F(UnixOutputTest, AFullDiskLeavesTheOldFileAndNothingElse) {
    // A limit on the size of files is a full disk that needs no disk.
    const std::string limit = "ulimit -f 8; ";
    const std::string run = "FAKE_PLATFORMS=One \"$PROGRAM\" --runtime '" SCRIPTED_RUNTIME "' ";
    WritePicture("in.ppm", MakeTestPicture(OIIO::TypeDesc::UINT8, 200, 150, 3));
    for (const char* file : {"png", "tif", "sgi"}) {
        const std::string out = std::string("out.") + file;
        WriteFile(out, "old");
        ExpectFailure(RunShell(limit + run + "invert in.ppm " + out), 1,
                      "cannot write \"" + out + "\": ", {"in.ppm", out});
        EXPECT_EQ(ReadFile(out), "old");
        fs::remove(out);
    }
    ExpectFailure(RunShell(limit + run + "clear --size 100K out"), 1, "cannot write \"out\": ", {"in.ppm"});
    for (const std::string command : {"clear --size 100K", "invert in.ppm", "chart"})
        ExpectFailure(RunShell(run + command + " /dev/full"), 1,
                      "cannot write \"/dev/full\": No space left on device", {"in.ppm"});
    for (const std::string command : {"tasks --quiet", "--help", "--version", "invert --help"})
        ExpectFailure(RunShell(run + command + " >/dev/full"), 1,
                      "cannot write the standard output: No space left on device", {"in.ppm"});
}

TEST_F(UnixOutputTest, ASignalThatEndsTheProgramRemovesTheTemporaryFile) {
    for (const int signal : {SIGTERM, SIGALRM, SIGXCPU}) {
        const Outcome outcome = RunShell(
            "FAKE_PLATFORMS=One \"$PROGRAM\" clear --runtime " SCRIPTED_RUNTIME
            " --size 1G out & program=$!;"
            "while ! ls .nuvra-cl-* >/dev/null 2>&1 && kill -0 $program 2>/dev/null; do sleep 0.01; done;"
            "kill -" +
            std::to_string(signal) + " $program; wait $program");
        EXPECT_EQ(outcome.status, 128 + signal) << outcome.err;
        EXPECT_EQ(ListFiles(), Texts());
    }
}

TEST_F(UnixOutputTest, ALibraryThatEndsTheProgramLeavesOneLineAndNoFile) {
    WritePicture("in.png", MakeTestPicture(OIIO::TypeDesc::UINT8, 40, 30, 3));
    for (const char* file : {"abort.dies", "exit.dies"}) WriteFile(file, "");
    const Texts files = ListFiles();
    for (const auto& [arguments, status, words] :
         {std::tuple("invert abort.dies out.png", -SIGABRT,
                     "reads pictures failed on \"abort.dies\" (aborted)\n"),
          {"invert exit.dies out.png", 1, "reads pictures failed on \"exit.dies\" (it ended the program)\n"},
          {"chart out.dies", 1, "writes pictures failed on \"out.dies\" (it ended the program)\n"}})
        ExpectFailure(Run(arguments, "OIIO_LIBRARY_PATH=" PLUGIN_FOLDER), status,
                      std::string("nuvra-cl: the library that ") + words, files);

    for (const auto& [how, status, words] :
         {std::tuple<std::string, int, const char*>{"exit", 1, "it ended the program"},
          {"abort", -SIGABRT, "aborted"},
          {"overflow", -SIGSEGV, "segmentation fault"},
          {std::to_string(SIGBUS), -SIGBUS, "bus error"},
          {std::to_string(SIGFPE), -SIGFPE, "arithmetic error"},
          {std::to_string(SIGILL), -SIGILL, "illegal instruction"}}) {
        // A sanitizer leaves these signals to the program.
        const std::string settings =
            "ASAN_OPTIONS=handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0 FAKE_PLATFORMS=One "
            "FAKE_END=clEnqueueReadBuffer=" +
            how;
        // The trace has the call that did not return.
        ExpectFailure(RunFake("clear --size 9 out --trace ../trace", settings), status,
                      std::string("nuvra-cl: the OpenCL runtime failed on \"One\" (") + words + ")\n", files);
        ExpectHas(ReadFile("../trace"), R"("clEnqueueReadBuffer","cat":"OpenCL","ph":"B")");
    }
    ExpectFailure(RunFake("clear --size 9 out", "FAKE_PLATFORMS=One FAKE_END=clEnqueueReadBuffer=exit"), 1,
                  "nuvra-cl: the OpenCL runtime failed on \"One\" (it ended the program)\n", files);
}

}  // namespace

}  // namespace nuvra::test
