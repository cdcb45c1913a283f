#include <cstdio>
#include <cstdlib>

#include "fake_opencl.h"

/// Calls that some real runtime does not survive. What depends on a kernel's parameters is not here: only a
/// compiler knows them.
namespace nuvra::fake {

namespace {

struct DeadlyCall {
    const char* functions;  ///< any of them, between spaces
    const char* given;
    const char* fate;  ///< and the runtime that has it
    bool (*matches)(const Call& call);

    /// The live object behind an argument, or null.
    template <size_t Index>
    static const Object* At(const Call& call) {
        const auto* object = std::get_if<const Object*>(&call.values[Index]);
        return object != nullptr && *object != nullptr && (*object)->count > 0 ? *object : nullptr;
    }
    template <size_t Index>
    static bool IsNull(const Call& call) {
        const Value& value = call.values[Index];
        return value == Value(static_cast<const Object*>(nullptr)) ||
               value == Value(static_cast<const void*>(nullptr));
    }
    template <size_t Index>
    static bool HasNull(const Call& call) {
        const auto* handles = std::get_if<Handles>(&call.values[Index]);
        return handles != nullptr && std::ranges::count(*handles, nullptr) > 0;
    }
    static bool IsBuffer(const Call& call) { return At<1>(call) != nullptr && !At<1>(call)->isImage; }
    static bool IsImage(const Call& call) { return At<1>(call) != nullptr && At<1>(call)->isImage; }
    static bool SharesNothing(const Call& call) { return At<0>(call) != nullptr && !At<0>(call)->isSharing; }
    static bool IsUnbuilt(const Call& call) { return At<0>(call) != nullptr && !At<0>(call)->isBuilt; }
    static bool LacksSources(const Call& call) {
        return IsNull<2>(call) && call.values[1] != Value(std::uint64_t{0});
    }
    static bool Overflows(const Call& call) {
        return std::get<std::uint64_t>(call.values[3]) > SIZE_MAX - std::get<std::uint64_t>(call.values[4]);
    }
    static bool HasDeadArgument(const Call& call) {
        return At<1>(call) != nullptr &&
               std::ranges::any_of(At<1>(call)->arguments, [](const auto& argument) {
                   const auto* memory = std::get_if<const Object*>(&argument.second);
                   return memory != nullptr && (*memory)->count <= 0;
               });
    }
    static bool IsNoBinary(const Call& call) {
        const auto* bytes = std::get_if<Bytes>(&call.values[4]);
        return bytes != nullptr && *bytes != Control::Get().binary;
    }
    static bool CannotShare(const Call& call) {
        const std::string properties = std::get<std::string>(call.values[0]) + ' ';
        for (const Object* platform : Control::Get().platforms) {
            if (properties.find(' ' + Control::Get().NameOf(platform) + ' ') == std::string::npos) continue;
            for (const Object* device : platform->devices) {
                const Bytes& names = device->info.at(CL_DEVICE_EXTENSIONS);
                if (std::string(names.begin(), names.end()).find("cl_khr_gl_sharing") != std::string::npos)
                    return false;
            }
        }
        return true;
    }
    static const DeadlyCall kAll[];
};

constexpr const char* kPoclDies = "PoCL does not survive";
constexpr const char* kRusticlDies = "rusticl does not survive";
constexpr const char* kNoSharing = "an object of a context that shares nothing with OpenGL";
const DeadlyCall DeadlyCall::kAll[] = {
    {"clEnqueueNDRangeKernel", "a null kernel", kPoclDies, IsNull<1>},
    {"clEnqueueNDRangeKernel", "a null event to wait for", "PoCL does not wait for", HasNull<7>},
    {"clEnqueueNDRangeKernel", "a kernel whose memory argument is gone", kPoclDies, HasDeadArgument},
    {"clCreateFromGLBuffer", kNoSharing, kPoclDies, SharesNothing},
    {"clCreateFromGLTexture2D clEnqueueAcquireGLObjects clEnqueueReleaseGLObjects", kNoSharing, kRusticlDies,
     SharesNothing},
    {"clGetGLContextInfoKHR", "a platform that cannot share", "the ICD loader does not survive", CannotShare},
    {"clCreateProgramWithSource", "a count without an array", kPoclDies, LacksSources},
    {"clCreateProgramWithBinary", "bytes that are no binary", kRusticlDies, IsNoBinary},
    {"clBuildProgram", "a null device", kPoclDies, HasNull<2>},
    {"clGetProgramInfo", "a program without binaries", kRusticlDies, IsUnbuilt},
    {"clEnqueueReadImage clEnqueueWriteImage clEnqueueMapImage", "a buffer", kRusticlDies, IsBuffer},
    {"clEnqueueReadBuffer clEnqueueWriteBuffer", "an image", "PoCL takes for a buffer", IsImage},
    {"clEnqueueMapBuffer", "an image", kRusticlDies, IsImage},
    {"clEnqueueReadBuffer clEnqueueWriteBuffer", "a range that no number ends", kRusticlDies, Overflows},
};

}  // namespace

void EndIfDeadly(const Call& call) {
    for (const auto& [functions, given, fate, matches] : DeadlyCall::kAll) {
        const bool isMeant = (std::string(functions) + ' ').find(call.name + ' ') != std::string::npos;
        if (!isMeant || !matches(call)) continue;
        std::fprintf(stderr, "%s was given %s, which %s\n", call.name.c_str(), given, fate);
        std::abort();
    }
}

}  // namespace nuvra::fake
