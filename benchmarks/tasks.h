#pragma once

#include "framework.h"
#include "table.h"

namespace nuvra::bench {

/// The tasks on a device: each beside its own kernels, launched by bare calls, and beside other libraries.
/// The rows refer to the object. Everything throws `std::runtime_error`.
class Tasks {
public:
    Tasks();

    std::vector<Row> GetClearRows();
    std::vector<Row> GetPrefixSumRows();
    std::vector<Row> GetCrcRows();
    std::vector<Row> GetPictureRows();

private:
    /// A row whose first ways are the kernels, the task and the kernels again.
    template <class Parameters>
    Row MakeRow(const char* name, const char* key, const Parameters& parameters, std::vector<Way> peers);
    /// Scaling the whole picture.
    Row MakeScaleRow(const char* name, const char* key, int width, int height);
    OpenCLMemoryObjectRef MakeBuffer(size_t size);
    OpenCLMemoryObjectRef MakeImage(int width, int height);

    OpenCLContextRef _context;
    OpenCLCommandQueueRef _queue;
    std::vector<OpenCLMemoryObjectRef> _memory;  ///< of the records, which point at it
};

}  // namespace nuvra::bench
