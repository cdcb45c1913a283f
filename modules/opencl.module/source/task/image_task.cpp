#include "task/image_task.h"

namespace nuvra {

Result<void> CheckRectangle(const ImageSize& image, Int64 x, Int64 y, Int64 width, Int64 height) {
    const auto fits = [](Int64 start, Int64 length, Int64 limit) {
        return start >= 0 && length > 0 && limit <= INT32_MAX && length <= limit && start <= limit - length;
    };
    if (!fits(x, width, image.width) || !fits(y, height, image.height)) return OpenCLError(CL_INVALID_VALUE);
    return {};
}

Result<void> EnqueueRectangle(const OpenCLCommandQueueRef& queue, const OpenCLKernelRef& kernel, Int64 x,
                              Int64 y, Int64 width, Int64 height) {
    const size_t offset[] = {static_cast<size_t>(x), static_cast<size_t>(y)};
    const size_t globalSize[] = {static_cast<size_t>(width), static_cast<size_t>(height)};
    return queue.EnqueueNDRangeKernel(kernel, 2, offset, globalSize, nullptr);
}

}  // namespace nuvra
