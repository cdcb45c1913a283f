#pragma once

#include "task/task_base.h"

/// What the image tasks share. Runtimes do not check a launch against an image: one accepts a negative width
/// and never ends, so the tasks do.
namespace nuvra {

/// CL_INVALID_VALUE for a rectangle that is empty, has a negative side, leaves the image, or reaches beyond
/// what the 32-bit coordinates of a kernel hold.
Result<void> CheckRectangle(const ImageSize& image, Int64 x, Int64 y, Int64 width, Int64 height);

/// One launch of a kernel whose indices are pixel coordinates, over a checked rectangle.
Result<void> EnqueueRectangle(const OpenCLCommandQueueRef& queue, const OpenCLKernelRef& kernel, Int64 x,
                              Int64 y, Int64 width, Int64 height);

/// A task whose kernel makes one pixel of the record's rectangle a work-item. `Task` says what differs:
///  - `kKey`, `kClassId` and `kTypeName`, as for `OpenCLTaskBase`;
///  - `kSource` and `kKernelName`;
///  - `Parameters`, the record;
///  - `kImages`, its members that are images, in the order of the kernel's arguments, the destination last;
///  - `kIsInPlace`, whether the destination may also be a source;
///  - `SetValues`, which sets the kernel's arguments behind the images.
template <class Task>
class OpenCLImageTask : public OpenCLOneKernelTask {
public:
    static constexpr const char* kKey = Task::kKey;
    static constexpr const char* kClassId = Task::kClassId;
    static constexpr const char* kTypeName = Task::kTypeName;

    Result<void> Init(const OpenCLContextRef& context) {
        return MakeKernel(context, kKey, Task::kSource, Task::kKernelName);
    }

    Result<void> Execute(const OpenCLContextRef&, const OpenCLCommandQueueRef& queue,
                         const void* parameters) {
        NUVRA_ASSIGN_OR_RETURN(const auto* record, CheckParameters<typename Task::Parameters>(parameters));
        if (record->width == 0 || record->height == 0) return OpenCLError(CL_INVALID_VALUE);
        ImageSize size;
        for (const auto image : Task::kImages) {
            NUVRA_ASSIGN_OR_RETURN(size, CheckImage(record->*image));
        }
        constexpr size_t kSources = std::size(Task::kImages) - 1;
        for (size_t i = 0; !Task::kIsInPlace && i < kSources; i++)
            if (*(record->*Task::kImages[i]) == *record->destination) return OpenCLError(CL_INVALID_VALUE);
        NUVRA_RETURN_IF_ERROR(CheckRectangle(size, record->x, record->y, record->width, record->height));
        UInt32 index = 0;
        for (const auto image : Task::kImages)
            NUVRA_RETURN_IF_ERROR(_kernel.SetArg(index++, *(record->*image)));
        NUVRA_RETURN_IF_ERROR(Task::SetValues(_kernel, *record));
        return EnqueueRectangle(queue, _kernel, record->x, record->y, record->width, record->height);
    }
};

}  // namespace nuvra
