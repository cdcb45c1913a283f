#pragma once

#include <CL/cl.h>

#include "table.h"

/// The tasks' jobs done by other libraries. Each way owns its data.
namespace nuvra::bench {

inline constexpr int kPictureWidth = 2000;
inline constexpr int kPictureHeight = 1500;

Way MakeMemset(size_t size);
/// OpenCL's own fill, on a context of its own.
Way MakeFill(cl_device_id device, size_t size);
Way MakeStandardScan(size_t count);
/// Boost.Compute's exclusive scan.
Way MakeBoostScan(cl_device_id device, size_t count);
/// A byte at a time through a table of 256.
Way MakeTableCrc(size_t size);
/// The processor's own instruction, 8 bytes at a time.
Way MakeInstructionCrc(size_t size);

/// OpenCV's jobs on 8-bit RGBA pictures, on the processor or, where OpenCV has a kernel, on an OpenCL device.
enum class Runs { ON_PROCESSOR, ON_OPENCL };
Way MakeOpenCvInvert(Runs runs);
Way MakeOpenCvGamma(Runs runs, double gamma);
Way MakeOpenCvNearest(Runs runs, int width, int height);
Way MakeOpenCvCubic(Runs runs, int width, int height);

}  // namespace nuvra::bench
