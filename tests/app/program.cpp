#include "program.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <random>

namespace nuvra::test {

namespace fs = std::filesystem;

namespace {

/// A script that runs the program elsewhere, for example; null for the built program.
const char* const g_otherProgram = std::getenv("NUVRA_TEST_PROGRAM");

std::map<std::string, std::string> ReadFiles() {
    std::map<std::string, std::string> files;
    for (const std::string& file : ProgramTest::ListFiles()) files[file] = ProgramTest::ReadFile(file);
    return files;
}

}  // namespace

ProgramTest::ProgramTest()
    : _previous(fs::current_path()),
      _folder(fs::temp_directory_path() / ("nuvra-cl-test-" + std::to_string(std::random_device()()))) {
    fs::create_directories(_folder / "work");
    fs::current_path(_folder / "work");
    setenv("PROGRAM", g_otherProgram != nullptr ? g_otherProgram : PROGRAM_FILE, 1);
}

ProgramTest::~ProgramTest() {
    fs::current_path(_previous);
    fs::remove_all(_folder);
}

Outcome ProgramTest::RunShell(const std::string& line) {
    const int status = std::system(("{ " + line + "; } >../out 2>../err").c_str());
    return {WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status), ReadFile("../out"),
            ReadFile("../err")};
}

Outcome ProgramTest::Run(const std::string& arguments, const std::string& settings) {
    return RunShell("exec env " + settings + " \"$PROGRAM\" " + arguments);
}

Outcome ProgramTest::RunFake(const std::string& arguments, const std::string& settings) {
    return Run(arguments + (g_otherProgram != nullptr ? "" : " --runtime " SCRIPTED_RUNTIME), settings);
}

Texts ProgramTest::ListFiles() {
    Texts names;
    for (const fs::directory_entry& entry : fs::directory_iterator("."))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::string ProgramTest::ReadFile(const std::string& path) {
    std::error_code none;
    if (!fs::is_regular_file(path, none)) return "";
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void ProgramTest::WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

void ProgramTest::ExpectHas(const std::string& text, const std::string& part) {
    EXPECT_NE(text.find(part), std::string::npos) << text << "has no " << part;
}

void ProgramTest::ExpectSuccess(const Outcome& outcome, const std::string& out) {
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, out);
}

void ProgramTest::ExpectFailure(const Outcome& outcome, int status, const std::string& message,
                                const Texts& filesBefore) {
    EXPECT_EQ(outcome.status, status);
    ExpectHas(outcome.err, message);
    EXPECT_EQ(outcome.err.rfind("nuvra-cl: ", 0), 0U) << outcome.err;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_LE(outcome.err.size(), 501U) << outcome.err;
    EXPECT_EQ(ListFiles(), filesBefore);
}

void ProgramTest::ExpectRefusals(const std::vector<Refusal>& refusals) {
    const auto before = ReadFiles();
    const Texts files = ListFiles();
    for (const auto& [arguments, status, message] : refusals) {
        SCOPED_TRACE(arguments);
        ExpectFailure(RunFake(arguments), status, message, files);
        ASSERT_TRUE(ReadFiles() == before);
    }
}

}  // namespace nuvra::test
