#include "system/drivers.h"

#include <CL/cl.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "console/failure.h"
#include "nuvra/host/error_names.h"
#include "system/unix/machine.h"

namespace nuvra::app {

namespace {

namespace fs = std::filesystem;

constexpr unsigned kPatience = 10;  // seconds

std::string GetVariable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

/// The files in which the ICD loader finds drivers: those that end with ".icd" hold a library's name, all
/// others are libraries themselves.
std::vector<fs::path> ListFiles() {
    std::vector<fs::path> files;
    const std::string folder = GetVariable("OPENCL_VENDOR_PATH");
    const fs::path usual = folder.empty() ? fs::path(kDriverFolder) : fs::path(folder);
    const std::string wanted = GetVariable("OCL_ICD_VENDORS");
    const fs::path place = wanted.empty() ? usual : fs::path(wanted);
    std::error_code error;
    if (wanted.empty() || fs::is_directory(place, error)) {
        for (const auto& entry : fs::directory_iterator(place, error))
            if (entry.path().extension() == ".icd") files.push_back(entry.path());
        std::ranges::sort(files);
    } else {
        const bool isUsual = !place.has_parent_path() && fs::exists(usual / place, error);
        files.push_back(isUsual ? usual / place : place);
    }
    std::istringstream more(GetVariable("OCL_ICD_FILENAMES"));
    for (std::string name; std::getline(more, name, ':');)
        if (!name.empty()) files.emplace_back(name);
    return files;
}

/// What a driver lacks. Whoever calls this may die of it.
std::string TryDriver(const std::string& library) {
    void* driver = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (driver == nullptr) return dlerror();
    using Find = void* (*)(const char*);
    using GetPlatforms = cl_int(CL_API_CALL*)(cl_uint, cl_platform_id*, cl_uint*);
    const auto find = reinterpret_cast<Find>(dlsym(driver, "clGetExtensionFunctionAddress"));
    const auto getPlatforms =
        find == nullptr ? nullptr : reinterpret_cast<GetPlatforms>(find("clIcdGetPlatformIDsKHR"));
    if (getPlatforms == nullptr) return "it is no OpenCL driver: it lacks clIcdGetPlatformIDsKHR";
    cl_uint count = 0;
    const cl_int code = getPlatforms(0, nullptr, &count);
    if (code == CL_SUCCESS && count > 0) return "it gives platforms, which the OpenCL loader passes over";
    if (code == CL_SUCCESS) return "it gives no platform";
    return "it gives no platform: " + std::string(host::FindErrorName(code)) + " (" + std::to_string(code) +
           ")";
}

/// The child's part: what it finds goes to `out`, and nothing of the program is touched.
[[noreturn]] void TryDriverApart(const std::string& library, int out) {
    for (int signal = 1; signal < NSIG; signal++) std::signal(signal, SIG_DFL);
    // Of the handlers of `exit`, the last comes first: none of the program's own is run.
    std::atexit([] { _exit(EXIT_FAILURE); });
    alarm(kPatience);
    const int nothing = open("/dev/null", O_WRONLY);
    for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) dup2(nothing, stream);
    const std::string problem = TryDriver(library);
    _exit(write(out, problem.data(), problem.size()) > 0 ? EXIT_SUCCESS : EXIT_FAILURE);
}

std::string DescribeDriver(const std::string& library) {
    int ends[2];
    if (pipe(ends) != 0) return DescribeSystemError(errno);
    for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) TryDriverApart(library, ends[1]);
    close(ends[1]);
    std::string problem;
    char piece[512];
    for (ssize_t size = 0; (size = read(ends[0], piece, sizeof(piece))) > 0;)
        problem.append(piece, static_cast<size_t>(size));
    close(ends[0]);
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) return DescribeSystemError(errno);
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM) return "opening it does not come to an end";
    if (WIFSIGNALED(status))
        return std::string("opening it ends the program: ") + strsignal(WTERMSIG(status));
    return FirstLine(problem, "opening it ends the program");
}

}  // namespace

std::vector<std::string> DescribeDrivers() {
    std::vector<std::string> descriptions;
    for (const fs::path& file : ListFiles()) {
        std::string library = file.string();
        std::string problem;
        if (file.extension() == ".icd") {
            std::ifstream lines(file);
            if (!lines) problem = DescribeSystemError(errno);
            std::getline(lines, library);
            library = FirstLine(library, "");
            if (problem.empty() && library.empty()) problem = "it names no library";
        }
        descriptions.push_back(Quote(file.string()) + ": " +
                               (problem.empty() ? DescribeDriver(library) : problem));
    }
    return descriptions;
}

}  // namespace nuvra::app
