#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace nuvra::test {

struct Outcome {
    int status = -1;  ///< of what a signal has ended, the signal's number, negative
    std::string out;
    std::string err;
};

using Texts = std::vector<std::string>;

/// Runs the built program in an empty folder of its own, which is the current folder meanwhile. A suite whose
/// name begins with "Unix" needs what the program for another system has not: links, pipes, signals, more
/// formats.
class ProgramTest : public ::testing::Test {
public:
    ProgramTest();
    ~ProgramTest() override;

    /// Runs the program. Arguments and settings ("NAME=VALUE") are words of a shell line.
    static Outcome Run(const std::string& arguments, const std::string& settings = "");
    /// The same on the scripted fake runtime: see scripted_opencl.cpp. A program for another system, which
    /// cannot load it, runs on a device.
    static Outcome RunFake(const std::string& arguments, const std::string& settings = "FAKE_PLATFORMS=One");
    /// Runs a line of shell; `$PROGRAM` is the program.
    static Outcome RunShell(const std::string& line);

    /// What is in the folder, in alphabetical order.
    static Texts ListFiles();
    static std::string ReadFile(const std::string& path);
    static void WriteFile(const std::string& path, const std::string& bytes);

    static void ExpectHas(const std::string& text, const std::string& part);
    static void ExpectSuccess(const Outcome& outcome, const std::string& out = "");
    /// Expects the exit status, a single line on standard error that has `message` in it, and no file but
    /// those that were there before.
    static void ExpectFailure(const Outcome& outcome, int status, const std::string& message,
                              const Texts& filesBefore = {});

    struct Refusal {
        const char* arguments;
        int status;
        const char* message;
    };
    /// Expects each to fail so on the fake runtime, and no file to change.
    static void ExpectRefusals(const std::vector<Refusal>& refusals);

private:
    std::filesystem::path _previous;
    std::filesystem::path _folder;
};

}  // namespace nuvra::test
