#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace nuvra::test {

namespace fs = std::filesystem;

struct Outcome {
    int status;  ///< of what a signal has ended, the signal's number, negative
    std::string out;
    std::string err;
};

/// Runs the built program in an empty folder of its own, which is the current folder meanwhile. A suite whose
/// name begins with "Unix" needs what the program for another system has not: links, pipes, signals, more
/// formats.
class ProgramTest : public ::testing::Test {
public:
    ProgramTest() {
        fs::create_directories(_folder / "work");
        fs::current_path(_folder / "work");
        // A script that runs the program elsewhere, for example. A program for another system cannot load the
        // fake runtime, and runs on a device.
        const char* other = std::getenv("NUVRA_TEST_PROGRAM");
        setenv("PROGRAM", other != nullptr ? other : PROGRAM_FILE, 1);
        setenv("FAKE", other != nullptr ? "" : "NUVRA_OPENCL_RUNTIME=" SCRIPTED_RUNTIME " FAKE_PLATFORMS=One",
               1);
    }
    ~ProgramTest() override {
        fs::current_path(_previous);
        fs::remove_all(_folder);
    }

    /// Runs a line of shell; `$PROGRAM` is the program, and behind `env $FAKE` it finds the scripted fake
    /// runtime with one device: see scripted_opencl.cpp.
    static Outcome RunShell(const std::string& line) {
        const int status = std::system(("{ " + line + "; } >../out 2>../err").c_str());
        return {WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status), ReadFile("../out"),
                ReadFile("../err")};
    }
    /// Runs the program. Arguments and settings ("NAME=VALUE") are words of a shell line.
    static Outcome Run(const std::string& arguments, const std::string& settings = "") {
        return RunShell("exec env " + settings + " \"$PROGRAM\" " + arguments);
    }
    static Outcome RunFake(const std::string& arguments, const std::string& settings = "") {
        return Run(arguments, "$FAKE " + settings);
    }

    /// Whatever is in the folder by its name, with the bytes of files.
    static std::map<std::string, std::string> ReadFiles() {
        std::map<std::string, std::string> files;
        for (const fs::directory_entry& entry : fs::directory_iterator("."))
            files[entry.path().filename().string()] = ReadFile(entry.path().string());
        return files;
    }
    static std::string ReadFile(const std::string& path) {
        std::error_code none;
        if (!fs::is_regular_file(path, none)) return "";
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    static void WriteFile(const std::string& path, const std::string& bytes) {
        std::ofstream(path, std::ios::binary) << bytes;
    }

    static void ExpectHas(const std::string& text, const std::string& part) {
        EXPECT_NE(text.find(part), std::string::npos) << text << "has no " << part;
    }
    static void ExpectSuccess(const Outcome& outcome, const std::string& out = "") {
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
        EXPECT_EQ(outcome.out, out);
    }
    struct Refusal {
        std::string arguments;
        int status;
        std::string message;
        std::string settings = {};
    };
    /// Expects each to fail so on the fake runtime, with a single line on standard error that has the message
    /// in it, and no file to change.
    static void ExpectRefusals(const std::vector<Refusal>& refusals) {
        const auto before = ReadFiles();
        for (const auto& [arguments, status, message, settings] : refusals) {
            SCOPED_TRACE(settings + " nuvra-cl " + arguments);
            const Outcome outcome = RunFake(arguments, settings);
            EXPECT_EQ(outcome.status, status);
            ExpectHas(outcome.err, message);
            EXPECT_TRUE(outcome.err.starts_with("nuvra-cl: ")) << outcome.err;
            EXPECT_EQ(std::ranges::count(outcome.err, '\n'), 1) << outcome.err;
            EXPECT_LE(outcome.err.size(), 501U) << outcome.err;
            ASSERT_TRUE(ReadFiles() == before);
        }
    }

private:
    fs::path _previous = fs::current_path();
    fs::path _folder =
        fs::temp_directory_path() / ("nuvra-cl-test-" + std::to_string(std::random_device()()));
};

}  // namespace nuvra::test
