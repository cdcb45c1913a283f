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

    /// A buffer of at least `size` bytes that is kept under `index`. A buffer that is large enough comes back
    /// with its contents; a larger one replaces it and starts with `hostData`, which may be null.
    /// CL_INVALID_VALUE for a negative index, CL_INVALID_CONTEXT for a context that is not the task's.
    Result<OpenCLMemoryObjectRef> GetCachedBuffer(const OpenCLContextRef& context, Int size, Int index,
                                                  void* hostData = nullptr);
    /// Releases and forgets the cached buffers; always succeeds.
    Result<void> ReleaseCachedBuffers();

protected:
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
    /// what is missing is skipped.
    Result<void> ReleaseAll(std::initializer_list<OpenCLKernelRef*> kernels, const OpenCLProgramRef& program);

    /// For a task whose calls share buffers: lets what an earlier call enqueued on another queue, or on one
    /// that does not keep the order, finish first. Where that queue has been released, nothing can be waited
    /// for, so the cached buffers are given up; the runtime keeps them until the work is done.
    Result<void> TakeTurn(const OpenCLCommandQueueRef& queue);
    /// Between two launches of which the second needs the first: waits on a queue that does not keep the
    /// order.
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

    // Runtimes do not look at a record's memory, and a kernel that leaves it damages the process.

    /// CL_INVALID_VALUE for a null pointer, CL_INVALID_MEM_OBJECT for memory that is empty, released or no
    /// buffer, CL_INVALID_CONTEXT for another context's, CL_INVALID_BUFFER_SIZE for less than `size` bytes.
    Result<void> CheckBuffer(const OpenCLMemoryObjectRef* buffer, Int64 size) const;
    /// The size of a 2D image; the same errors. Asks the runtime for that of OpenGL's alone.
    Result<ImageSize> CheckImage(const OpenCLMemoryObjectRef* image) const;

private:
    /// Forgets what an earlier `Init`, perhaps for another context, has made.
    void Begin(const OpenCLContextRef& context);
    Result<void> CheckMemory(const OpenCLMemoryObjectRef* memory, MemoryOrigin::Kind kind) const;

    struct CachedBuffer {
        OpenCLMemoryObjectRef buffer;
        Int capacity = 0;  ///< bytes that the buffer was created with
    };
    BaseArray<CachedBuffer> _cachedBuffers;
    OpenCLCommandQueueRef _latestQueue;  ///< of the latest call that took a turn
    cl_context _context = nullptr;       ///< of the latest `Init`, for comparing alone
    bool _isInitialized = false;
};

/// The operations of a task class as an object's component has them.
template <class Task>
inline constexpr OpenCLTaskInterface::Operations kTaskOperations{
    nullptr,
    [](void* task, const OpenCLContextRef& context) {
        return OpenCLTaskBase::Initialize(*static_cast<Task*>(task), context);
    },
    [](void* task, const OpenCLContextRef& context, const OpenCLCommandQueueRef& queue,
       const void* parameters) { return static_cast<Task*>(task)->Execute(context, queue, parameters); },
    [](void* task, const OpenCLContextRef& context) {
        return static_cast<Task*>(task)->FreeResources(context);
    },
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
        [](void* data) { new (data) Task; },
        [](void* data) { static_cast<Task*>(data)->~Task(); },
        nullptr,
        nullptr,
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
