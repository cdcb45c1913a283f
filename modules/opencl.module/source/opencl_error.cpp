#include "opencl_error.h"

#include <array>

#include "module_records.h"

namespace nuvra {

ErrorRef OpenCLError(Int32 code, SourceLocation location) {
    ErrorRef error = NewError<OpenCLErrorObject>(nullptr, location);
    OpenCLErrorRef(error).SetErrorCode(code);
    return error;
}

namespace {

/// The codes 0 to -19, then -30 to -68.
constexpr std::array kUpperNames{
    "CL_SUCCESS",
    "CL_DEVICE_NOT_FOUND",
    "CL_DEVICE_NOT_AVAILABLE",
    "CL_COMPILER_NOT_AVAILABLE",
    "CL_MEM_OBJECT_ALLOCATION_FAILURE",
    "CL_OUT_OF_RESOURCES",
    "CL_OUT_OF_HOST_MEMORY",
    "CL_PROFILING_INFO_NOT_AVAILABLE",
    "CL_MEM_COPY_OVERLAP",
    "CL_IMAGE_FORMAT_MISMATCH",
    "CL_IMAGE_FORMAT_NOT_SUPPORTED",
    "CL_BUILD_PROGRAM_FAILURE",
    "CL_MAP_FAILURE",
    "CL_MISALIGNED_SUB_BUFFER_OFFSET",
    "CL_EXEC_STATUS_ERROR_FOR_EVENTS_IN_WAIT_LIST",
    "CL_COMPILE_PROGRAM_FAILURE",
    "CL_LINKER_NOT_AVAILABLE",
    "CL_LINK_PROGRAM_FAILURE",
    "CL_DEVICE_PARTITION_FAILED",
    "CL_KERNEL_ARG_INFO_NOT_AVAILABLE",
};
constexpr Int32 kFirstLowerCode = -30;
constexpr std::array kLowerNames{
    "CL_INVALID_VALUE",
    "CL_INVALID_DEVICE_TYPE",
    "CL_INVALID_PLATFORM",
    "CL_INVALID_DEVICE",
    "CL_INVALID_CONTEXT",
    "CL_INVALID_QUEUE_PROPERTIES",
    "CL_INVALID_COMMAND_QUEUE",
    "CL_INVALID_HOST_PTR",
    "CL_INVALID_MEM_OBJECT",
    "CL_INVALID_IMAGE_FORMAT_DESCRIPTOR",
    "CL_INVALID_IMAGE_SIZE",
    "CL_INVALID_SAMPLER",
    "CL_INVALID_BINARY",
    "CL_INVALID_BUILD_OPTIONS",
    "CL_INVALID_PROGRAM",
    "CL_INVALID_PROGRAM_EXECUTABLE",
    "CL_INVALID_KERNEL_NAME",
    "CL_INVALID_KERNEL_DEFINITION",
    "CL_INVALID_KERNEL",
    "CL_INVALID_ARG_INDEX",
    "CL_INVALID_ARG_VALUE",
    "CL_INVALID_ARG_SIZE",
    "CL_INVALID_KERNEL_ARGS",
    "CL_INVALID_WORK_DIMENSION",
    "CL_INVALID_WORK_GROUP_SIZE",
    "CL_INVALID_WORK_ITEM_SIZE",
    "CL_INVALID_GLOBAL_OFFSET",
    "CL_INVALID_EVENT_WAIT_LIST",
    "CL_INVALID_EVENT",
    "CL_INVALID_OPERATION",
    "CL_INVALID_GL_OBJECT",
    "CL_INVALID_BUFFER_SIZE",
    "CL_INVALID_MIP_LEVEL",
    "CL_INVALID_GLOBAL_WORK_SIZE",
    "CL_INVALID_PROPERTY",
    "CL_INVALID_IMAGE_DESCRIPTOR",
    "CL_INVALID_COMPILER_OPTIONS",
    "CL_INVALID_LINKER_OPTIONS",
    "CL_INVALID_DEVICE_PARTITION_COUNT",
};
/// The module's own codes from 1 on.
constexpr std::array kOwnTexts{
    "Version number is too small.",
    "The OpenCL library was not loaded correctly.",
    "Unspecified error.",
};

const char* TextOf(Int32 code) {
    const auto find = [](const auto& texts, Int64 index) {
        return index >= 0 && index < static_cast<Int64>(texts.size()) ? texts[static_cast<size_t>(index)]
                                                                      : nullptr;
    };
    const Int64 wide = code;
    for (const char* text :
         {find(kUpperNames, -wide), find(kLowerNames, kFirstLowerCode - wide), find(kOwnTexts, wide - 1)})
        if (text != nullptr) return text;
    return "";
}

/// The error class's component.
struct OpenCLErrorImpl {
    Int32 code = 0;
    std::atomic<bool> isMessageStale{false};  ///< the stored message is older than the code
};

String GetMessage(Object* error, void* component) noexcept {
    auto* self = static_cast<OpenCLErrorImpl*>(component);
    const ErrorRef reference(error);
    if (self->isMessageStale.load(std::memory_order_acquire)) {
        const Result<String> text = String::FromCText(TextOf(self->code));
        if (!text.IsOk()) return String();  // still stale: the next call may find memory
        // Concurrent calls store the same text. Cleared last: who sees it cleared finds the text stored.
        reference.SetMessage(text.GetValue());
        self->isMessageStale.store(false, std::memory_order_release);
    }
    return reference.Invoke<&ErrorInterface::Operations::GetStoredMessage>();
}

Int32 GetErrorCode(void* component) noexcept {
    return static_cast<OpenCLErrorImpl*>(component)->code;
}

void SetErrorCode(void* component, Int32 code) noexcept {
    auto* self = static_cast<OpenCLErrorImpl*>(component);
    self->code = code;
    self->isMessageStale = true;
}

Result<void> Describe(BaseArray<MemberDescription>& members) noexcept {
    return members.Append({"_errorCode", DataTypeTraits<UInt32>::kId, offsetof(OpenCLErrorImpl, code)});
}

Result<void> Copy(void* to, const void* from) noexcept {
    auto& copy = *static_cast<OpenCLErrorImpl*>(to);
    const auto& original = *static_cast<const OpenCLErrorImpl*>(from);
    copy.code = original.code;
    copy.isMessageStale = original.isMessageStale.load();
    return {};
}

constexpr OpenCLErrorInterface::Operations kOperations{
    .Reserved = nullptr,
    .GetErrorCode = GetErrorCode,
    .SetErrorCode = SetErrorCode,
};
/// The other operations are not overridden.
constexpr ErrorInterface::Operations kMessageOverride = [] {
    ErrorInterface::Operations operations{};
    operations.GetMessage = GetMessage;
    return operations;
}();
constexpr ComponentOperations kComponentOperations{
    .construct = [](void* data) { new (data) OpenCLErrorImpl; },
    .destroy = [](void*) {},
    .copy = Copy,
    .describe = Describe,
};
constexpr ComponentInterface kInterfaces[] = {
    {OpenCLErrorInterface::kId, &kOperations, kOperationCount<OpenCLErrorInterface>},
    {ErrorInterface::kId, &kMessageOverride, kOperationCount<ErrorInterface>},
};
constexpr Id kComponentId{"net.nuvra.opencl.error"};

constinit ComponentRecord g_component{{{RecordKind::COMPONENT, kComponentId}, nullptr},
                                      ".OpenCLErrorImpl",
                                      sizeof(OpenCLErrorImpl),
                                      alignof(OpenCLErrorImpl),
                                      &kComponentOperations,
                                      kInterfaces,
                                      2};
constinit ClassRecord g_class{{{RecordKind::CLASS, OpenCLErrorObject::kId, nullptr, kDeclaration}, nullptr},
                              "nuvra.ErrorObject",
                              &kComponentId,
                              1};

SourceUnit g_unit{g_openCLModule, "opencl_error", {&g_component, &g_class}};

}  // namespace

}  // namespace nuvra
