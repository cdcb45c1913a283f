#include <cstdio>
#include <cstdlib>

#include "fake_opencl.h"

/// Calls that some real runtime does not survive. What depends on a kernel's parameters is not here: only a
/// compiler knows them.
namespace nuvra::fake {

namespace {

struct DeadlyCall {
    const char* function;
    const char* given;
    const char* fate;  ///< and the runtime that has it
    bool (*matches)(const Call& call);
};

/// The live object behind an argument, or null.
template <size_t Index>
const Object* At(const Call& call) {
    return Control::Get().FindLive(std::get<Handle>(call.values[Index]));
}

template <size_t Index>
std::uint64_t NumberAt(const Call& call) {
    return std::get<std::uint64_t>(call.values[Index]);
}

template <size_t Index>
bool IsNull(const Call& call) {
    const Value& value = call.values[Index];
    if (const auto* handle = std::get_if<Handle>(&value)) return handle->serial == 0;
    const auto* pointer = std::get_if<const void*>(&value);
    return pointer != nullptr && *pointer == nullptr;
}

template <size_t Index>
bool HasNull(const Call& call) {
    const auto* handles = std::get_if<Handles>(&call.values[Index]);
    return handles != nullptr &&
           std::any_of(handles->begin(), handles->end(), [](const Handle& one) { return one.serial == 0; });
}

template <size_t Index>
bool IsBuffer(const Call& call) {
    const Object* memory = At<Index>(call);
    return memory != nullptr && !memory->image;
}

template <size_t Index>
bool IsImage(const Call& call) {
    const Object* memory = At<Index>(call);
    return memory != nullptr && memory->image;
}

bool SharesNothing(const Call& call) {
    const Object* owner = At<0>(call);
    return owner != nullptr && !owner->isSharing;
}

bool Overflows(const Call& call) {
    return NumberAt<3>(call) > SIZE_MAX - NumberAt<4>(call);
}

bool HasDeadArgument(const Call& call) {
    const Object* kernel = At<1>(call);
    if (kernel == nullptr) return false;
    return std::any_of(kernel->arguments.begin(), kernel->arguments.end(), [](const auto& argument) {
        const auto* memory = std::get_if<Handle>(&argument.second);
        return memory != nullptr && Control::Get().FindLive(*memory) == nullptr;
    });
}

bool LacksSources(const Call& call) {
    return IsNull<2>(call) && NumberAt<1>(call) > 0;
}

bool IsUnbuilt(const Call& call) {
    const Object* program = At<0>(call);
    return program != nullptr && !program->isBuilt;
}

bool IsNoBinary(const Call& call) {
    const auto* bytes = std::get_if<Bytes>(&call.values[4]);
    return bytes != nullptr && *bytes != Control::Get().binary;
}

bool CannotShare(const Call& call) {
    const auto& properties = std::get<std::string>(call.values[0]);
    const Object* platform = Control::Get().FindLive(
        {Kind::PLATFORM, std::stoi(properties.substr(properties.find("platform") + 8))});
    return std::none_of(platform->devices.begin(), platform->devices.end(), [](const Object* device) {
        const Bytes& names = device->info.at(CL_DEVICE_EXTENSIONS);
        return std::string(names.begin(), names.end()).find("cl_khr_gl_sharing") != std::string::npos;
    });
}

constexpr const char* kPoclDies = "PoCL does not survive";
constexpr const char* kRusticlDies = "rusticl does not survive";
constexpr const char* kNoSharing = "an object of a context that shares nothing with OpenGL";
constexpr DeadlyCall kDeadlyCalls[] = {
    {"clEnqueueNDRangeKernel", "a null kernel", kPoclDies, IsNull<1>},
    {"clEnqueueNDRangeKernel", "a null event to wait for", "PoCL does not wait for", HasNull<7>},
    {"clEnqueueNDRangeKernel", "a kernel whose memory argument is gone", kPoclDies, HasDeadArgument},
    {"clCreateFromGLBuffer", kNoSharing, kPoclDies, SharesNothing},
    {"clCreateFromGLTexture2D", kNoSharing, kRusticlDies, SharesNothing},
    {"clEnqueueAcquireGLObjects", kNoSharing, kRusticlDies, SharesNothing},
    {"clEnqueueReleaseGLObjects", kNoSharing, kRusticlDies, SharesNothing},
    {"clGetGLContextInfoKHR", "a platform that cannot share", "the ICD loader does not survive", CannotShare},
    {"clCreateProgramWithSource", "a count without an array", kPoclDies, LacksSources},
    {"clCreateProgramWithBinary", "bytes that are no binary", kRusticlDies, IsNoBinary},
    {"clBuildProgram", "a null device", kPoclDies, HasNull<2>},
    {"clGetProgramInfo", "a program without binaries", kRusticlDies, IsUnbuilt},
    {"clEnqueueReadImage", "a buffer", kRusticlDies, IsBuffer<1>},
    {"clEnqueueWriteImage", "a buffer", kRusticlDies, IsBuffer<1>},
    {"clEnqueueMapImage", "a buffer", kRusticlDies, IsBuffer<1>},
    {"clEnqueueReadBuffer", "an image", "PoCL takes for a buffer", IsImage<1>},
    {"clEnqueueWriteBuffer", "an image", "PoCL takes for a buffer", IsImage<1>},
    {"clEnqueueMapBuffer", "an image", kRusticlDies, IsImage<1>},
    {"clEnqueueReadBuffer", "a range that no number ends", kRusticlDies, Overflows},
    {"clEnqueueWriteBuffer", "a range that no number ends", kRusticlDies, Overflows},
};

}  // namespace

void EndIfDeadly(const Call& call) {
    for (const DeadlyCall& deadly : kDeadlyCalls) {
        if (call.name != deadly.function || !deadly.matches(call)) continue;
        std::fprintf(stderr, "%s was given %s, which %s\n", deadly.function, deadly.given, deadly.fate);
        std::abort();
    }
}

}  // namespace nuvra::fake
