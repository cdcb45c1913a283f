#pragma once

#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "nuvra/types.h"

/// What the program asks of the operating system beyond the standard library.
namespace nuvra::app {

/// What the person installs to get an OpenCL runtime, as the end of a sentence.
const char* GetRuntimeAdvice();

/// Sees to what has to be done when a signal, or a library, ends the program; called before all else.
void HandleSignals();

/// The arguments of `main`, from the program's name on, in UTF-8.
std::vector<std::string> GetArguments(int argc, char** argv);

/// The standard input, whose bytes are not touched on their way.
std::FILE* GetStandardInput();

/// The running program's own file, with symbolic links resolved; empty when the system does not say.
std::filesystem::path GetProgramPath();

/// The memory of this machine in bytes.
Int64 GetMachineMemory();

/// A stream to the terminal behind standard error, or null when standard error is no terminal. It goes on
/// working while standard error is silenced; the caller closes it.
std::FILE* OpenTerminal();

/// How many columns the terminal has now; 0 when it does not say.
int GetTerminalWidth(std::FILE* terminal);

/// Removes `path` when a signal, such as an interrupt or its reader's end, a crash or a library ends the
/// program. One path at a time; the empty path takes it back.
void RemoveWhenInterrupted(const std::filesystem::path& path);

/// Runs `action` on a thread of its own when the program is interrupted, told to end or cut off from its
/// reader, before it ends by that; where a library ends it, for two seconds at most. Once for a program.
void RunWhenInterrupted(std::function<void()> action);

/// What a library is at work on as long as this lives. If the library ends the program meanwhile, one line
/// says so, even while standard error is silenced. A crash remains the signal that it is; after an `exit` the
/// status is 1.
class LibraryJob {
public:
    /// `failure` is the beginning of the line: "the library that reads pictures failed on "x.png"".
    explicit LibraryJob(const std::string& failure);
    ~LibraryJob();
    LibraryJob(const LibraryJob&) = delete;
    LibraryJob& operator=(const LibraryJob&) = delete;

    const char* GetLine() const { return _line.c_str(); }

private:
    const std::string _line;
    const LibraryJob* const _outer;
};

/// Drops what is written to standard error as long as it lives: picture libraries report there too what the
/// program then says in its own words.
class SilencedStandardError {
public:
    SilencedStandardError();
    ~SilencedStandardError();
    SilencedStandardError(const SilencedStandardError&) = delete;
    SilencedStandardError& operator=(const SilencedStandardError&) = delete;

private:
    int _saved = -1;
};

}  // namespace nuvra::app
