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

/// Runs the built program in an empty folder of its own, which is the current folder meanwhile.
class ProgramTest : public ::testing::Test {
public:
    ProgramTest();
    ~ProgramTest() override;

    using Texts = std::vector<std::string>;

    /// Runs the program. `environment` holds settings such as "NAME=VALUE".
    static Outcome Run(const Texts& arguments, const Texts& environment = {});
    /// The same on the scripted fake runtime: see scripted_opencl.cpp.
    static Outcome RunFake(Texts arguments, const Texts& environment);
    /// Runs a line of shell; `$PROGRAM` is the program.
    static Outcome RunShell(const std::string& line);

    /// What is in the folder, in alphabetical order.
    static Texts ListFiles();
    static std::string ReadFile(const std::string& path);
    static void WriteFile(const std::string& path, const std::string& bytes);

    /// Expects the exit status, a single line on standard error that has `message` in it, and no file but
    /// those that were there before.
    static void ExpectFailure(const Outcome& outcome, int status, const std::string& message,
                              const Texts& filesBefore);

private:
    std::filesystem::path _previous;
    std::filesystem::path _folder;
};

}  // namespace nuvra::test
