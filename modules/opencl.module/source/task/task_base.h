#pragma once

#include <algorithm>
#include <array>
#include <initializer_list>

#include "module_records.h"
#include "nuvra/open_cl_task.h"
#include "opencl_context.h"
#include "opencl_memoryobject.h"

namespace nuvra {

/// In pixels.
struct ImageSize {
    Int64 width = 0;
    Int64 height = 0;
};

/// What all tasks share. A task derives from it and has public operations `Init`, `Execute` and
/// `FreeResources` as `OpenCLTaskInterface` describes them, its own `QueryParameter` where it answers one,
/// and the constants `kKey` (its name in the registry), `kClassId` and `kTypeName` (its C++ name behind a
/// dot). One `TaskRegistration` in its source file makes it known.
class OpenCLTaskBase {
public:
    /// The task's `Init` as its callers reach it: the task is initialised by a success alone.
    template <class Task>
    static Result<void> Initialize(Task& task, const OpenCLContextRef& context) {
        OpenCLTaskBase& base = task;
        base.Begin(context);
        NUVRA_RETURN_IF_ERROR(task.Init(context));
        base._isInitialized = true;
        return {};
    }

    /// The default answer: nothing.
    static Data QueryParameter(Int64 selector, const Data& value);

protected:
    /// The build options of most tasks.
    static constexpr const char* kRelaxedMath = "-cl-fast-relaxed-math";

    /// Whether all of the context's devices are processors; a device that does not tell is none.
    static bool AreProcessors(const OpenCLContextRef& context);

    struct NamedKernel {
        const char* name;
        OpenCLKernelRef* kernel;
    };

    /// Creates a program of `source` and builds it for the context's devices; `options` may be null.
    static Result<void> CompileProgram(const OpenCLContextRef& context, const char* source,
                                       const char* options, OpenCLProgramRef& program);
    /// Sends each device's build log to the host's diagnostics under the task's and the device's name.
    static void WriteBuildLogs(const OpenCLContextRef& context, const char* taskName,
                               const OpenCLProgramRef& program);
    /// `CompileProgram`, and `WriteBuildLogs` where the build fails.
    static Result<void> BuildProgram(const OpenCLContextRef& context, const char* taskName,
                                     const char* source, const char* options, OpenCLProgramRef& program);
    /// Creates the kernels in order, up to the first failure.
    static Result<void> CreateKernels(const OpenCLProgramRef& program,
                                      std::initializer_list<NamedKernel> kernels);
    /// Releases the kernels, the program and the cached buffers, after which the task is not initialised;
    /// empty references are skipped.
    Result<void> ReleaseAll(std::initializer_list<OpenCLKernelRef*> kernels, const OpenCLProgramRef& program);

    /// A buffer of at least `size` bytes under `index`. A buffer that is large enough comes back with its
    /// contents; a larger one replaces it and starts with `hostData`, which may be null. CL_INVALID_VALUE for
    /// a negative index, CL_INVALID_CONTEXT for a context that is not the task's. For contents that no call
    /// changes; buffers that calls write come from a `Turn`.
    Result<OpenCLMemoryObjectRef> GetCachedBuffer(const OpenCLContextRef& context, Int size, Int index,
                                                  void* hostData = nullptr);

    /// One call's use of the cached buffers, which the calls of a task share. The first buffer makes them
    /// safe to reuse: it waits for the previous call if that went to another or an out-of-order queue. If
    /// that queue is already released, it drops the buffers instead (the runtime keeps them alive until its
    /// work ends).
    class Turn {
    public:
        Turn(OpenCLTaskBase& task, const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue)
            : _task(task), _context(context), _queue(queue) {}
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

        const OpenCLCommandQueueRef& GetQueue() const { return _queue; }
        /// The null-pointer error for an empty queue; the rest is as for `GetCachedBuffer`.
        Result<OpenCLMemoryObjectRef> GetBuffer(Int size, Int index);

    private:
        OpenCLTaskBase& _task;
        const OpenCLContextRef& _context;
        const OpenCLCommandQueueRef& _queue;
        bool _isTaken = false;
    };
    /// Between two launches of which the second needs the first: finishes an out-of-order queue.
    static Result<void> KeepOrder(const OpenCLCommandQueueRef& queue);

    /// The parameter record of an `Execute`: CL_INVALID_VALUE when it is null or of another version,
    /// CL_INVALID_PROGRAM when the task is not initialised.
    template <class Parameters>
    Result<const Parameters*> CheckParameters(const void* parameters) const {
        const auto* record = static_cast<const Parameters*>(parameters);
        if (record == nullptr || record->version != 1) return OpenCLError(CL_INVALID_VALUE);
        if (!_isInitialized) return OpenCLError(CL_INVALID_PROGRAM);
        return record;
    }

