#include "program.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>

namespace nuvra::test {

namespace fs = std::filesystem;

namespace {

std::string Quote(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

/// The built program, or the file that NUVRA_TEST_PROGRAM names: a script that runs it elsewhere, for
/// example.
std::string GetProgram() {
    const char* program = std::getenv("NUVRA_TEST_PROGRAM");
    return program != nullptr ? program : PROGRAM_FILE;
}

}  // namespace

ProgramTest::ProgramTest()
    : _previous(fs::current_path()),
      _folder(fs::temp_directory_path() / ("nuvra-cl-test-" + std::to_string(std::random_device()()))) {
    fs::create_directories(_folder / "work");
    fs::current_path(_folder / "work");
}

ProgramTest::~ProgramTest() {
    fs::current_path(_previous);
    fs::remove_all(_folder);
}

Outcome ProgramTest::RunShell(const std::string& line) {
    const std::string command = "PROGRAM=" + Quote(GetProgram()) + "; { " + line + "; } >../out 2>../err";
    const int status = std::system(command.c_str());
    return {WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status), ReadFile("../out"),
            ReadFile("../err")};
}

Outcome ProgramTest::Run(const Texts& arguments, const Texts& environment) {
    std::string line = "exec env";
    for (const std::string& setting : environment) line += " " + Quote(setting);
    line += " \"$PROGRAM\"";
    for (const std::string& argument : arguments) line += " " + Quote(argument);
    return RunShell(line);
}

Outcome ProgramTest::RunFake(Texts arguments, const Texts& environment) {
    arguments.insert(arguments.end(), {"--runtime", SCRIPTED_RUNTIME});
    return Run(arguments, environment);
}

ProgramTest::Texts ProgramTest::ListFiles() {
    Texts names;
    for (const fs::directory_entry& entry : fs::directory_iterator("."))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::string ProgramTest::ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void ProgramTest::WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

void ProgramTest::ExpectFailure(const Outcome& outcome, int status, const std::string& message,
                                const Texts& filesBefore) {
    EXPECT_EQ(outcome.status, status);
    EXPECT_NE(outcome.err.find(message), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.err.rfind("nuvra-cl: ", 0), 0U) << outcome.err;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_LE(outcome.err.size(), 501U) << outcome.err;
    EXPECT_EQ(ListFiles(), filesBefore);
}

}  // namespace nuvra::test
