#include <algorithm>
#include <csignal>

#include "pictures.h"
#include "program.h"

namespace nuvra::test {

namespace {

using OutputTest = ProgramTest;
namespace fs = std::filesystem;

std::string Pattern(size_t size) {
    std::string pattern(size, '\0');
    for (size_t i = 0; i < size; i++) pattern[i] = static_cast<char>(i * 31 + 7);
    return pattern;
}

TEST_F(OutputTest, ClearFillsTheBeginningAndKeepsTheRest) {
    struct Case {
        size_t size;
        size_t bufferSize;
        int value;
    };
    for (const auto& [size, bufferSize, value] :
         {Case{35, 64, 0}, {48, 49, 0}, {15, 15, 255}, {32, 33, 0xab}, {0, 10, 1}, {100001, 200003, 171}}) {
        const Outcome outcome =
            Run({"clear", "--size", std::to_string(size), "--buffer-size", std::to_string(bufferSize),
                 "--value", std::to_string(value), "out.bin"});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        std::string expected = Pattern(bufferSize);
        std::fill_n(expected.begin(), size, static_cast<char>(value));
        EXPECT_TRUE(ReadFile("out.bin") == expected) << size;
    }
    ASSERT_EQ(Run({"clear", "--size", "17M", "--value", "9", "out.bin"}).status, 0);
    EXPECT_TRUE(ReadFile("out.bin") == std::string(17 << 20, 9));
}

TEST_F(OutputTest, APipeGetsTheBytesThatAFileWouldGet) {
    WritePicture("in.png", MakeTestPicture(OIIO::TypeDesc::UINT8, 40, 30, 3));
    ASSERT_EQ(Run({"invert", "in.png", "file.png"}).status, 0);
    ASSERT_EQ(RunShell("\"$PROGRAM\" invert in.png /dev/stdout | cat >pipe.png").status, 0);
    EXPECT_TRUE(ReadFile("pipe.png") == ReadFile("file.png"));
    ASSERT_EQ(RunShell("\"$PROGRAM\" clear --size 5 --buffer-size 9 /dev/stdout | cat >pipe").status, 0);
    EXPECT_EQ(ReadFile("pipe"), std::string(5, '\0') + Pattern(9).substr(5));
    EXPECT_EQ(ListFiles(), (Texts{"file.png", "in.png", "pipe", "pipe.png"}));
}

TEST_F(OutputTest, AnExistingFileIsReplacedWholeKeepsItsPermissionsAndALinkIsFollowed) {
    WritePicture("in.png", MakeTestPicture(OIIO::TypeDesc::UINT8, 40, 30, 3));
    fs::create_directory("folder");
    WriteFile("folder/target.png", "old");
    WriteFile("bytes", "old");
    const fs::perms secret = fs::perms::owner_read | fs::perms::owner_write;
    for (const char* file : {"folder/target.png", "bytes"}) fs::permissions(file, secret);
    fs::create_symlink("folder/target.png", "link.png");
    ASSERT_EQ(Run({"invert", "in.png", "link.png"}).status, 0);
    EXPECT_TRUE(fs::is_symlink("link.png"));
    ASSERT_EQ(Run({"clear", "--size", "1", "bytes"}).status, 0);
    for (const char* file : {"folder/target.png", "bytes"})
        EXPECT_EQ(fs::status(file).permissions(), secret) << file;
    const TestPicture expected = Invert(ReadPicture("in.png"), 0, 0, 40, 30);
    EXPECT_EQ(ReadPicture("folder/target.png").samples, expected.samples);
    ASSERT_EQ(Run({"invert", "in.png", "in.png"}).status, 0);
    EXPECT_EQ(ReadPicture("in.png").samples, expected.samples);
}

TEST_F(OutputTest, NamesAndFoldersAreTakenAsTheSystemHasThem) {
    const auto clear = [](const std::string& out) {
        return RunFake({"clear", "--size", "3", out}, {"FAKE_PLATFORMS=One"});
    };
    const std::string longest = "x." + std::string(253, 'l');
    EXPECT_EQ(clear(longest).status, 0);
    fs::create_directory("folder");
    fs::create_symlink("folder/between", "link");
    fs::create_symlink("new", "folder/between");
    EXPECT_EQ(clear("link").status, 0);
    EXPECT_EQ(fs::read_symlink("link"), "folder/between");
    for (const std::string& file : {longest, std::string("folder/new")}) EXPECT_EQ(ReadFile(file).size(), 3U);
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
    ASSERT_EQ(Run({"chart", in, "--size", "64x48"}).status, 0);
    ASSERT_EQ(Run({"invert", in, out}).status, 0);
    EXPECT_EQ(ReadPicture(out).samples.size(), 64U * 48 * 4);
    const Outcome sums = Run({"crc32c", in, out});
    EXPECT_EQ(sums.status, 0);
    EXPECT_NE(sums.out.find("  " + in + "\n"), std::string::npos) << sums.out;
    EXPECT_NE(sums.out.find("  " + out + "\n"), std::string::npos) << sums.out;
    WriteFile("списък", sums.out);
    EXPECT_EQ(Run({"crc32c", "--check", "списък"}).out, in + ": OK\n" + out + ": OK\n");
    ASSERT_EQ(Run({"clear", "--size", "8", "Größe/č"}).status, 0);
    ASSERT_EQ(Run({"prefixsum", "Größe/č", "Größe/Σ"}).status, 0);
    EXPECT_EQ(ReadFile("Größe/Σ"), std::string(8, '\0'));
    ExpectFailure(Run({"invert", "Größe/никой.png", "b.png"}), 1,
                  "cannot read \"Größe/никой.png\": ", {"Größe", "списък"});
}

TEST_F(OutputTest, AFullDiskLeavesTheOldFileAndNothingElse) {
    // A limit on the size of files is a full disk that needs no disk.
    const std::string run = "ulimit -f 8; FAKE_PLATFORMS=One \"$PROGRAM\" --runtime '" SCRIPTED_RUNTIME "' ";
    const TestPicture source = MakeTestPicture(OIIO::TypeDesc::UINT8, 200, 150, 3);
    for (const char* file : {"png", "jpg", "tif", "exr", "ppm", "sgi"}) {
        WritePicture("in.ppm", source);
        const std::string out = std::string("out.") + file;
        WriteFile(out, "old");
        const Texts files = ListFiles();
        ExpectFailure(RunShell(run + "invert in.ppm " + out), 1, "cannot write \"" + out + "\": ", files);
        EXPECT_EQ(ReadFile(out), "old");
        fs::remove(out);
    }
    ExpectFailure(RunShell(run + "clear --size 100K out"), 1, "cannot write \"out\": ", {"in.ppm"});
    for (const char* command : {"clear --size 100K", "invert in.ppm", "chart"})
        ExpectFailure(
            RunShell(std::string("FAKE_PLATFORMS=One \"$PROGRAM\" --runtime '" SCRIPTED_RUNTIME "' ") +
                     command + " /dev/full"),
            1, "cannot write \"/dev/full\": No space left on device", {"in.ppm"});
    for (const char* command : {"tasks --quiet", "--help", "--version", "invert --help"})
        ExpectFailure(RunShell(std::string("\"$PROGRAM\" ") + command + " >/dev/full"), 1,
                      "cannot write the standard output: No space left on device", {"in.ppm"});
    // A compiler that cannot write its files may end the program.
    const Outcome ended = RunShell(
        "mkdir ../cache; export POCL_CACHE_DIR=../cache; ulimit -f 8; \"$PROGRAM\" invert in.ppm out.ppm");
    EXPECT_EQ(ended.status, 1) << ended.err;
    EXPECT_EQ(ListFiles(), (Texts{"in.ppm"}));
}

TEST_F(OutputTest, ASignalThatEndsTheProgramRemovesTheTemporaryFile) {
    for (const int signal : {SIGTERM, SIGALRM, SIGXCPU}) {
        const Outcome outcome = RunShell(
            "\"$PROGRAM\" clear --size 1G out & program=$!;"
            "while ! ls .nuvra-cl-* >/dev/null 2>&1 && kill -0 $program 2>/dev/null; do sleep 0.01; done;"
            "kill -" +
            std::to_string(signal) + " $program; wait $program");
        EXPECT_EQ(outcome.status, 128 + signal) << outcome.err;
        EXPECT_EQ(ListFiles(), Texts());
    }
}

TEST_F(OutputTest, ALibraryThatEndsTheProgramLeavesOneLineAndNoFile) {
    WritePicture("in.png", MakeTestPicture(OIIO::TypeDesc::UINT8, 40, 30, 3));
    for (const char* file : {"abort.dies", "exit.dies"}) WriteFile(file, "");
    const Texts files = ListFiles();
    const std::string plugins = "OIIO_LIBRARY_PATH=" PLUGIN_FOLDER;
    const std::string reads = "nuvra-cl: the library that reads pictures failed on \"";
    ExpectFailure(Run({"invert", "abort.dies", "out.png"}, {plugins}), -SIGABRT,
                  reads + "abort.dies\" (aborted)\n", files);
    ExpectFailure(Run({"invert", "exit.dies", "out.png"}, {plugins}), 1,
                  reads + "exit.dies\" (it ended the program)\n", files);
    ExpectFailure(
        Run({"chart", "out.dies"}, {plugins}), 1,
        "nuvra-cl: the library that writes pictures failed on \"out.dies\" (it ended the program)\n", files);

    struct Case {
        const char* how;
        int status;
        const char* words;
    };
    const std::string sendsThem[] = {std::to_string(SIGBUS), std::to_string(SIGFPE), std::to_string(SIGILL)};
    for (const auto& [how, status, words] : {Case{"exit", 1, "it ended the program"},
                                             {"abort", -SIGABRT, "aborted"},
                                             {"overflow", -SIGSEGV, "segmentation fault"},
                                             {sendsThem[0].c_str(), -SIGBUS, "bus error"},
                                             {sendsThem[1].c_str(), -SIGFPE, "arithmetic error"},
                                             {sendsThem[2].c_str(), -SIGILL, "illegal instruction"}}) {
        const Texts environment{"FAKE_PLATFORMS=One", std::string("FAKE_END=clEnqueueReadBuffer=") + how,
                                // A sanitizer leaves these signals to the program.
                                "ASAN_OPTIONS=handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0"};
        const std::string line =
            std::string("nuvra-cl: the OpenCL runtime failed on \"One\" (") + words + ")\n";
        ExpectFailure(RunFake({"clear", "--size", "9", "out"}, environment), status, line, files);
        // The trace has the call that did not return.
        const Outcome traced = RunFake({"clear", "--size", "9", "out", "--trace", "../trace"}, environment);
        ExpectFailure(traced, status, line, files);
        EXPECT_NE(ReadFile("../trace").find(R"("clEnqueueReadBuffer","cat":"OpenCL","ph":"B")"),
                  std::string::npos);
    }
}

}  // namespace

}  // namespace nuvra::test