    // Runtimes do not check a kernel's accesses: one beyond the record's memory damages the process.

    /// CL_INVALID_VALUE for a null pointer, CL_INVALID_MEM_OBJECT for memory that is empty, released or no
    /// buffer, CL_INVALID_CONTEXT for another context's, CL_INVALID_BUFFER_SIZE for less than `size` bytes.
    Result<void> CheckBuffer(const OpenCLMemoryObjectRef* buffer, Int64 size) const;
    /// The size of a 2D image; the same errors. Queries the runtime only for an image of OpenGL's.
    Result<ImageSize> CheckImage(const OpenCLMemoryObjectRef* image) const;

private:
    /// Forgets what an earlier `Init`, perhaps for another context, has made.
    void Begin(const OpenCLContextRef& context);
    void ReleaseCachedBuffers();
    Result<void> TakeTurn(const OpenCLCommandQueueRef& queue);
    Result<void> CheckMemory(const OpenCLMemoryObjectRef* memory, MemoryOrigin::Kind kind) const;

    struct CachedBuffer {
        OpenCLMemoryObjectRef buffer;
        Int capacity = 0;  ///< bytes that the buffer was created with
    };
    BaseArray<CachedBuffer> _cachedBuffers;
    OpenCLCommandQueueRef _latestQueue;  ///< of the latest call that took a turn
    cl_context _context = nullptr;       ///< of the latest `Init`; only compared
    bool _isInitialized = false;
};

/// A task of one kernel.
class OpenCLOneKernelTask : public OpenCLTaskBase {
public:
    Result<void> FreeResources(const OpenCLContextRef& context);

protected:
    /// Builds the source with `kRelaxedMath` and creates the kernel.
    Result<void> MakeKernel(const OpenCLContextRef& context, const char* taskName, const char* source,
                            const char* kernelName);

    OpenCLProgramRef _program;
    OpenCLKernelRef _kernel;
};

/// The operations of a task class as an object's component has them.
template <class Task>
inline constexpr OpenCLTaskInterface::Operations kTaskOperations{
    .Reserved = nullptr,
    .Init =
        [](void* task, const OpenCLContextRef& context) {
            return OpenCLTaskBase::Initialize(*static_cast<Task*>(task), context);
        },
    .Execute =
        [](void* task, const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
           const void* parameters) { return static_cast<Task*>(task)->Execute(context, queue, parameters); },
    .FreeResources =
        [](void* task, const OpenCLContextRef& context) {
            return static_cast<Task*>(task)->FreeResources(context);
        },
    .QueryParameter =
        [](void* task, Int64 selector, const Data& value) {
            return static_cast<Task*>(task)->QueryParameter(selector, value);
        },
};

/// Registers a task: its component, its class and its entry among the task classes. A static of the task's
/// source file.
template <class Task>
class TaskRegistration {
public:
    explicit TaskRegistration(const char* unitName)
        : _unit(g_openCLModule, unitName, {&_component, &_class, &_entry}) {}

private:
    static constexpr Id kId{Task::kClassId};
    static constexpr auto kEntryId = [] {
        constexpr std::string_view kRegistry = kOpenCLTaskClasses.GetText();
        constexpr std::string_view kKey = Task::kKey;
        std::array<char, kRegistry.size() + 1 + kKey.size() + 1> id{};
        char* key = std::ranges::copy(kRegistry, id.data()).out;
        *key = ':';
        std::ranges::copy(kKey, key + 1);
        return id;
    }();
    static constexpr ComponentOperations kComponentOperations{
        .construct = [](void* data) { new (data) Task; },
        .destroy = [](void* data) { static_cast<Task*>(data)->~Task(); },
        .copy = nullptr,
        .describe = nullptr,
    };
    static constexpr ComponentInterface kInterface{OpenCLTaskInterface::kId, &kTaskOperations<Task>,
                                                   kOperationCount<OpenCLTaskInterface>};

    ComponentRecord _component{{{RecordKind::COMPONENT, kId}, nullptr},
                               Task::kTypeName,
                               sizeof(Task),
                               alignof(Task),
                               &kComponentOperations,
                               &kInterface,
                               1};
    ClassRecord _class{{{RecordKind::CLASS, kId, nullptr, kDeclaration}, nullptr}, Id(), &kId, 1};
    RegistryEntryRecord _entry{{{RecordKind::REGISTRY_ENTRY, kEntryId.data()}, nullptr}, kId};
    SourceUnit _unit;
};

}  // namespace nuvra
