#pragma once

#include "nuvra/open_cl_context.h"
#include "nuvra/registry.h"

namespace nuvra {

/// The registry of task classes, by task name.
inline constexpr Id kOpenCLTaskClasses{"nuvra.OpenCLTaskClasses"};

struct OpenCLTaskInterface {
    static constexpr Id kId{"nuvra.OpenCLTaskInterface#1"};

    struct Operations {
        void (*Reserved)(void* task);
        Result<void> (*Init)(void* task, const OpenCLContextRef& context);
        Result<void> (*Execute)(void* task, const OpenCLContextRef& context,
                                const OpenCLCommandQueueRef& queue, const void* parameters);
        Result<void> (*FreeResources)(void* task, const OpenCLContextRef& context);
        Data (*QueryParameter)(void* task, Int64 selector, const Data& value);
    };
};

/// A built-in GPU operation, compiled once per context: see `OpenCLContextRef::GetTask`. One instance runs
/// one `Execute` at a time.
class OpenCLTaskRef : public VirtualRef<OpenCLTaskInterface> {
    using Operations = OpenCLTaskInterface::Operations;

public:
    using VirtualRef::VirtualRef;
    OpenCLTaskRef() = default;

    /// Compiles the task for the context's devices; done by `GetTask`. When the build fails, the log of each
    /// device goes to the host's diagnostics.
    Result<void> Init(const OpenCLContextRef& context) const { return Invoke<&Operations::Init>(context); }
    /// Enqueues the work on a queue of the context; memory objects of the record must live until the queue
    /// has finished. `parameters` is the task's own record below. Returns without waiting for the work. Only
    /// "crc32c", "prefixsum" and "image.scalebicubic", whose calls share buffers unless there is little to
    /// do, wait: for what their latest such call enqueued on another queue, and on an out-of-order queue for
    /// each launch that the next one needs.
    ///
    /// Before any OpenCL call fails with CL_INVALID_VALUE for a null record, another version, a null pointer
    /// to memory or values out of range; CL_INVALID_PROGRAM unless the latest Init succeeded and nothing was
    /// freed since; and for the record's memory with CL_INVALID_MEM_OBJECT when it is empty, released or not
    /// of the kind that the record names, CL_INVALID_CONTEXT when it is another context's, and
    /// CL_INVALID_BUFFER_SIZE when it does not hold what the record says. Then the codes of the calls that
    /// fail.
    Result<void> Execute(const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
                         const void* parameters) const {
        return Invoke<&Operations::Execute>(context, queue, parameters);
    }
    /// Releases the task's program, kernels and buffers; done by the dying context. Always succeeds.
    Result<void> FreeResources(const OpenCLContextRef& context) const {
        return Invoke<&Operations::FreeResources>(context);
    }
    /// What a task tells about itself; empty for a selector that it does not know.
    Data QueryParameter(Int64 selector, const Data& value) const {
        return Invoke<&Operations::QueryParameter>(selector, value);
    }
};

Result<OpenCLTaskRef> OpenCLContextRef::GetTask(const String& name) const {
    return Invoke<&Operations::GetTask>(name);
}

/// "clearmem": fills the first `size` bytes of a buffer, which must hold them.
struct ClearMemParameters {
    Int64 version = 1;
    const OpenCLMemoryObjectRef* buffer = nullptr;
    Int64 size = 0;  ///< bytes; 0 and less fill nothing
    UChar value = 0;
};

/// "image.invert": each colour channel c of a rectangle becomes 1 - c, alpha stays. `destination` receives
/// the pixels at the coordinates that they have in `source`; source coordinates outside the source read its
/// nearest edge. Both are 2D images. CL_INVALID_VALUE for an empty rectangle and for one that leaves the
/// destination.
struct InvertImageParameters {
    Int64 version = 1;
    const OpenCLMemoryObjectRef* source = nullptr;
    const OpenCLMemoryObjectRef* destination = nullptr;
    Int64 x = 0;  ///< pixels; also the members below
    Int64 y = 0;
    Int64 width = 0;
    Int64 height = 0;
};

/// "image.gamma": each colour channel c of a rectangle becomes c to the power `gamma`, as IEEE 754 defines it
/// for every value; alpha stays. The rest is as for "image.invert".
struct GammaImageParameters {
    Int64 version = 1;
    const OpenCLMemoryObjectRef* source = nullptr;
    const OpenCLMemoryObjectRef* destination = nullptr;
    Int64 x = 0;
    Int64 y = 0;
    Int64 width = 0;
    Int64 height = 0;
    Float64 gamma = 1;  ///< narrowed to 32 bits
};

/// "crc32c": advances a running CRC-32C (polynomial 0x1EDC6F41, reflected, as in RFC 3720) by the first
/// `size` bytes of `data`. The register is the first 32-bit word of `crc`, a buffer of at least 4 bytes; the
/// checksum is the register with all bits inverted after the last piece. The pieces of one checksum must go
/// to one in-order queue, or the caller waits for each. From 1 MiB on, or 64 KiB on other devices than
/// processors, a piece is cut into up to 8192 parts of at most 256 KiB, with a work-item for each. Host
/// memory that is used in place should be aligned to 4 bytes: other memory is gone through a byte at a time.
struct Crc32cParameters {
    Int64 version = 1;
    const OpenCLMemoryObjectRef* data = nullptr;
    const OpenCLMemoryObjectRef* crc = nullptr;
    Int32 size = 0;     ///< bytes; 0 and less leave the register as it is
    Bool start = true;  ///< begin with the register at 0xFFFFFFFF, as for the first piece
};

/// "prefixsum": exclusive prefix sums of `count` 32-bit unsigned values, modulo 2^32. `input` and `output`
/// are different buffers of `paddedCount` elements, the power of two that `QueryParameter(0, count)` answers
/// with. The output beyond `count` elements is undefined. CL_INVALID_VALUE for counts that
/// do not fit together, CL_INVALID_BUFFER_SIZE where the device cannot hold the sums.
struct PrefixSumParameters {
    Int64 version = 1;
    const OpenCLMemoryObjectRef* input = nullptr;   ///< uint values
    const OpenCLMemoryObjectRef* output = nullptr;  ///< uint sums, or uint2 pairs
    Int64 paddedCount = 0;
    Int64 count = 0;
    Bool merge = false;       ///< write (sum, value) pairs
    UInt32* total = nullptr;  ///< receives the sum of all values, which waits for the work; may be null
};

/// "image.scalenearest" and "image.scalebicubic": a rectangle of the source, resampled to the size of a
/// rectangle of the destination. A negative destination extent names its rectangle by the far end (a width of
/// -50 at x 99 covers 50 to 99) and mirrors; a source extent is positive. CL_INVALID_VALUE for other extents,
/// a rectangle that leaves the destination, numbers beyond 32 bits, and one image as source and destination.
/// Source coordinates outside the source read its nearest edge.
struct ScaleParameters {
    Int64 version = 1;
    const OpenCLMemoryObjectRef* source = nullptr;
    const OpenCLMemoryObjectRef* destination = nullptr;
    Int64 srcX = 0;  ///< pixels; also the members below
    Int64 srcY = 0;
    Int64 srcWidth = 0;
    Int64 srcHeight = 0;
    Int64 dstX = 0;
    Int64 dstY = 0;
    Int64 dstWidth = 0;
    Int64 dstHeight = 0;
};

/// "image.stereo.sbs": two images side by side, each squeezed to half of `width` by averaging pairs of
/// pixels; alpha is the sum of a pair's. The columns left of width / 2 come from `first`, the others from
/// `second`. `x` and `y` move the written rectangle, not the split. Errors as for "image.invert", and
/// CL_INVALID_VALUE for a destination that is also a source.
struct StereoSbsParameters {
    Int64 version = 1;
    const OpenCLMemoryObjectRef* first = nullptr;
    const OpenCLMemoryObjectRef* second = nullptr;
    const OpenCLMemoryObjectRef* destination = nullptr;
    Int64 x = 0;  ///< pixels; also the members below
    Int64 y = 0;
    Int64 width = 0;
    Int64 height = 0;
};

}  // namespace nuvra
