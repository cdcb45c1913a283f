#pragma once

#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "nuvra/types.h"

/// What the program asks of the operating system beyond the standard library.
namespace nuvra::app {

/// What to install to get an OpenCL runtime, as the end of a sentence.
const char* GetRuntimeAdvice();

/// Installs the handlers that clean up when a signal or a library ends the program; called first.
void HandleSignals();

/// The arguments of `main`, from the program's name on, in UTF-8.
std::vector<std::string> GetArguments(int argc, char** argv);

/// The standard input in binary mode.
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

/// Removes `path` when a signal (SIGINT and SIGPIPE included), a crash or a library ends the program. One
/// path at a time; the empty path cancels.
void RemoveWhenInterrupted(const std::filesystem::path& path);

/// Runs `action` on a thread of its own before a signal such as SIGINT, SIGTERM, SIGHUP or SIGPIPE ends the
/// program; where a library ends it, for two seconds at most. At most one action a program.
void RunWhenInterrupted(std::function<void()> action);

/// Standard error, also while it is silenced.
std::FILE* GetErrorStream();

/// Discards standard error for as long as one of these lives, on whichever thread: picture libraries print
/// there what the program then says in its own words.
class SilencedStandardError {
public:
    SilencedStandardError();
    ~SilencedStandardError();
    SilencedStandardError(const SilencedStandardError&) = delete;
    SilencedStandardError& operator=(const SilencedStandardError&) = delete;
};

}  // namespace nuvra::app
